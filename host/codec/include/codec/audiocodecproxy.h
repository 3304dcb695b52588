#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "codec/export.h"
#include "kovra/time.h"
#include "mediacore/frame.h"

namespace Media {

/// Decoder and transcoder of one audio stream. The decoder's state (and the resampler's) survives from
/// frame to frame; it starts anew when a frame's coding or parameters differ from the last one's.
///
/// **Threads:** one at a time.
/// **Ownership:** by value; holds its decoder and resampler.
class MEDIACODEC_API AudioCodecProxy {
public:
    AudioCodecProxy();
    ~AudioCodecProxy();
    AudioCodecProxy(AudioCodecProxy const&) = delete;
    AudioCodecProxy& operator=(AudioCodecProxy const&) = delete;

    /// Decodes coded frames, in order, to raw 16-bit PCM frames (`FrameAudRaw`) at the stream's own rate and
    /// channel count. A result frame carries the timestamp, sequence number and source name of the frame
    /// that completed it; raw frames pass through. What cannot be decoded (null, empty, truncated or garbage
    /// frames, a coding without decoder) yields nothing: the vector may be empty. Never throws but for
    /// `std::bad_alloc`.
    std::vector<std::shared_ptr<FrameAud>> Decode(std::vector<std::shared_ptr<FrameAud>> const& frames);

    /// Converts raw PCM frames to `coding` (only `RawPcm` is possible), `channels` (1 to 8) and `frequency`
    /// (Hz, 1 to 768000), one result frame for each input frame that completes samples. `duration` tells how
    /// long the first input frame is and sizes the work memory; 0 lets the frames tell. With `flush` the
    /// samples still held by the resampler's filter are appended and the filter starts anew. Unusable
    /// arguments or frames yield an empty vector.
    std::vector<std::shared_ptr<FrameAud>> Transcode(std::vector<std::shared_ptr<FrameAud>> const& frames,
                                                     MediaCoding_t coding, unsigned char channels,
                                                     unsigned int frequency, Kovra::SysTime duration,
                                                     bool flush);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Media
