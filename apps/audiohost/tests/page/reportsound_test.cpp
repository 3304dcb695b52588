#include "page/reportsound.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "files/flacsound.h"
#include "files/mediafile.h"
#include "listening/tests/testsounds.h"
#include "page/spectrogram.h"
#include "support/testfiles.h"

namespace AudioHost {

using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

Listening::Samples Decode(std::string const& flac) {
    TestFolder const folder;
    return ReadSound(folder.Write("sound.flac", flac));
}

} // namespace

TEST(EncodeFlac, GivesBackEverySample) {
    Listening::Samples const voice = Listening::MakeVoice(48'000);
    std::string const flac = EncodeFlac(voice);
    EXPECT_LT(flac.size(), voice.size() * sizeof(std::int16_t));
    EXPECT_EQ(Decode(flac), voice);
}

TEST(MakeSpectrogram, OfAToneIsLoudestInItsBandAndAsLoudAsTheTone) {
    // Full scale is 250; half of it is 6 dB, or 15 steps, less.
    ReportSpectrogram const spectrogram =
        MakeSpectrogram(Listening::MakeSine(48'000, 1'000.0, Listening::FullScaleLsb / 2.0));
    ASSERT_EQ(spectrogram.rows, 64U);
    ASSERT_EQ(spectrogram.levels.size() % spectrogram.rows, 0U);
    std::size_t const columns = spectrogram.levels.size() / spectrogram.rows;
    auto const middle =
        spectrogram.levels.begin() + static_cast<std::ptrdiff_t>(columns / 2 * spectrogram.rows);
    auto const loudest = std::max_element(middle, middle + static_cast<std::ptrdiff_t>(spectrogram.rows));
    EXPECT_NEAR(*loudest, 235, 4);
    double const row = static_cast<double>(loudest - middle);
    double const low = 60.0 * std::pow(20'000.0 / 60.0, (row - 0.5) / 64.0);
    double const high = 60.0 * std::pow(20'000.0 / 60.0, (row + 1.5) / 64.0);
    EXPECT_LT(low, 1'000.0);
    EXPECT_GT(high, 1'000.0);
    EXPECT_LT(*middle, 100);
}

TEST(MakeSpectrogram, KeepsAClickOfALongSilence) {
    Listening::Samples sound(48'000 * 60, 0);
    sound[48'000 * 37 + 5] = 32'000;
    ReportSpectrogram const spectrogram = MakeSpectrogram(sound);
    std::size_t const columns = spectrogram.levels.size() / spectrogram.rows;
    EXPECT_LE(columns, 600U);
    auto const loud = std::find_if(spectrogram.levels.begin(), spectrogram.levels.end(),
                                   [](std::uint8_t level) { return level > 0; });
    ASSERT_NE(loud, spectrogram.levels.end());
    auto const column = static_cast<std::int64_t>(loud - spectrogram.levels.begin()) /
                        static_cast<std::int64_t>(spectrogram.rows);
    EXPECT_NEAR(static_cast<double>(column * spectrogram.columnMicroSec) / 1e6, 37.0, 0.2);
}

TEST(MakeSpectrogram, OfSilenceIsDarkAndOfNextToNothingEmpty) {
    EXPECT_THAT(MakeSpectrogram(Listening::Samples(4'096, 0)).levels, Each(0));
    EXPECT_THAT(MakeSpectrogram(Listening::Samples(2'047, 0)).levels, IsEmpty());
}

TEST(PlaySound, KeepsTheExtremesOfItsWaveInAFewStretches) {
    Listening::Samples sound(48'000 * 60, 0);
    sound[48'000 * 30] = -12'345;
    std::vector<SideFile> files;
    ReportSound const report = PlaySound("a", "A", sound, 200, "a.flac", files);
    EXPECT_EQ(report.lengthMilliSec, 60'000);
    EXPECT_LE(report.wave.low.size(), 2'000U);
    auto const lowest = std::min_element(report.wave.low.begin(), report.wave.low.end());
    EXPECT_EQ(*lowest, -12'345);
    EXPECT_NEAR(static_cast<double>((lowest - report.wave.low.begin()) * report.wave.stretchMicroSec), 30e6,
                static_cast<double>(report.wave.stretchMicroSec));
}

TEST(PlaySound, UpToTwoMinutesIsInThePageAndThenBesideIt) {
    std::vector<SideFile> files;
    Listening::Samples sound(48'000 * 120, 0);
    ReportSound const embedded = PlaySound("a", "A", sound, 0, "a.flac", files);
    EXPECT_FALSE(embedded.flac.empty());
    EXPECT_THAT(files, IsEmpty());
    sound.resize(sound.size() + 48, 0);
    ReportSound const beside = PlaySound("a", "A", sound, 0, "a.flac", files);
    EXPECT_TRUE(beside.flac.empty());
    EXPECT_EQ(beside.fileName, "a.flac");
    ASSERT_THAT(files, SizeIs(1));
    EXPECT_EQ(files[0].name, "a.flac");
}

TEST(PlaySound, OfNothingHasNothingToListenTo) {
    std::vector<SideFile> files;
    ReportSound const report = PlaySound("a", "A", {}, 0, "a.flac", files);
    EXPECT_TRUE(report.flac.empty());
    EXPECT_TRUE(report.fileName.empty());
}

} // namespace AudioHost
