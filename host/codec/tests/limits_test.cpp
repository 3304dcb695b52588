#include <gtest/gtest.h>

#include <limits>

#include "codec/audiocodecproxy.h"
#include "testencoder.h"
#include "testframes.h"

extern "C" {
#include <libavutil/log.h>
}

using Media::AudioCodecProxy;
using Media::G711Law_t;
using Media::MediaCoding_t;

namespace CodecTest {
namespace {

constexpr std::size_t OneMiB = 1024 * 1024;
constexpr std::uint32_t Huge = std::numeric_limits<std::uint32_t>::max();

std::size_t CountDecoded(Params const& params, Bytes const& bytes) {
    AudioCodecProxy proxy;
    return proxy.Decode({MakeCoded(params, bytes)}).size();
}

TEST(AudioCodecProxy_DecodeLimits, NoFrameNullFrameAndEmptyFrameYieldNothing) {
    AudioCodecProxy proxy;
    EXPECT_TRUE(proxy.Decode({}).empty());
    EXPECT_TRUE(proxy.Decode({nullptr}).empty());
    for (TestStream const& stream : MakeAllStreams()) {
        SCOPED_TRACE(stream.name);
        EXPECT_TRUE(proxy.Decode({MakeCoded(stream.params, {})}).empty());
        auto const withoutSlice = std::make_shared<Media::FrameAud>(Media::FrameIdent(), stream.params);
        EXPECT_TRUE(proxy.Decode({withoutSlice}).empty());
    }
    EXPECT_TRUE(proxy.Decode({MakeRaw(48'000, 1, {})}).empty());
}

TEST(AudioCodecProxy_DecodeLimits, NullFrameAmongGoodOnesIsLeftOut) {
    AudioCodecProxy proxy;
    auto const good = MakeCoded(MakeG711(G711Law_t::MuLaw), {0xFF});
    EXPECT_EQ(proxy.Decode({good, nullptr, good}).size(), 2U);
}

TEST(AudioCodecProxy_DecodeLimits, FrameOfOneMiBIsTakenAndOneByteMoreIsRefused) {
    AudioCodecProxy proxy;
    auto const params = MakeG711(G711Law_t::MuLaw);
    EXPECT_EQ(SamplesOf(proxy.Decode({MakeCoded(params, Bytes(OneMiB, 0xFF))})).size(), OneMiB);
    EXPECT_TRUE(proxy.Decode({MakeCoded(params, Bytes(OneMiB + 1, 0xFF))}).empty());
    // Two codes of 4 bits to a byte.
    auto const g726 = MakeParams(MediaCoding_t::G726, 8'000, 1, 2);
    EXPECT_EQ(SamplesOf(proxy.Decode({MakeCoded(g726, Bytes(OneMiB))})).size(), 4 * OneMiB);
}

TEST(AudioCodecProxy_DecodeLimits, FrameStuffedWithCodedFramesGivesSixtyFourAtMost) {
    TestStream const stream = MakeLayer3Stream();
    Bytes stuffed;
    for (int i = 0; i < 65; ++i) {
        stuffed.insert(stuffed.end(), stream.packets[0].begin(), stream.packets[0].end());
    }
    EXPECT_EQ(CountDecoded(stream.params, stuffed), 64U);
}

TEST(AudioCodecProxy_DecodeLimits, G711NeedsRateChannelsAndEightBits) {
    Bytes const bytes(800, 0xFF);
    auto const count = [&bytes](std::uint32_t frequency, std::uint32_t channels, std::uint32_t bits) {
        return CountDecoded(MakeParams(MediaCoding_t::G711, frequency, channels, bits), bytes);
    };
    EXPECT_EQ(count(8'000, 1, 8), 1U);
    EXPECT_EQ(count(1, 1, 8), 1U);
    EXPECT_EQ(count(768'000, 8, 8), 1U);
    EXPECT_EQ(count(0, 1, 8), 0U);
    EXPECT_EQ(count(768'001, 1, 8), 0U);
    EXPECT_EQ(count(Huge, 1, 8), 0U);
    EXPECT_EQ(count(8'000, 0, 8), 0U);
    EXPECT_EQ(count(8'000, 9, 8), 0U);
    EXPECT_EQ(count(8'000, 100, 8), 0U);
    EXPECT_EQ(count(8'000, Huge, 8), 0U);
    EXPECT_EQ(count(8'000, 1, 0), 0U);
    EXPECT_EQ(count(8'000, 1, 16), 0U);
}

TEST(AudioCodecProxy_DecodeLimits, G726NeedsARateOneChannelAndTwoToFiveBits) {
    Bytes const bytes(100, 0x5A);
    auto const count = [&bytes](std::uint32_t frequency, std::uint32_t channels, std::uint32_t bits) {
        return CountDecoded(MakeParams(MediaCoding_t::G726, frequency, channels, bits), bytes);
    };
    for (std::uint32_t bits = 2; bits <= 5; ++bits) {
        EXPECT_EQ(count(8'000, 1, bits), 1U) << bits;
    }
    EXPECT_EQ(count(8'000, 1, 0), 0U);
    EXPECT_EQ(count(8'000, 1, 1), 0U);
    EXPECT_EQ(count(8'000, 1, 6), 0U);
    EXPECT_EQ(count(8'000, 1, Huge), 0U);
    EXPECT_EQ(count(0, 1, 4), 0U);
    EXPECT_EQ(count(8'000, 0, 4), 0U);
    EXPECT_EQ(count(8'000, 2, 4), 0U);
    EXPECT_EQ(count(8'000, 100, 4), 0U);
}

TEST(AudioCodecProxy_DecodeLimits, ImpossibleParametersOfSelfDescribingStreamsAreRefused) {
    for (TestStream const& stream :
         {MakeLayer2Stream(), MakeLayer3Stream(), MakeAacStream(), MakeAdtsStream(), MakeOpusStream()}) {
        SCOPED_TRACE(stream.name);
        for (auto const& params : {MakeParams(stream.params->GetCoding(), 48'000, 100, 16),
                                   MakeParams(stream.params->GetCoding(), Huge, 1, 16)}) {
            params->SetDecoderConfig(stream.params->GetDecoderConfig());
            EXPECT_EQ(CountDecoded(params, stream.packets[0]), 0U);
        }
    }
}

TEST(AudioCodecProxy_DecodeLimits, DecoderConfigAboveFourKiBIsRefused) {
    TestStream const stream = MakeAacStream();
    // Bytes behind the AudioSpecificConfig do not matter to the decoder.
    Bytes config = stream.params->GetDecoderConfig();
    config.resize(4'096);
    stream.params->SetDecoderConfig(config);
    EXPECT_EQ(CountDecoded(stream.params, stream.packets[0]), 1U);
    config.resize(4'097);
    stream.params->SetDecoderConfig(config);
    EXPECT_EQ(CountDecoded(stream.params, stream.packets[0]), 0U);
}

TEST(AudioCodecProxy_DecodeLimits, CodingsWithoutDecoderYieldNothing) {
    for (std::uint32_t coding : {0U, 0x2FFU, 0x306U, Huge}) {
        auto const params = MakeParams(static_cast<MediaCoding_t>(coding), 48'000, 1, 16);
        EXPECT_EQ(CountDecoded(params, Bytes(100)), 0U);
    }
}

TEST(AudioCodecProxy_DecodeLimits, LibrariesStaySilentAboutDamagedFrames) {
    AudioCodecProxy const proxy;
    EXPECT_EQ(av_log_get_level(), AV_LOG_QUIET);
}

TEST(AudioCodecProxy_DecodeLimits, RawFrameThatCannotBePlayedIsLeftOut) {
    AudioCodecProxy proxy;
    EXPECT_TRUE(proxy.Decode({MakeRaw(0, 1, {1})}).empty());
    EXPECT_TRUE(proxy.Decode({MakeRaw(48'000, 0, {1})}).empty());
    EXPECT_TRUE(proxy.Decode({MakeRaw(48'000, 100, Samples(200))}).empty());
    // One sample is not a whole group of two channels.
    EXPECT_TRUE(proxy.Decode({MakeRaw(48'000, 2, {1})}).empty());
}

} // namespace
} // namespace CodecTest
