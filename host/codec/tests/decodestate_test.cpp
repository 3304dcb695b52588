#include <gtest/gtest.h>

#include "codec/audiocodecproxy.h"
#include "testencoder.h"
#include "testframes.h"
#include "testsignals.h"

using Media::AudioCodecProxy;
using Media::G711Law_t;
using Media::MediaCoding_t;

namespace CodecTest {
namespace {

std::vector<TestStream> MakeStreamsWithHistory() {
    return {MakeG726Stream(4), MakeLayer2Stream(), MakeLayer3Stream(),
            MakeAacStream(),   MakeAdtsStream(),   MakeOpusStream()};
}

Samples DecodeAlone(Params const& params, Bytes const& packet) {
    AudioCodecProxy proxy;
    return SamplesOf(proxy.Decode({MakeCoded(params, packet)}));
}

TEST(AudioCodecProxy_DecoderState, FrameInItsStreamDiffersFromTheSameFrameAlone) {
    for (TestStream const& stream : MakeStreamsWithHistory()) {
        SCOPED_TRACE(stream.name);
        Frames const inStream = DecodeStream(stream);
        ASSERT_GT(inStream.size(), 8U);
        EXPECT_NE(SamplesOf(*inStream[8]), DecodeAlone(stream.params, stream.packets[8]));
    }
}

TEST(AudioCodecProxy_DecoderState, FramesInOneCallAndInSingleCallsGiveTheSame) {
    for (TestStream const& stream : MakeStreamsWithHistory()) {
        SCOPED_TRACE(stream.name);
        Frames inputs;
        for (Bytes const& packet : stream.packets) {
            inputs.push_back(MakeCoded(stream.params, packet));
        }
        AudioCodecProxy proxy;
        EXPECT_EQ(SamplesOf(proxy.Decode(inputs)), SamplesOf(DecodeStream(stream)));
    }
}

TEST(AudioCodecProxy_DecoderState, TwoProxiesDoNotDisturbEachOther) {
    TestStream const stream = MakeAacStream();
    Samples const expected = SamplesOf(DecodeStream(stream));
    AudioCodecProxy first;
    AudioCodecProxy second;
    Samples fromFirst;
    for (Bytes const& packet : stream.packets) {
        Samples const samples = SamplesOf(first.Decode({MakeCoded(stream.params, packet)}));
        fromFirst.insert(fromFirst.end(), samples.begin(), samples.end());
        second.Decode({MakeCoded(stream.params, stream.packets[3])});
    }
    EXPECT_EQ(fromFirst, expected);
}

TEST(AudioCodecProxy_DecoderState, EqualParametersInAnotherObjectKeepTheState) {
    TestStream const stream = MakeAacStream();
    Samples const expected = SamplesOf(DecodeStream(stream));
    AudioCodecProxy proxy;
    Samples samples;
    for (Bytes const& packet : stream.packets) {
        auto params = MakeParams(MediaCoding_t::Aac, 48'000, 1, 16);
        params->SetDecoderConfig(stream.params->GetDecoderConfig());
        Samples const piece = SamplesOf(proxy.Decode({MakeCoded(params, packet)}));
        samples.insert(samples.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(samples, expected);
}

TEST(AudioCodecProxy_DecoderState, ChangedParametersStartAnew) {
    TestStream const stream = MakeAdtsStream();
    auto const changed = MakeParams(MediaCoding_t::Aac, 48'000, 1, 8);
    AudioCodecProxy proxy;
    for (std::size_t i = 0; i < 8; ++i) {
        proxy.Decode({MakeCoded(stream.params, stream.packets[i])});
    }
    EXPECT_EQ(SamplesOf(proxy.Decode({MakeCoded(changed, stream.packets[8])})),
              DecodeAlone(changed, stream.packets[8]));
}

TEST(AudioCodecProxy_DecoderState, ChangedLawIsFollowed) {
    AudioCodecProxy proxy;
    proxy.Decode({MakeCoded(MakeG711(G711Law_t::MuLaw), {0xFF})});
    Frames const frames = proxy.Decode({MakeCoded(MakeG711(G711Law_t::ALaw), {0xAA})});
    EXPECT_EQ(SamplesOf(frames), Samples{32'256});
}

TEST(AudioCodecProxy_DecoderState, ChangedRateAndChannelsAreFollowed) {
    AudioCodecProxy proxy;
    auto const mono = MakeParams(MediaCoding_t::G711, 8'000, 1, 8);
    auto const stereo = MakeParams(MediaCoding_t::G711, 16'000, 2, 8);
    Frames const frames = proxy.Decode({MakeCoded(mono, Bytes(4, 0xFF)), MakeCoded(stereo, Bytes(4, 0xFF))});
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0]->GetFrequency(), 8'000U);
    EXPECT_EQ(frames[0]->GetNumChannels(), 1U);
    EXPECT_EQ(frames[1]->GetFrequency(), 16'000U);
    EXPECT_EQ(frames[1]->GetNumChannels(), 2U);
}

TEST(AudioCodecProxy_DecoderState, ChangedDecoderConfigIsFollowed) {
    TestStream const stream = MakeAacStream(48'000);
    TestStream const other = MakeAacStream(44'100);
    auto const changed = MakeParams(MediaCoding_t::Aac, 48'000, 1, 16);
    changed->SetDecoderConfig(other.params->GetDecoderConfig());
    AudioCodecProxy proxy;
    proxy.Decode({MakeCoded(stream.params, stream.packets[0])});
    Frames const frames = proxy.Decode({MakeCoded(changed, other.packets[0])});
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0]->GetFrequency(), 44'100U);
}

// The stream itself changes here, its parameters do not: 48000 Hz stereo, then 24000 Hz mono.
TEST(AudioCodecProxy_DecoderState, ChangedRateAndChannelsWithinAStreamAreFollowed) {
    TestStream const stereo = MakeLayer2Stream();
    TestStream const mono = MakeLayer3Stream();
    auto const params = MakeParams(MediaCoding_t::MpegAudio, 0, 0, 0);
    AudioCodecProxy proxy;
    Frames const frames =
        proxy.Decode({MakeCoded(params, stereo.packets[0]), MakeCoded(params, mono.packets[0]),
                      MakeCoded(params, stereo.packets[1])});
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(SamplesOf(*frames[0]).size(), 2U * 1'152);
    EXPECT_EQ(frames[1]->GetFrequency(), 24'000U);
    EXPECT_EQ(frames[1]->GetNumChannels(), 1U);
    EXPECT_EQ(SamplesOf(*frames[1]).size(), 576U);
    EXPECT_EQ(frames[2]->GetNumChannels(), 2U);
    EXPECT_EQ(SamplesOf(*frames[2]).size(), 2U * 1'152);
}

// Silent layer I frames as in the tests of decoding: third octet 14 is 48000 Hz, 10 is 44100 Hz, where
// 12 x 32000 / 44100 is 8 words of 4 bytes as well.
TEST(AudioCodecProxy_DecoderState, StreamsOwnRateCountsFromTheFirstFrameOn) {
    auto const params = MakeParams(MediaCoding_t::MpegAudio, 8'000, 1, 0);
    Bytes first = {0xFF, 0xFF, 0x14, 0xC0};
    first.resize(32);
    Bytes second = first;
    second[2] = 0x10;
    AudioCodecProxy proxy;
    Frames const frames = proxy.Decode({MakeCoded(params, first), MakeCoded(params, second)});
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0]->GetFrequency(), 48'000U);
    EXPECT_EQ(frames[1]->GetFrequency(), 44'100U);
}

TEST(AudioCodecProxy_DecoderState, ChangedCodingIsFollowedInOneCall) {
    TestStream const aac = MakeAacStream();
    AudioCodecProxy proxy;
    Frames const frames =
        proxy.Decode({MakeCoded(aac.params, aac.packets[0]), MakeCoded(MakeG711(G711Law_t::ALaw), {0xAA}),
                      MakeRaw(8'000, 1, {5})});
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[0]->GetFrequency(), 48'000U);
    EXPECT_EQ(SamplesOf(*frames[1]), Samples{32'256});
    EXPECT_EQ(SamplesOf(*frames[2]), Samples{5});
}

} // namespace
} // namespace CodecTest
