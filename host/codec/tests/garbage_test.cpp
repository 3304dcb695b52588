#include <gtest/gtest.h>

#include <random>

#include "codec/audiocodecproxy.h"
#include "testencoder.h"
#include "testframes.h"

using Media::AudioCodecProxy;
using Media::MediaCoding_t;

namespace CodecTest {
namespace {

/// Streams whose frames start with a sync word and tell their length: damage there can be seen.
std::vector<TestStream> MakeFramedStreams() {
    return {MakeLayer2Stream(), MakeLayer3Stream(), MakeAdtsStream()};
}

Bytes MakeNoise(std::mt19937& random, std::size_t count) {
    Bytes bytes(count);
    for (std::uint8_t& byte : bytes) {
        byte = static_cast<std::uint8_t>(random() & 0xFFU);
    }
    return bytes;
}

/// Whatever came out of damaged bytes can be played: no sizes or parameters out of bounds.
void ExpectPlayable(Frames const& frames) {
    for (auto const& frame : frames) {
        ASSERT_NE(frame, nullptr);
        EXPECT_GE(frame->GetFrequency(), 1U);
        EXPECT_LE(frame->GetFrequency(), 768'000U);
        ASSERT_GE(frame->GetNumChannels(), 1U);
        EXPECT_LE(frame->GetNumChannels(), 8U);
        std::size_t const samples = SamplesOf(*frame).size();
        EXPECT_GT(samples, 0U);
        EXPECT_EQ(samples % frame->GetNumChannels(), 0U);
    }
}

/// A good frame behind damaged ones comes out at its full length; `good` of the stream is tried.
void ExpectGoodFrameDecodes(AudioCodecProxy& proxy, TestStream const& stream, std::size_t good) {
    Frames const frames = proxy.Decode({MakeCoded(stream.params, stream.packets[good])});
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(frames[0]->GetFrequency(), stream.frequency);
    EXPECT_EQ(frames[0]->GetNumChannels(), stream.channels);
    std::size_t const samples = SamplesOf(*frames[0]).size();
    std::size_t const full = stream.samplesPerFrame * stream.channels;
    if (stream.params->GetCoding() == MediaCoding_t::Opus) {
        // Garbage may put an Opus decoder into its speech mode. The first music frame behind it brings what
        // that mode's resampler still held as well: less than 1 ms.
        EXPECT_GE(samples, full);
        EXPECT_LT(samples, full + stream.frequency / 1'000);
    } else {
        EXPECT_EQ(samples, full);
    }
}

TEST(AudioCodecProxy_Garbage, RandomBytesOfEverySizeLeaveTheStreamDecodable) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        std::mt19937 random(1);
        AudioCodecProxy proxy;
        for (std::size_t count = 1; count < 400; count += 3) {
            SCOPED_TRACE(count);
            ExpectPlayable(proxy.Decode({MakeCoded(stream.params, MakeNoise(random, count))}));
            ExpectGoodFrameDecodes(proxy, stream, count % stream.packets.size());
        }
    }
}

TEST(AudioCodecProxy_Garbage, BytesWithoutSyncWordYieldNothing) {
    for (TestStream const& stream : MakeFramedStreams()) {
        SCOPED_TRACE(stream.name);
        std::mt19937 random(2);
        AudioCodecProxy proxy;
        proxy.Decode({MakeCoded(stream.params, stream.packets[0])});
        for (int round = 0; round < 200; ++round) {
            Bytes noise = MakeNoise(random, 500);
            noise[0] = 0x7F;
            EXPECT_TRUE(proxy.Decode({MakeCoded(stream.params, noise)}).empty());
        }
    }
}

TEST(AudioCodecProxy_Garbage, FrameThatDoesNotStartWithItsSyncWordYieldsNothing) {
    for (TestStream const& stream : MakeFramedStreams()) {
        SCOPED_TRACE(stream.name);
        Bytes shifted = stream.packets[0];
        shifted.insert(shifted.begin(), 0);
        AudioCodecProxy proxy;
        EXPECT_TRUE(proxy.Decode({MakeCoded(stream.params, shifted)}).empty());
    }
}

TEST(AudioCodecProxy_Garbage, FrameCutAtAnyLengthYieldsNothingWhenItTellsItsLength) {
    for (TestStream const& stream : MakeFramedStreams()) {
        SCOPED_TRACE(stream.name);
        AudioCodecProxy proxy;
        Bytes const& whole = stream.packets[4];
        for (std::size_t length = 0; length < whole.size(); ++length) {
            Bytes const cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            EXPECT_TRUE(proxy.Decode({MakeCoded(stream.params, cut)}).empty()) << "length " << length;
        }
        ExpectGoodFrameDecodes(proxy, stream, 5);
    }
}

// G.711, G.726 and Opus packets do not tell their length: a shorter one is a frame of its own. A raw AAC
// frame that ends early is refused by the decoder or, cut in its padding, whole.
TEST(AudioCodecProxy_Garbage, FrameCutAtAnyLengthLeavesTheStreamDecodable) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        AudioCodecProxy proxy;
        Bytes const& whole = stream.packets[4];
        for (std::size_t length = 0; length <= whole.size(); ++length) {
            SCOPED_TRACE(length);
            Bytes const cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length));
            ExpectPlayable(proxy.Decode({MakeCoded(stream.params, cut)}));
        }
        ExpectGoodFrameDecodes(proxy, stream, 5);
    }
}

