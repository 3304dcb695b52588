#include "testencoder.h"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "codec/audiocodecproxy.h"
#include "layer3tone.h"
#include "testsignals.h"

extern "C" {
#include <libavutil/opt.h>
}

namespace CodecTest {

namespace {

constexpr std::size_t TelephoneFrameSamples = 160;
constexpr std::size_t TelephoneFrames = 25;
constexpr std::size_t CodecFrames = 24;

void Require(bool condition, char const* what) {
    if (!condition) {
        throw std::runtime_error(std::string("the test's encoder failed: ") + what);
    }
}

Samples MakeTone(std::uint32_t frequency, std::size_t channels, std::size_t count) {
    Samples const mono = MakeSine(ToneHz, frequency, count);
    Samples interleaved;
    for (std::int16_t const sample : mono) {
        interleaved.insert(interleaved.end(), channels, sample);
    }
    return interleaved;
}

/// Encodes the tone in `frames` frames and fills in everything but the parameters.
TestStream EncodeTone(char const* name, TestEncoder& encoder, int frequency, int channels,
                      std::size_t frameSamples, std::size_t frames) {
    TestStream stream;
    stream.name = name;
    stream.frequency = static_cast<std::uint32_t>(frequency);
    stream.channels = static_cast<std::uint32_t>(channels);
    stream.samplesPerFrame = frameSamples;
    stream.packets =
        encoder.Encode(MakeTone(stream.frequency, stream.channels, frameSamples * frames), frameSamples);
    return stream;
}

/// Puts an ADTS header of seven bytes (no checksum) in front of a raw frame of AAC-LC.
Bytes AddAdtsHeader(Bytes const& raw, unsigned int rateIndex, unsigned int channels) {
    std::size_t const length = raw.size() + 7;
    Bytes adts = {
        0xFF,
        0xF1,
        // Profile LC is 1 here, in the two top bits; then the rate's index and the channels' top bit.
        static_cast<std::uint8_t>(0x40U | (rateIndex << 2U) | (channels >> 2U)),
        static_cast<std::uint8_t>(((channels & 3U) << 6U) | (length >> 11U)),
        static_cast<std::uint8_t>((length >> 3U) & 0xFFU),
        static_cast<std::uint8_t>(((length & 7U) << 5U) | 0x1FU),
        0xFC,
    };
    adts.insert(adts.end(), raw.begin(), raw.end());
    return adts;
}

} // namespace

TestEncoder::TestEncoder(char const* name, int frequency, int channels, int bitRate, int codeBits) {
    AVCodec const* const codec = avcodec_find_encoder_by_name(name);
    Require(codec != nullptr, name);
    context_.reset(avcodec_alloc_context3(codec));
    Require(context_ != nullptr, name);
    context_->sample_rate = frequency;
    context_->ch_layout = Media::DefaultLayout(channels);
    context_->sample_fmt = codec->sample_fmts[0];
    context_->bit_rate = bitRate;
    context_->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if (codeBits != 0) {
        Require(av_opt_set_int(context_->priv_data, "code_size", codeBits, 0) >= 0, "code_size");
    }
    Require(avcodec_open2(context_.get(), codec, nullptr) >= 0, name);
}

Bytes TestEncoder::Config() const {
    return {context_->extradata, context_->extradata + context_->extradata_size};
}

std::vector<Bytes> TestEncoder::Encode(Samples const& interleaved, std::size_t frameSamples) {
    auto const channels = static_cast<std::size_t>(context_->ch_layout.nb_channels);
    std::vector<Bytes> packets;
    for (std::size_t start = 0; start < interleaved.size(); start += frameSamples * channels) {
        Media::AvFrameOwner const frame(av_frame_alloc());
        Require(frame != nullptr, "frame");
        frame->nb_samples = static_cast<int>(frameSamples);
        frame->format = context_->sample_fmt;
        frame->sample_rate = context_->sample_rate;
        frame->pts = static_cast<std::int64_t>(start / channels);
        Require(av_channel_layout_copy(&frame->ch_layout, &context_->ch_layout) >= 0, "layout");
        Require(av_frame_get_buffer(frame.get(), 0) >= 0, "frame buffer");
        bool const isPlanarFloat = context_->sample_fmt == AV_SAMPLE_FMT_FLTP;
        Require(isPlanarFloat || context_->sample_fmt == AV_SAMPLE_FMT_S16, "sample format");
        for (std::size_t i = 0; i < frameSamples * channels; ++i) {
            std::int16_t const sample = interleaved[start + i];
            if (isPlanarFloat) {
                reinterpret_cast<float*>(frame->extended_data[i % channels])[i / channels] =
                    static_cast<float>(sample) / 32768.0F;
            } else {
                reinterpret_cast<std::int16_t*>(frame->extended_data[0])[i] = sample;
            }
        }
        Send(frame.get(), packets);
    }
    Send(nullptr, packets);
    return packets;
}

void TestEncoder::Send(AVFrame const* frame, std::vector<Bytes>& packets) {
    Require(avcodec_send_frame(context_.get(), frame) >= 0, "send");
    Media::PacketOwner const packet(av_packet_alloc());
    Require(packet != nullptr, "packet");
    while (avcodec_receive_packet(context_.get(), packet.get()) >= 0) {
        packets.emplace_back(packet->data, packet->data + packet->size);
    }
}

TestStream MakeG711Stream(Media::G711Law_t law) {
    bool const isALaw = law == Media::G711Law_t::ALaw;
    TestEncoder encoder(isALaw ? "pcm_alaw" : "pcm_mulaw", 8'000, 1, 64'000);
    TestStream stream = EncodeTone(isALaw ? "G711ALaw" : "G711MuLaw", encoder, 8'000, 1,
                                   TelephoneFrameSamples, TelephoneFrames);
    stream.params = MakeG711(law);
    return stream;
}

TestStream MakeG726Stream(std::uint32_t bits) {
    TestEncoder encoder("g726le", 8'000, 1, static_cast<int>(bits * 8'000), static_cast<int>(bits));
    TestStream stream = EncodeTone("G726", encoder, 8'000, 1, TelephoneFrameSamples, TelephoneFrames);
    stream.params = MakeParams(Media::MediaCoding_t::G726, 8'000, 1, bits);
    return stream;
}

TestStream MakeLayer2Stream() {
    TestEncoder encoder("mp2", 48'000, 2, 192'000);
    TestStream stream = EncodeTone("Layer2", encoder, 48'000, 2, encoder.FrameSamples(), CodecFrames);
    stream.params = MakeParams(Media::MediaCoding_t::MpegAudio, 48'000, 2, 0);
    return stream;
}

TestStream MakeLayer3Stream() {
    TestStream stream;
    stream.name = "Layer3";
    stream.frequency = 24'000;
    stream.channels = 1;
    stream.samplesPerFrame = 576;
    stream.params = MakeParams(Media::MediaCoding_t::MpegAudio, 24'000, 1, 0);
    for (auto const* frame = std::begin(Layer3Tone); frame != std::end(Layer3Tone);
         frame += Layer3FrameBytes) {
        stream.packets.emplace_back(frame, frame + Layer3FrameBytes);
    }
    return stream;
}

TestStream MakeAacStream(int frequency, int channels) {
    TestEncoder encoder("aac", frequency, channels, 128'000);
    TestStream stream =
        EncodeTone("AacRaw", encoder, frequency, channels, encoder.FrameSamples(), CodecFrames);
    stream.params = MakeParams(Media::MediaCoding_t::Aac, stream.frequency, stream.channels, 16);
    stream.params->SetDecoderConfig(encoder.Config());
    return stream;
}

TestStream MakeAdtsStream(int frequency, int channels) {
    TestStream stream = MakeAacStream(frequency, channels);
    stream.name = "AacAdts";
    // ISO 14496-3, table of sampling frequencies: 3 is 48000 Hz, 4 is 44100 Hz.
    Require(frequency == 48'000 || frequency == 44'100, "rate");
    for (Bytes& packet : stream.packets) {
        packet = AddAdtsHeader(packet, frequency == 48'000 ? 3 : 4, stream.channels);
    }
    stream.params = MakeParams(Media::MediaCoding_t::Aac, stream.frequency, stream.channels, 16);
    return stream;
}

TestStream MakeOpusStream(int channels) {
    // The encoder takes pieces of 2.5 ms and makes packets of eight of them, as a steady tone needs no finer
    // ones.
    constexpr std::size_t PiecesPerPacket = 8;
    TestEncoder encoder("opus", 48'000, channels, 96'000);
    std::size_t const pieceSamples = encoder.FrameSamples();
    TestStream stream =
        EncodeTone("Opus", encoder, 48'000, channels, pieceSamples, CodecFrames * PiecesPerPacket);
    stream.samplesPerFrame = pieceSamples * PiecesPerPacket;
    stream.params = MakeParams(Media::MediaCoding_t::Opus, 48'000, stream.channels, 16);
    return stream;
}

std::vector<TestStream> MakeAllStreams() {
    return {MakeG711Stream(Media::G711Law_t::MuLaw),
            MakeG711Stream(Media::G711Law_t::ALaw),
            MakeG726Stream(2),
            MakeG726Stream(3),
            MakeG726Stream(4),
            MakeG726Stream(5),
            MakeLayer2Stream(),
            MakeLayer3Stream(),
            MakeAacStream(),
            MakeAdtsStream(),
            MakeOpusStream()};
}

Frames DecodeStream(TestStream const& stream) {
    Media::AudioCodecProxy proxy;
    Frames all;
    for (std::size_t i = 0; i < stream.packets.size(); ++i) {
        Frames const frames =
            proxy.Decode({MakeCoded(stream.params, stream.packets[i], static_cast<std::uint32_t>(i))});
        all.insert(all.end(), frames.begin(), frames.end());
    }
    return all;
}

} // namespace CodecTest
