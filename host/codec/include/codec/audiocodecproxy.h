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
    /// (Hz, 1 to 768000, at most 192 times more or less than the frames'), one result frame for each input
    /// frame that completes samples, with its timestamp, sequence number and source name.
    ///
    /// Every frame gives exactly its share: n frames of 20 ms give n x 960 samples at 48000 Hz, the first
    /// one included. In exchange a change of rate delays the sound by a constant 16 input samples (2 ms at
    /// 8000 Hz, 0.4 ms at 44100 Hz; more towards lower rates), which start as silence. A change of channels
    /// alone delays nothing.
    ///
    /// `duration` tells how long the first input frame is, for implementations that size their work memory
    /// by it; this one finds it in the frames. With `flush` the delayed rest is appended as a frame of its
    /// own, timed at the end of the last input frame, and the filter starts anew. Unusable arguments yield
    /// an empty vector, unusable frames are left out. Never throws but for `std::bad_alloc`.
    std::vector<std::shared_ptr<FrameAud>> Transcode(std::vector<std::shared_ptr<FrameAud>> const& frames,
                                                     MediaCoding_t coding, unsigned char channels,
                                                     unsigned int frequency, Kovra::SysTime duration,
                                                     bool flush);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Media
