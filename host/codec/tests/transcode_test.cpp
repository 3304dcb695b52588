#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "codec/audiocodecproxy.h"
#include "testencoder.h"
#include "testframes.h"
#include "testsignals.h"

using Media::AudioCodecProxy;
using Media::MediaCoding_t;

namespace CodecTest {
namespace {

constexpr Kovra::SysTime TwentyMilliSec = Kovra::SysTime::FromMilliSec(20);
constexpr std::size_t FramesInTenSec = 500;

Frames Transcode(AudioCodecProxy& proxy, std::shared_ptr<Media::FrameAud> const& frame,
                 std::uint32_t frequency = 48'000, unsigned char channels = 1, bool flush = false) {
    return proxy.Transcode({frame}, MediaCoding_t::RawPcm, channels, frequency, TwentyMilliSec, flush);
}

/// Ten seconds of a tone at `rate` in frames of 20 ms (whole samples), each transcoded in a call of its own.
std::vector<Samples> TranscodeTone(std::uint32_t rate, double toneHz, std::uint32_t outRate = 48'000) {
    std::size_t const frameSamples = rate / 50;
    Samples const tone = MakeSine(toneHz, rate, frameSamples * FramesInTenSec);
    AudioCodecProxy proxy;
    std::vector<Samples> pieces;
    for (std::size_t i = 0; i < FramesInTenSec; ++i) {
        pieces.push_back(
            SamplesOf(Transcode(proxy, MakeRaw(rate, 1, Piece(tone, i, frameSamples)), outRate)));
    }
    return pieces;
}

Samples Join(std::vector<Samples> const& pieces) {
    Samples all;
    for (Samples const& piece : pieces) {
        all.insert(all.end(), piece.begin(), piece.end());
    }
    return all;
}

class AudioCodecProxy_TranscodeTo48000 : public ::testing::TestWithParam<std::uint32_t> {};

TEST_P(AudioCodecProxy_TranscodeTo48000, EveryFrameOfTwentyMilliSecGives960SamplesTheFirstIncluded) {
    for (Samples const& piece : TranscodeTone(GetParam(), 440)) {
        ASSERT_EQ(piece.size(), 960U);
    }
}

TEST_P(AudioCodecProxy_TranscodeTo48000, ToneStaysATone) {
    Samples const all = Join(TranscodeTone(GetParam(), 440));
    // Behind the delay's silence and the edge into it.
    EXPECT_GT(SineToNoise(From(all, 960), 440, 48'000), 80);
}

// Every sample of ten seconds against what theory wants, so that a click at any frame border shows. Rounding
// makes an error of half a step going in and coming out; the filter's ripple and its images may add a
// ten-thousandth of the amplitude (-80 dB): 16000 x 1e-4 + 1 = 2.6 steps.
TEST_P(AudioCodecProxy_TranscodeTo48000, OutputIsTheInputSixteenInputSamplesLate) {
    Samples const all = Join(TranscodeTone(GetParam(), 440));
    double const delaySec = 16.0 / GetParam();
    double worst = 0;
    for (std::size_t i = 480; i < all.size(); ++i) {
        double const expected =
            16'000 * std::sin(2 * Pi * 440 * (static_cast<double>(i) / 48'000 - delaySec));
        worst = std::max(worst, std::fabs(all[i] - expected));
    }
    EXPECT_LT(worst, 2.6);
}

TEST_P(AudioCodecProxy_TranscodeTo48000, FlushGivesTheDelayedRest) {
    std::uint32_t const rate = GetParam();
    AudioCodecProxy proxy;
    Samples const ones(rate / 50, 10'000);
    Frames const frames = Transcode(proxy, MakeRaw(rate, 1, ones, 3), 48'000, 1, true);
    ASSERT_EQ(frames.size(), 2U);
    Samples const tail = SamplesOf(*frames[1]);
    // 16 samples at the input's rate, rounded down.
    EXPECT_EQ(tail.size(), 16 * 48'000U / rate);
    EXPECT_NEAR(tail[0], 10'000, 100);
    // Frame 3 of 20 ms starts at 60 ms and ends at 80 ms.
    EXPECT_EQ(frames[1]->GetTimestamp(), Kovra::SysTime::FromMilliSec(80));
    EXPECT_EQ(frames[1]->GetIdent().sequenceNumber, 3U);
}

INSTANTIATE_TEST_SUITE_P(FromRate, AudioCodecProxy_TranscodeTo48000,
                         ::testing::Values(8'000U, 16'000U, 22'050U, 32'000U, 44'100U),
                         ::testing::PrintToStringParamName());

// 11025 Hz has 220.5 samples in 20 ms. Frames of 220: 957.8 samples each, and 500 of them 478911.56.
TEST(AudioCodecProxy_Transcode, FramesThatDoNotDivideEvenlyAddUpExactly) {
    std::size_t total = 0;
    for (Samples const& piece : TranscodeTone(11'025, 440)) {
        ASSERT_GE(piece.size(), 957U);
        ASSERT_LE(piece.size(), 958U);
        total += piece.size();
    }
    EXPECT_EQ(total, 478'911U);
}

TEST(AudioCodecProxy_Transcode, LowerRatesWorkTheSameWay) {
    std::vector<Samples> const pieces = TranscodeTone(48'000, 440, 8'000);
    for (Samples const& piece : pieces) {
        ASSERT_EQ(piece.size(), 160U);
    }
    EXPECT_GT(SineToNoise(From(Join(pieces), 160), 440, 8'000), 80);
}

TEST(AudioCodecProxy_Transcode, ToneAboveTheLowerRatesReachIsTakenOut) {
    // 5000 Hz does not exist at 8000 Hz: folded back it would be heard at 3000 Hz.
    Samples const all = From(Join(TranscodeTone(48'000, 5'000, 8'000)), 160);
    EXPECT_LT(*std::max_element(all.begin(), all.end()), 16);
}

// Priming fills the filter before the first frame, so even a frame far shorter than the filter gives its
// share at once.
TEST(AudioCodecProxy_Transcode, FramesOfOneSampleGiveTheirShareToo) {
    Samples const tone = MakeSine(440, 8'000, 800);
    AudioCodecProxy proxy;
    Samples all;
    for (std::int16_t const sample : tone) {
        Samples const six = SamplesOf(Transcode(proxy, MakeRaw(8'000, 1, {sample})));
        ASSERT_EQ(six.size(), 6U);
        all.insert(all.end(), six.begin(), six.end());
    }
    EXPECT_GT(SineToNoise(From(all, 960), 440, 48'000), 80);
}

TEST(AudioCodecProxy_Transcode, HowTheStreamIsCutDoesNotMatter) {
    Samples const tone = MakeSine(440, 44'100, 44'100);
    AudioCodecProxy whole;
    Samples const expected = SamplesOf(Transcode(whole, MakeRaw(44'100, 1, tone)));
    AudioCodecProxy cut;
    Samples all;
    for (std::size_t i = 0; i < 44'100 / 147; ++i) {
        Samples const piece = SamplesOf(Transcode(cut, MakeRaw(44'100, 1, Piece(tone, i, 147))));
        all.insert(all.end(), piece.begin(), piece.end());
    }
    EXPECT_EQ(all, expected);
}

TEST(AudioCodecProxy_Transcode, SeveralFramesInOneCallGiveOneResultEach) {
    AudioCodecProxy proxy;
    Frames const frames =
        proxy.Transcode({MakeRaw(8'000, 1, Samples(160), 1), MakeRaw(8'000, 1, Samples(160), 2)},
                        MediaCoding_t::RawPcm, 1, 48'000, TwentyMilliSec, false);
    ASSERT_EQ(frames.size(), 2U);
    for (std::uint32_t i = 0; i < 2; ++i) {
        EXPECT_EQ(frames[i]->GetIdent().sequenceNumber, i + 1);
        EXPECT_EQ(frames[i]->GetTimestamp(), Kovra::SysTime::FromMilliSec(20 * (i + 1)));
        EXPECT_EQ(frames[i]->GetIdent().sourceName, "Source");
        EXPECT_EQ(frames[i]->GetFrequency(), 48'000U);
        EXPECT_EQ(frames[i]->GetNumChannels(), 1U);
        EXPECT_EQ(frames[i]->GetDuration(), TwentyMilliSec);
        EXPECT_NE(std::dynamic_pointer_cast<Media::FrameAudRaw>(frames[i]), nullptr);
    }
}

TEST(AudioCodecProxy_Transcode, StereoBecomesTheMeanOfBothChannels) {
    Samples interleaved;
    for (int i = 0; i < 882; ++i) {
        interleaved.push_back(1'000);
        interleaved.push_back(3'000);
    }
    AudioCodecProxy proxy;
    Samples const mono = SamplesOf(Transcode(proxy, MakeRaw(44'100, 2, interleaved)));
    ASSERT_EQ(mono.size(), 960U);
    // Away from the step out of the silence; a constant passes the filter but for its ripple.
    EXPECT_NEAR(mono[480], 2'000, 2);
}

TEST(AudioCodecProxy_Transcode, ChangeOfChannelsAloneDelaysNothing) {
    AudioCodecProxy proxy;
    Frames const frames = Transcode(proxy, MakeRaw(48'000, 2, {1'000, 3'000, -500, 500}), 48'000, 1, true);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(SamplesOf(*frames[0]), (Samples{2'000, 0}));
}

TEST(AudioCodecProxy_Transcode, SameFormatComesOutAsItWentIn) {
    AudioCodecProxy proxy;
    Frames const frames = Transcode(proxy, MakeRaw(48'000, 1, {1, -2, 32'767, -32'768}), 48'000, 1, true);
    ASSERT_EQ(frames.size(), 1U);
    EXPECT_EQ(SamplesOf(*frames[0]), (Samples{1, -2, 32'767, -32'768}));
}

TEST(AudioCodecProxy_Transcode, FullScaleSaturatesInsteadOfWrapping) {
    // A square wave overshoots in any band-limited filter: beyond full scale it must stay at it.
    Samples square(1'600);
    for (std::size_t i = 0; i < square.size(); ++i) {
        square[i] = (i / 40) % 2 == 0 ? 32'767 : -32'768;
    }
    AudioCodecProxy proxy;
    Samples const all = SamplesOf(Transcode(proxy, MakeRaw(8'000, 1, square)));
    // 40 samples become 240; sample 20 of each half wave, 16 + 20 samples in, is at the plateau.
    for (std::size_t half = 1; half < 39; ++half) {
        int const plateau = all[half * 240 + (16 + 20) * 6];
        EXPECT_GT(half % 2 == 0 ? plateau : -plateau, 32'000) << "half wave " << half;
    }
}

TEST(AudioCodecProxy_Transcode, ChangedInputRateStartsTheFilterAnew) {
    AudioCodecProxy proxy;
    Transcode(proxy, MakeRaw(8'000, 1, Samples(160, 10'000)));
    Samples const changed = SamplesOf(Transcode(proxy, MakeRaw(16'000, 1, Samples(320, 10'000))));
    AudioCodecProxy fresh;
    EXPECT_EQ(changed, SamplesOf(Transcode(fresh, MakeRaw(16'000, 1, Samples(320, 10'000)))));
    EXPECT_EQ(changed.size(), 960U);
    EXPECT_EQ(changed[0], 0);
}

TEST(AudioCodecProxy_Transcode, ChangedTargetStartsTheFilterAnew) {
    AudioCodecProxy proxy;
    auto const frame = MakeRaw(8'000, 1, Samples(160, 10'000));
    Transcode(proxy, frame, 48'000);
    Samples const changed = SamplesOf(Transcode(proxy, frame, 16'000));
    AudioCodecProxy fresh;
    EXPECT_EQ(changed, SamplesOf(Transcode(fresh, frame, 16'000)));
    EXPECT_EQ(changed.size(), 320U);
}

TEST(AudioCodecProxy_Transcode, AfterAFlushTheFilterStartsAnew) {
    auto const frame = MakeRaw(8'000, 1, Samples(160, 10'000));
    AudioCodecProxy proxy;
    Samples const first = SamplesOf(*Transcode(proxy, frame).at(0));
    EXPECT_NE(SamplesOf(*Transcode(proxy, frame, 48'000, 1, true).at(0)), first);
    EXPECT_EQ(SamplesOf(*Transcode(proxy, frame).at(0)), first);
}

TEST(AudioCodecProxy_Transcode, FlushWithoutFramesGivesTheRestOnce) {
    AudioCodecProxy proxy;
    Transcode(proxy, MakeRaw(8'000, 1, Samples(160, 10'000)));
    auto const flush = [&proxy] {
        return proxy.Transcode({}, MediaCoding_t::RawPcm, 1, 48'000, Kovra::SysTime(), true);
    };
    Frames const rest = flush();
    ASSERT_EQ(rest.size(), 1U);
    EXPECT_EQ(SamplesOf(*rest[0]).size(), 16U * 6);
    EXPECT_TRUE(flush().empty());
}

TEST(AudioCodecProxy_Transcode, DecodedG711StreamIsATelephoneToneAt48000) {
    AudioCodecProxy proxy;
    TestStream const stream = MakeG711Stream(Media::G711Law_t::ALaw);
    Samples all;
    for (Bytes const& packet : stream.packets) {
        Frames const decoded = proxy.Decode({MakeCoded(stream.params, packet)});
        Frames const transcoded =
            proxy.Transcode(decoded, MediaCoding_t::RawPcm, 1, 48'000, decoded.at(0)->GetDuration(), false);
        Samples const samples = SamplesOf(transcoded);
        ASSERT_EQ(samples.size(), 960U);
        all.insert(all.end(), samples.begin(), samples.end());
    }
    EXPECT_GT(SineToNoise(From(all, 960), ToneHz, 48'000), 35);
}

} // namespace
} // namespace CodecTest