TEST(AudioCodecProxy_Garbage, WholeFrameBeforeACutOneStillComesOut) {
    for (TestStream const& stream : MakeFramedStreams()) {
        SCOPED_TRACE(stream.name);
        Bytes bytes = stream.packets[0];
        bytes.insert(bytes.end(), stream.packets[1].begin(), stream.packets[1].end() - 1);
        AudioCodecProxy proxy;
        EXPECT_EQ(proxy.Decode({MakeCoded(stream.params, bytes)}).size(), 1U);
    }
}

TEST(AudioCodecProxy_Garbage, EveryFlippedBitOfAFrameLeavesTheStreamDecodable) {
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        AudioCodecProxy proxy;
        // The first bytes hold the headers; further on one bit of each byte is enough.
        std::size_t const bits = stream.packets[4].size() * 8;
        for (std::size_t bit = 0; bit < bits; bit += bit < 128 ? 1 : 7) {
            SCOPED_TRACE(bit);
            Bytes flipped = stream.packets[4];
            flipped[bit / 8] = static_cast<std::uint8_t>(flipped[bit / 8] ^ (1U << (bit % 8)));
            ExpectPlayable(proxy.Decode({MakeCoded(stream.params, flipped)}));
        }
        ExpectGoodFrameDecodes(proxy, stream, 5);
    }
}

// A decoder that gets noise where its stream goes on must not lose the stream: what the damaged frame did to
// the history of the following one is gone after a few frames more (the bit reservoir of layer III reaches
// back furthest: 255 bytes, three frames of 96).
TEST(AudioCodecProxy_Garbage, RefusedFrameCostsOnlyItself) {
    for (TestStream const& stream : {MakeLayer2Stream(), MakeLayer3Stream(), MakeAdtsStream()}) {
        SCOPED_TRACE(stream.name);
        Frames const expected = DecodeStream(stream);
        AudioCodecProxy proxy;
        for (std::size_t i = 0; i < 11; ++i) {
            ASSERT_EQ(proxy.Decode({MakeCoded(stream.params, Bytes(50, 0x55))}).size(), 0U);
            Frames const frames = proxy.Decode({MakeCoded(stream.params, stream.packets[i])});
            EXPECT_EQ(SamplesOf(frames), SamplesOf(*expected[i])) << "frame " << i;
        }
    }
}

TEST(AudioCodecProxy_Garbage, GarbageDecoderConfigYieldsNothing) {
    std::mt19937 random(3);
    AudioCodecProxy proxy;
    TestStream const aac = MakeAacStream();
    TestStream const opus = MakeOpusStream();
    for (std::size_t count = 1; count < 100; ++count) {
        for (TestStream const* stream : {&aac, &opus}) {
            SCOPED_TRACE(stream->name);
            auto const params = MakeParams(stream->params->GetCoding(), 48'000, 1, 16);
            params->SetDecoderConfig(MakeNoise(random, count));
            ExpectPlayable(proxy.Decode({MakeCoded(params, stream->packets[1])}));
        }
    }
    ExpectGoodFrameDecodes(proxy, aac, 2);
    // An OpusHead is 19 bytes at least.
    auto const params = MakeParams(MediaCoding_t::Opus, 48'000, 1, 16);
    params->SetDecoderConfig({'O', 'p', 'u', 's', 'H', 'e', 'a', 'd', 1, 1});
    EXPECT_TRUE(proxy.Decode({MakeCoded(params, opus.packets[1])}).empty());
}

} // namespace
} // namespace CodecTest
