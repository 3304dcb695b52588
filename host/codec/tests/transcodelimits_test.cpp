#include <gtest/gtest.h>

#include <limits>

#include "codec/audiocodecproxy.h"
#include "testframes.h"

using Media::AudioCodecProxy;
using Media::G711Law_t;
using Media::MediaCoding_t;

namespace CodecTest {
namespace {

std::size_t CountTranscoded(std::shared_ptr<Media::FrameAud> const& frame, unsigned char channels,
                            unsigned int frequency, std::int64_t durationNanoSec = 0,
                            MediaCoding_t coding = MediaCoding_t::RawPcm) {
    AudioCodecProxy proxy;
    return proxy.Transcode({frame}, coding, channels, frequency, Kovra::SysTime(durationNanoSec), true)
        .size();
}

TEST(AudioCodecProxy_TranscodeLimits, OnlyRawPcmCanBeMade) {
    auto const raw = MakeRaw(48'000, 1, Samples(100));
    EXPECT_EQ(CountTranscoded(raw, 1, 48'000), 1U);
    EXPECT_EQ(CountTranscoded(raw, 1, 48'000, 0, MediaCoding_t::G711), 0U);
    EXPECT_EQ(CountTranscoded(raw, 1, 48'000, 0, static_cast<MediaCoding_t>(0)), 0U);
}

TEST(AudioCodecProxy_TranscodeLimits, CodedFramesAreNotTranscoded) {
    EXPECT_EQ(CountTranscoded(MakeCoded(MakeG711(G711Law_t::ALaw), Bytes(160)), 1, 48'000), 0U);
}

TEST(AudioCodecProxy_TranscodeLimits, TargetWithoutChannelsOrRateYieldsNothing) {
    auto const raw = MakeRaw(48'000, 1, Samples(100));
    EXPECT_EQ(CountTranscoded(raw, 8, 48'000), 1U);
    EXPECT_EQ(CountTranscoded(raw, 0, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(raw, 9, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(raw, 255, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(raw, 1, 0), 0U);
    EXPECT_EQ(CountTranscoded(raw, 1, 768'001), 0U);
    EXPECT_EQ(CountTranscoded(raw, 1, std::numeric_limits<unsigned int>::max()), 0U);
}

TEST(AudioCodecProxy_TranscodeLimits, FrameWithImpossibleParametersOrNoSamplesIsLeftOut) {
    EXPECT_EQ(CountTranscoded(nullptr, 1, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(8'000, 1, {}), 1, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(0, 1, Samples(100)), 1, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(768'001, 1, Samples(100)), 1, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(8'000, 0, Samples(100)), 1, 48'000), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(8'000, 100, Samples(100)), 1, 48'000), 0U);
    auto const deep = MakeParams(MediaCoding_t::RawPcm, 8'000, 1, 24);
    EXPECT_EQ(CountTranscoded(MakeCoded(deep, Bytes(300)), 1, 48'000), 0U);
}

TEST(AudioCodecProxy_TranscodeLimits, RatesUpTo192TimesApartAreTaken) {
    EXPECT_EQ(CountTranscoded(MakeRaw(768'000, 1, Samples(768)), 1, 4'000), 2U);
    EXPECT_EQ(CountTranscoded(MakeRaw(4'000, 1, Samples(10)), 1, 768'000), 2U);
    EXPECT_EQ(CountTranscoded(MakeRaw(768'000, 1, Samples(768)), 1, 3'999), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(3'999, 1, Samples(10)), 1, 768'000), 0U);
    EXPECT_EQ(CountTranscoded(MakeRaw(1, 1, Samples(10)), 1, 48'000), 0U);
}

TEST(AudioCodecProxy_TranscodeLimits, RatesWithoutCommonDivisorAreTaken) {
    // 47999 samples at 47999 Hz are a second.
    AudioCodecProxy proxy;
    Frames const frames = proxy.Transcode({MakeRaw(47'999, 1, Samples(47'999, 1'000))}, MediaCoding_t::RawPcm,
                                          1, 48'000, Kovra::SysTime(), false);
    ASSERT_EQ(frames.size(), 1U);
    Samples const samples = SamplesOf(*frames[0]);
    EXPECT_EQ(samples.size(), 48'000U);
    EXPECT_NEAR(samples[24'000], 1'000, 1);
}

// 1 MiB of samples at 4000 Hz would be 192 MiB x 2 bytes at 768000 Hz.
TEST(AudioCodecProxy_TranscodeLimits, ResultAbove64MiBIsRefusedAndTheStreamGoesOn) {
    AudioCodecProxy proxy;
    auto const transcode = [&proxy](std::size_t count) {
        return SamplesOf(proxy.Transcode({MakeRaw(4'000, 1, Samples(count))}, MediaCoding_t::RawPcm, 1,
                                         768'000, Kovra::SysTime(), false))
            .size();
    };
    EXPECT_EQ(transcode(1024 * 1024), 0U);
    EXPECT_EQ(transcode(80), 80U * 192);
}

TEST(AudioCodecProxy_TranscodeLimits, AbsurdDurationAllocatesNothing) {
    auto const raw = MakeRaw(8'000, 1, Samples(160));
    EXPECT_EQ(CountTranscoded(raw, 1, 48'000, std::numeric_limits<std::int64_t>::max()), 2U);
    EXPECT_EQ(CountTranscoded(raw, 1, 48'000, std::numeric_limits<std::int64_t>::min()), 2U);
    EXPECT_EQ(CountTranscoded(raw, 1, 48'000, -1), 2U);
}

} // namespace
} // namespace CodecTest
