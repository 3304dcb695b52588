#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <optional>
#include <string>

#include "harbour/counted.h"
#include "kovra/buffer.h"
#include "kovra/time.h"

namespace Harbour {
struct FrameAccess;
}

namespace Media {

enum class MediaCoding_t : std::uint16_t { RawPcm = 0x300, G711 = 0x301, Aac = 0x304 };

class HARBOUR_API ParamsAudRaw : public Harbour::Counted {
public:
    void SetParamsAud(std::uint32_t frequencyHz, std::uint32_t channels, std::uint32_t bits);

private:
    friend class FrameAud;
    friend struct Harbour::FrameAccess;

    std::uint16_t channels_ = 0;
    std::uint16_t bits_ = 0;
    std::uint32_t frequencyHz_ = 0;
    MediaCoding_t coding_ = MediaCoding_t::RawPcm;
};

class HARBOUR_API FrameIdent {
public:
    FrameIdent(Kovra::SysTime time, std::uint32_t sequenceNumber, char const* sourceName)
        : sourceName_(sourceName), sequenceNumber_(sequenceNumber), time_(time) {}

private:
    friend class FrameAud;

    std::string sourceName_;
    std::uint32_t sequenceNumber_;
    Kovra::SysTime time_;
};

/// Sound in one piece: this host knows no slices, and has no other media.
class HARBOUR_API FrameAud {
public:
    virtual ~FrameAud();
    FrameAud(FrameAud const&) = delete;
    FrameAud& operator=(FrameAud const&) = delete;

    virtual std::uint32_t GetFrequency() const;
    virtual std::uint32_t GetNumChannels() const;
    virtual MediaCoding_t GetCoding() const;
    virtual Kovra::SysTime GetTimestamp() const;
    Kovra::SysTime GetDuration() const;
    Kovra::BufferInfo const* GetConstBufferBegin() const;
    void AttachBuffers(Kovra::BufferInfoListScoped&& list);

protected:
    FrameAud(FrameIdent ident, boost::intrusive_ptr<ParamsAudRaw> params);

private:
    friend struct Harbour::FrameAccess;

    std::optional<Kovra::BufferInfo> data_;
    boost::intrusive_ptr<ParamsAudRaw> params_;
    FrameIdent ident_;
};

class HARBOUR_API FrameAudRaw final : public FrameAud {
public:
    FrameAudRaw(FrameIdent ident, boost::intrusive_ptr<ParamsAudRaw> params);
};

} // namespace Media
