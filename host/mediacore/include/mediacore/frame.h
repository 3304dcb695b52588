#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <string>
#include <utility>

#include "kovra/buffer.h"
#include "kovra/time.h"
#include "mediacore/export.h"
#include "mediacore/params.h"

/// Media, and what captures, carries and renders it.
namespace Media {

/// What tells one frame from another.
struct FrameIdent {
    FrameIdent() = default;
    FrameIdent(Kovra::SysTime time_, std::uint32_t sequenceNumber_, std::string sourceName_)
        : time(time_), sequenceNumber(sequenceNumber_), sourceName(std::move(sourceName_)) {}

    /// When the first sample was taken, on the sender's clock.
    Kovra::SysTime time;
    /// Counts up by one a frame and wraps.
    std::uint32_t sequenceNumber = 0;
    std::string sourceName;
};

/// A piece of media: an identity, a coding and a list of data slices.
///
/// **Threads:** filled by one thread, then only read.
/// **Ownership:** shared through `std::shared_ptr`; holds one reference on each of its blocks.
class MEDIACORE_API Frame {
public:
    Frame(FrameIdent ident, MediaCoding_t coding);
    virtual ~Frame();
    Frame(Frame const&) = delete;
    Frame& operator=(Frame const&) = delete;

    FrameIdent const& GetIdent() const { return ident_; }
    Kovra::SysTime GetTimestamp() const { return ident_.time; }
    MediaCoding_t GetCoding() const { return coding_; }

    /// Takes the list over in place of the one that the frame held.
    void AttachBuffers(Kovra::BufferInfoListScoped buffers);

    Kovra::BufferInfoListScoped const& GetBuffers() const { return buffers_; }

private:
    FrameIdent const ident_;
    MediaCoding_t const coding_;
    Kovra::BufferInfoListScoped buffers_;

protected:
    Kovra::BufferInfoListScoped& MutableBuffers() { return buffers_; }
};

/// An audio frame, coded or PCM.
class MEDIACORE_API FrameAud : public Frame {
public:
    /// `params` must not be null (throws `std::invalid_argument`); the coding is theirs.
    FrameAud(FrameIdent ident, boost::intrusive_ptr<ParamsAud> params);
    ~FrameAud() override;

    ParamsAud const& GetParams() const { return *params_; }
    boost::intrusive_ptr<ParamsAud> const& GetParamsPtr() const { return params_; }

    /// Samples a second and channel, in Hz; 0 when unknown.
    std::uint32_t GetFrequency() const { return params_->GetFrequency(); }
    std::uint32_t GetNumChannels() const { return params_->GetNumChannels(); }

    /// How long the frame sounds. Raw PCM: the whole samples in the bytes of all slices at the frequency,
    /// channel count and bits of the parameters, rounded down (0 when a parameter is 0). Coded: what
    /// `SetDuration` said, 0 before that.
    virtual Kovra::SysTime GetDuration() const;
    void SetDuration(Kovra::SysTime duration) { duration_ = duration; }

    /// The first data slice, or null when the frame has none.
    Kovra::BufferInfo const* GetConstBufferBegin() const { return GetBuffers().GetBegin(); }
    Kovra::BufferInfo* GetBufferBegin() { return MutableBuffers().GetBegin(); }

private:
    boost::intrusive_ptr<ParamsAud> const params_;
    Kovra::SysTime duration_;
};

/// A raw PCM audio frame.
class MEDIACORE_API FrameAudRaw : public FrameAud {
public:
    FrameAudRaw(FrameIdent ident, boost::intrusive_ptr<ParamsAudRaw> const& params);
    ~FrameAudRaw() override;

    Kovra::SysTime GetDuration() const override;
};

} // namespace Media
