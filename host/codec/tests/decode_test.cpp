#include <gtest/gtest.h>

#include <cmath>

#include "codec/audiocodecproxy.h"
#include "testencoder.h"
#include "testframes.h"
#include "testsignals.h"

using Media::AudioCodecProxy;
using Media::G711Law_t;
using Media::MediaCoding_t;

namespace CodecTest {
namespace {

Bytes AllCodes() {
    Bytes codes;
    for (int code = 0; code < 256; ++code) {
        codes.push_back(static_cast<std::uint8_t>(code));
    }
    return codes;
}

/// ITU-T G.711, mu-law, at 16 bits: all bits inverted; sign, three bits of segment, four of step.
int ExpandMuLaw(int code) {
    int const bits = ~code & 0xFF;
    int const magnitude = ((((bits & 0x0F) << 3) + 0x84) << ((bits >> 4) & 7)) - 0x84;
    return (bits & 0x80) != 0 ? -magnitude : magnitude;
}

/// ITU-T G.711, A-law, at 16 bits: even bits inverted; the sign bit is set for positive values.
int ExpandALaw(int code) {
    int const bits = code ^ 0x55;
    int const segment = (bits >> 4) & 7;
    int magnitude = ((bits & 0x0F) << 4) + 8;
    if (segment > 0) {
        magnitude = (magnitude + 0x100) << (segment - 1);
    }
    return (bits & 0x80) != 0 ? magnitude : -magnitude;
}

Samples DecodeG711(G711Law_t law, Bytes const& codes) {
    AudioCodecProxy proxy;
    return SamplesOf(proxy.Decode({MakeCoded(MakeG711(law), codes)}));
}

TEST(AudioCodecProxy_Decode, MuLawCodesGiveTheStandardsValues) {
    Samples const samples = DecodeG711(G711Law_t::MuLaw, AllCodes());
    ASSERT_EQ(samples.size(), 256U);
    for (std::size_t code = 0; code < 256; ++code) {
        EXPECT_EQ(samples[code], ExpandMuLaw(static_cast<int>(code))) << "code " << code;
    }
    // The largest: 0x00 inverted is sign 1, segment 7, step 15: -((120 + 132) * 128 - 132).
    EXPECT_EQ(samples[0x00], -32'124);
    EXPECT_EQ(samples[0xFF], 0);
}

TEST(AudioCodecProxy_Decode, ALawCodesGiveTheStandardsValues) {
    Samples const samples = DecodeG711(G711Law_t::ALaw, AllCodes());
    ASSERT_EQ(samples.size(), 256U);
    for (std::size_t code = 0; code < 256; ++code) {
        EXPECT_EQ(samples[code], ExpandALaw(static_cast<int>(code))) << "code " << code;
    }
    // The largest: 0xAA xor 0x55 is all ones: (240 + 8 + 256) * 64.
    EXPECT_EQ(samples[0xAA], 32'256);
    EXPECT_EQ(samples[0xD5], 8);
}

TEST(AudioCodecProxy_Decode, G711ChannelsStayInterleaved) {
    AudioCodecProxy proxy;
    Frames const frames = proxy.Decode({MakeCoded(MakeG711(G711Law_t::ALaw, 2), {0xAA, 0xD5, 0x2A, 0x55})});
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0]->GetNumChannels(), 2U);
    // 0x2A and 0x55 are 0xAA and 0xD5 with the other sign.
    EXPECT_EQ(SamplesOf(*frames[0]), (Samples{32'256, 8, -32'256, -8}));
}

TEST(AudioCodecProxy_Decode, ResultIsRawPcmOfTheStreamsOwnRateAndChannels) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        Frames const frames = DecodeStream(stream);
        ASSERT_FALSE(frames.empty());
        for (auto const& frame : frames) {
            EXPECT_NE(std::dynamic_pointer_cast<Media::FrameAudRaw>(frame), nullptr);
            EXPECT_EQ(frame->GetCoding(), MediaCoding_t::RawPcm);
            EXPECT_EQ(frame->GetFrequency(), stream.frequency);
            EXPECT_EQ(frame->GetNumChannels(), stream.channels);
            EXPECT_EQ(frame->GetParams().GetBitsPerSample(), 16U);
        }
    }
}

TEST(AudioCodecProxy_Decode, EveryFrameOfAStreamGivesItsFullNumberOfSamples) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        Frames const frames = DecodeStream(stream);
        ASSERT_EQ(frames.size(), stream.packets.size());
        for (auto const& frame : frames) {
            EXPECT_EQ(SamplesOf(*frame).size(), stream.samplesPerFrame * stream.channels);
        }
    }
}

struct Quality {
    TestStream stream;
    /// Sine to noise.
    double minDb;
    /// Samples from the start that an encoder's lead-in and a decoder's settling may take.
    std::size_t lead;
    /// Samples at the end where the encoder's input ran out.
    std::size_t tail;
};

