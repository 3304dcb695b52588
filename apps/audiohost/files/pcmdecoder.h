#pragma once

#include "files/ffmpegpointers.h"
#include "files/packetsource.h"
#include "files/pcmframes.h"
#include "listening/samples.h"

namespace AudioHost {

/// Decodes one stream and brings it to mono 16-bit PCM at `SoundRateHz`, whatever its coding, rate and
/// channels; channels are mixed down as the library does.
///
/// **Threads:** one at a time.
class PcmDecoder {
public:
    /// Throws `std::runtime_error` when there is no decoder for the stream.
    PcmDecoder(AVCodecParameters const& parameters, AVRational timeBase);

    /// Decodes a packet (null: the end) and appends what it yields. A packet that is damaged yields nothing.
    void Decode(AVPacket const* packet, Listening::Samples& sound);

private:
    void Resample(AVFrame const* frame, Listening::Samples& sound);
    void SetUpResampler(AVFrame const& frame);
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
