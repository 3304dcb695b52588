#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "listening/samples.h"
#include "mediacore/frame.h"

namespace SystemTest {

/// One frame of a stream.
struct StreamFrame {
    std::shared_ptr<Media::FrameAud> frame;
    /// Where it starts in its stream, in nanoseconds.
    std::int64_t positionNanoSec = 0;
};

using Stream = std::vector<StreamFrame>;

/// Timestamp of every stream's first frame: some time of day, far from 0.
constexpr std::int64_t FirstTimestampNanoSec = Listening::NanoSecPerHour;

constexpr std::int64_t FrameNanoSec = 20'000'000;

/// Raw mono frames of 20 ms at 48000 Hz; a rest shorter than a frame is left out.
Stream MakeRawStream(Listening::SampleView sound);

/// G.711 mu-law frames of 20 ms at 8000 Hz, of every sixth sample of `sound`, which must hold nothing above
/// 4000 Hz.
Stream MakeG711Stream(Listening::SampleView sound);

constexpr std::size_t AacFrameSamples = 1024;

/// Raw AAC-LC frames (mono, 48000 Hz) with their AudioSpecificConfig. A rest shorter than a frame is left
/// out. What is decoded from them begins with one frame's length that the encoder puts in front.
Stream MakeAacStream(Listening::SampleView sound);

} // namespace SystemTest