void ExpectTone(Quality const& quality) {
    TestStream const& stream = quality.stream;
    SCOPED_TRACE(stream.name);
    Samples const all = SamplesOf(DecodeStream(stream));
    for (std::size_t channel = 0; channel < stream.channels; ++channel) {
        Samples tone = From(Channel(all, stream.channels, channel), quality.lead);
        ASSERT_GT(tone.size(), quality.tail + stream.frequency / 10) << "too little left to judge";
        tone.resize(tone.size() - quality.tail);
        EXPECT_GT(SineToNoise(tone, ToneHz, stream.frequency), quality.minDb);
        // Within 1 dB (11 %) of the amplitude that went in.
        EXPECT_NEAR(SineAmplitude(tone, ToneHz, stream.frequency), 16'000, 0.11 * 16'000);
    }
}

// Eight bits of logarithmic companding keep about 38 dB over the upper 40 dB of level.
TEST(AudioCodecProxy_Decode, G711ToneKeeps35Db) {
    ExpectTone({MakeG711Stream(G711Law_t::MuLaw), 35, 0, 0});
    ExpectTone({MakeG711Stream(G711Law_t::ALaw), 35, 0, 0});
}

// A quantiser of n bits leaves roughly 6 n dB, and prediction takes most of a tone's power off it: 6 dB are
// the least of that. The first 100 ms go to the adaptation.
class AudioCodecProxy_DecodeG726 : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(AudioCodecProxy_DecodeG726, ToneKeepsSixDbABitAndSixMore) {
    ExpectTone({MakeG726Stream(GetParam()), 6.0 * GetParam() + 6, 800, 0});
}

