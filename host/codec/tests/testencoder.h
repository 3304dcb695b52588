#pragma once

#include <cstdint>
#include <vector>

#include "ffmpegowners.h"
#include "testframes.h"

namespace CodecTest {

/// One of libavcodec's encoders.
class TestEncoder {
public:
    /// `name` as libavcodec knows it; a missing encoder or a set-up that it refuses fails the test by an
    /// exception. `codeBits` is for G.726 only.
    TestEncoder(char const* name, int frequency, int channels, int bitRate, int codeBits = 0);

    /// Samples of every channel in one frame; 0 when the encoder takes any number.
    std::size_t FrameSamples() const { return static_cast<std::size_t>(context_->frame_size); }
    Bytes Config() const;

    /// Encodes interleaved samples in frames of `frameSamples` (a whole number of them), then ends the
    /// stream. One element for every packet.
    std::vector<Bytes> Encode(Samples const& interleaved, std::size_t frameSamples);

private:
    void Send(AVFrame const* frame, std::vector<Bytes>& packets);

    Media::CodecContextOwner context_;
};

/// The coded frames of a whole stream and the parameters to decode them with.
struct TestStream {
    char const* name = nullptr;
    Params params;
    std::vector<Bytes> packets;
    /// Of what comes out.
    std::uint32_t frequency = 0;
    std::uint32_t channels = 0;
    std::size_t samplesPerFrame = 0;
};

inline constexpr double ToneHz = 440;

/// A 440 Hz tone of amplitude 16000 in all channels, about half a second.
TestStream MakeG711Stream(Media::G711Law_t law);
TestStream MakeG726Stream(std::uint32_t bits);
/// Layer II, 48000 Hz stereo.
TestStream MakeLayer2Stream();
/// MPEG-2 layer III, 24000 Hz mono; a recording, as no layer III encoder comes with the libraries.
TestStream MakeLayer3Stream();
/// Raw AAC frames, AudioSpecificConfig in the parameters.
TestStream MakeAacStream(int frequency = 48'000, int channels = 1);
TestStream MakeAdtsStream(int frequency = 48'000, int channels = 1);
TestStream MakeOpusStream(int channels = 1);

/// One of each.
std::vector<TestStream> MakeAllStreams();

/// Decodes every packet, in order, in one proxy.
Frames DecodeStream(TestStream const& stream);

} // namespace CodecTest
