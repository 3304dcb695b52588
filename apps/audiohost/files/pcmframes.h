#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "files/framemaker.h"
#include "kovra/buffer.h"
#include "kovra/time.h"
#include "listening/samples.h"
#include "mediacore/frame.h"

namespace AudioHost {

/// Frames that the host cuts itself last 20 ms.
constexpr std::int64_t PcmFrameNanoSec = 20'000'000;

/// Sound that comes in pieces: mono at `SoundRateHz`.
///
/// **Threads:** one at a time.
class PcmStream {
public:
    virtual ~PcmStream() = default;

    /// Appends the next piece, which may be empty. False at the end, with the last piece.
    virtual bool Read(Listening::Samples& sound) = 0;
};

/// What has been read and not yet cut into frames.
template <typename T>
class Uncut {
public:
    /// To append to; invalidates what `Take` gave.
    std::vector<T>& Grow() {
        held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(taken_));
        taken_ = 0;
        return held_;
    }

    std::size_t GetSize() const { return held_.size() - taken_; }

    /// The next `count`, of which there must be so many. A packet may hold thousands of frames: moving its
    /// rest for each of them would take minutes.
    T const* Take(std::size_t count) {
        taken_ += count;
        return held_.data() + (taken_ - count);
    }

private:
    std::vector<T> held_;
    std::size_t taken_ = 0;
};

/// Numbers and stamps the frames of one session.
class FrameStamper {
public:
    FrameStamper(Kovra::SysTime base, std::string name) : base_(base), name_(std::move(name)) {}

    Media::FrameIdent Stamp(std::int64_t positionNanoSec) {
        return {base_ + Kovra::SysTime(positionNanoSec), number_++, name_};
    }

private:
    Kovra::SysTime base_;
    std::string name_;
    std::uint32_t number_ = 0;
};

/// A buffer list of its own for a frame.
Kovra::BufferInfoListScoped CopyToBuffer(void const* data, std::size_t size);

/// Cuts sound into frames of 20 ms, the last one shorter.
///
/// **Threads:** one at a time.
class PcmFrames {
public:
    PcmFrames(Kovra::SysTime base, std::string const& name);

    /// Reads from `stream` as it needs to; false at its end.
    bool Next(PcmStream& stream, MediaFrame& next);

private:
    FrameStamper stamper_;
    boost::intrusive_ptr<Media::ParamsAudRaw> params_;
    /// Less than a frame and a piece.
    Uncut<std::int16_t> sound_;
    std::int64_t samplesCut_ = 0;
    bool isAtEnd_ = false;
};

} // namespace AudioHost