// RFC 3551 puts the first code into the lowest bits. The encoder of the other order (first code in the
// highest bits, as AAL2 has it) with each octet's two codes exchanged must give the same sound; unexchanged,
// the codes come in the wrong order, which costs more than one of the four bits (6 dB).
TEST(AudioCodecProxy_Decode, G726HasTheFirstCodeInTheLowestBits) {
    TestStream stream = MakeG726Stream(4);
    Samples const expected = SamplesOf(DecodeStream(stream));
    TestEncoder encoder("g726", 8'000, 1, 32'000, 4);
    stream.packets = encoder.Encode(MakeSine(ToneHz, 8'000, 25 * 160), 160);
    Samples const wrongOrder = SamplesOf(DecodeStream(stream));
    for (Bytes& packet : stream.packets) {
        for (std::uint8_t& octet : packet) {
            octet = static_cast<std::uint8_t>((octet >> 4U) | (octet << 4U));
        }
    }
    EXPECT_EQ(SamplesOf(DecodeStream(stream)), expected);
    EXPECT_LT(SineToNoise(From(wrongOrder, 800), ToneHz, 8'000),
              SineToNoise(From(expected, 800), ToneHz, 8'000) - 6);
}

INSTANTIATE_TEST_SUITE_P(BitsASample, AudioCodecProxy_DecodeG726, ::testing::Values(2U, 3U, 4U, 5U),
                         ::testing::PrintToStringParamName());

// At 96 kbit/s a channel every one of these has more bits for a single tone than it can use. What they do
// not do is keep the waveform exactly: a filter bank with about 96 dB of stop band (layers II and III) or
// quantised coefficients (AAC, Opus). 30 dB is far above any damage: one lost frame in 24 costs 14 dB.
TEST(AudioCodecProxy_Decode, TransformCodedToneKeeps30Db) {
    ExpectTone({MakeLayer2Stream(), 30, 1'152, 0});
    ExpectTone({MakeLayer3Stream(), 30, 1'728, 0});
    ExpectTone({MakeAacStream(), 30, 3'072, 2'048});
    ExpectTone({MakeAdtsStream(), 30, 3'072, 2'048});
    ExpectTone({MakeAacStream(44'100, 2), 30, 3'072, 2'048});
    ExpectTone({MakeAdtsStream(44'100, 2), 30, 3'072, 2'048});
}

// The Opus encoder at hand is an experimental one: 15 dB, a correlation of 0.98 with the tone.
TEST(AudioCodecProxy_Decode, OpusToneKeeps15Db) {
    ExpectTone({MakeOpusStream(1), 15, 4'800, 4'800});
    ExpectTone({MakeOpusStream(2), 15, 4'800, 4'800});
}

TEST(AudioCodecProxy_Decode, OpusTakesAnOpusHeadAsDecoderConfig) {
    TestStream stream = MakeOpusStream(1);
    // RFC 7845, section 5.1: magic, version 1, 1 channel, pre-skip 312, 48000 Hz, gain +6 dB, family 0.
    // The gain is in 1/256 dB: 6.0206 dB (a factor of 2) is 1541 = 0x0605.
    Bytes const head = {'O',  'p',  'u',  's',  'H', 'e', 'a',  'd',  1, 1,
                        0x38, 0x01, 0x80, 0xBB, 0,   0,   0x05, 0x06, 0};
    double const plain = SineAmplitude(From(SamplesOf(DecodeStream(stream)), 9'600), ToneHz, 48'000);
    // Twice 16000 is still below full scale.
    stream.params->SetDecoderConfig(head);
    Samples const louder = SamplesOf(DecodeStream(stream));
    ASSERT_EQ(louder.size(), stream.packets.size() * stream.samplesPerFrame);
    EXPECT_NEAR(SineAmplitude(From(louder, 9'600), ToneHz, 48'000) / plain, 2.0, 0.1);
}

// Header FF FF 14: MPEG-1 layer I without checksum, 32 kbit/s, 48000 Hz: 12 x 32000 / 48000 = 8 words of 4
// bytes. FF FB 14: layer III, 32 kbit/s, 48000 Hz: 144 x 32000 / 48000 = 96 bytes; C0: mono. All bits zero
// behind the header allot nothing to any band: silence.
TEST(AudioCodecProxy_Decode, LayersOneAndThreeComeOutOfTheSameCoding) {
    auto const params = MakeParams(MediaCoding_t::MpegAudio, 48'000, 1, 0);
    Bytes layer1 = {0xFF, 0xFF, 0x14, 0xC0};
    layer1.resize(32);
    Bytes layer3 = {0xFF, 0xFB, 0x14, 0xC0};
    layer3.resize(96);
    AudioCodecProxy proxy;
    Frames const frames = proxy.Decode({MakeCoded(params, layer1), MakeCoded(params, layer3)});
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(SamplesOf(*frames[0]), Samples(384));
    EXPECT_EQ(SamplesOf(*frames[1]), Samples(1'152));
}

TEST(AudioCodecProxy_Decode, RateAndChannelsOfSelfDescribingStreamsMayBeUnknown) {
    for (TestStream stream : {MakeLayer2Stream(), MakeLayer3Stream(), MakeAdtsStream()}) {
        SCOPED_TRACE(stream.name);
        stream.params = MakeParams(stream.params->GetCoding(), 0, 0, 0);
        Frames const frames = DecodeStream(stream);
        ASSERT_EQ(frames.size(), stream.packets.size());
        EXPECT_EQ(frames[0]->GetFrequency(), stream.frequency);
        EXPECT_EQ(frames[0]->GetNumChannels(), stream.channels);
    }
}

TEST(AudioCodecProxy_Decode, RawFramePassesThrough) {
    AudioCodecProxy proxy;
    auto const raw = MakeRaw(44'100, 2, {1, 2, 3, 4});
    EXPECT_EQ(proxy.Decode({raw}), Frames{raw});
}

TEST(AudioCodecProxy_Decode, ResultCarriesTimestampSequenceNumberAndSourceOfItsFrame) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        AudioCodecProxy proxy;
        Frames const frames = proxy.Decode(
            {MakeCoded(stream.params, stream.packets[0], 7), MakeCoded(stream.params, stream.packets[1], 9)});
        ASSERT_EQ(frames.size(), 2U);
        EXPECT_EQ(frames[0]->GetIdent().sequenceNumber, 7U);
        EXPECT_EQ(frames[0]->GetTimestamp(), Kovra::SysTime::FromMilliSec(7 * 20));
        EXPECT_EQ(frames[1]->GetIdent().sequenceNumber, 9U);
        EXPECT_EQ(frames[1]->GetTimestamp(), Kovra::SysTime::FromMilliSec(9 * 20));
        EXPECT_EQ(frames[1]->GetIdent().sourceName, "Source");
    }
}

TEST(AudioCodecProxy_Decode, SeveralCodedFramesInOneInputComeOutAsSeveral) {
    for (TestStream const& stream : {MakeLayer2Stream(), MakeLayer3Stream(), MakeAdtsStream()}) {
        SCOPED_TRACE(stream.name);
        Bytes batch;
        for (std::size_t i = 0; i < 3; ++i) {
            batch.insert(batch.end(), stream.packets[i].begin(), stream.packets[i].end());
        }
        AudioCodecProxy proxy;
        Frames const frames = proxy.Decode({MakeCoded(stream.params, batch, 5)});
        ASSERT_EQ(frames.size(), 3U);
        for (auto const& frame : frames) {
            EXPECT_EQ(frame->GetIdent().sequenceNumber, 5U);
        }
        TestStream start = stream;
        start.packets.resize(3);
        EXPECT_EQ(SamplesOf(frames), SamplesOf(DecodeStream(start)));
    }
}

TEST(AudioCodecProxy_Decode, SlicesOfAFrameAreReadAsOne) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        AudioCodecProxy whole;
        AudioCodecProxy sliced;
        EXPECT_EQ(SamplesOf(sliced.Decode({MakeCodedInSlices(stream.params, stream.packets[0], 7)})),
                  SamplesOf(whole.Decode({MakeCoded(stream.params, stream.packets[0])})));
    }
}

} // namespace
} // namespace CodecTest
