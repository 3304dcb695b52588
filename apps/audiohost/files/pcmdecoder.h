#pragma once

#include "files/ffmpegpointers.h"
#include "files/packetsource.h"
#include "files/pcmframes.h"
#include "listening/samples.h"

namespace AudioHost {

/// Rates that sound is recorded at. A damaged header tells others: a byte of a file at 1 Hz would be 96 kB.
constexpr int MinRateHz = 1'000;
constexpr int MaxRateHz = 768'000;

constexpr bool IsRateOfSound(int rateHz) {
    return rateHz >= MinRateHz && rateHz <= MaxRateHz;
}

/// Decodes one stream and brings it to mono 16-bit PCM at `SoundRateHz`, whatever its coding, rate and
/// channels; channels are mixed down as the library does, and all alike where it knows nothing of their
/// places.
///
/// **Threads:** one at a time.
class PcmDecoder {
public:
    /// Throws `std::runtime_error` when there is no decoder for the stream.
    PcmDecoder(AVCodecParameters const& parameters, AVRational timeBase);

    /// Decodes a packet (null: the end) and appends what it yields. A packet that is damaged yields nothing,
    /// nor does one that changes the stream to what is no sound (`IsRateOfSound`).
    void Decode(AVPacket const* packet, Listening::Samples& sound);

private:
    void Resample(AVFrame const* frame, Listening::Samples& sound);
    bool SetUpResampler(AVFrame const& frame);
    void EndResampler(Listening::Samples& sound);

    CodecPointer codec_;
    FramePointer frame_;
    ResamplerPointer resampler_;
    int inputRateHz_ = 0;
    int inputChannels_ = 0;
    int inputFormat_ = -1;
};

/// The sound of a file's packets (borrowed).
///
/// **Threads:** one at a time.
class PacketSound : public PcmStream {
public:
    /// Throws as `PcmDecoder` does.
    explicit PacketSound(PacketSource& packets)
        : packets_(packets), decoder_(packets.GetParameters(), packets.GetTimeBase()) {}

    bool Read(Listening::Samples& sound) override {
        AVPacket const* const packet = packets_.Next();
        decoder_.Decode(packet, sound);
        return packet != nullptr;
    }

private:
    PacketSource& packets_;
    PcmDecoder decoder_;
};

} // namespace AudioHost
