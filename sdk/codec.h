#pragma once

#include <cstdint>
#include <deque>
#include <mutex>

#include "codec/audiocodecproxy.h"
#include "frames.h"

namespace Sdk {

/// Makes PCM of one rate and channel count out of the frames of a stream, and keeps it until it is read.
///
/// **Threads:** all operations from any thread.
class Codec {
public:
    Codec(std::uint32_t frequencyHz, std::uint32_t channels)
        : frequencyHz_(frequencyHz), channels_(channels) {}

    /// As RaCodecFeed, RaCodecFlush and RaCodecRead, with arguments in range.
    RaStatus Feed(Params const& params, void const* data, std::uint32_t bytes);
    RaStatus Flush();
    RaStatus Read(std::int16_t* samples, std::uint32_t capacity, std::uint32_t& count);

private:
    RaStatus Convert(std::vector<std::shared_ptr<Media::FrameAud>> const& frames, bool isFlush);

    std::uint32_t const frequencyHz_;
    std::uint32_t const channels_;
    std::mutex lock_;
    // --- guarded by lock
    Media::AudioCodecProxy proxy_;
    std::deque<std::int16_t> waiting_;
};

} // namespace Sdk
