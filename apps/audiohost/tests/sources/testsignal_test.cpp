#include "sources/testsignal.h"

#include <gtest/gtest.h>

#include <cmath>

#include "listening/soundlevel.h"

namespace AudioHost {

namespace {

Listening::Samples Read(PcmStream& stream, std::size_t count) {
    Listening::Samples sound;
    while (sound.size() < count && stream.Read(sound)) {
    }
    sound.resize(count);
    return sound;
}

/// Amplitude in LSB of the frequency in a second of sound.
double AmplitudeAt(double hz, Listening::Samples const& second) {
    double real = 0.0;
    double imaginary = 0.0;
    for (std::size_t i = 0; i < second.size(); ++i) {
        double const angle = 2.0 * std::acos(-1.0) * hz * static_cast<double>(i) / Listening::SoundRateHz;
        real += second[i] * std::cos(angle);
        imaginary += second[i] * std::sin(angle);
    }
    return 2.0 * std::hypot(real, imaginary) / static_cast<double>(second.size());
}

} // namespace

TEST(MakeTone, HasItsFrequenciesAndNoOther) {
    Listening::Samples const sound = Read(*MakeTone({440.0, 660.0}), 48000);
    // Half of full scale shared by two.
    EXPECT_NEAR(AmplitudeAt(440.0, sound), 8192.0, 1.0);
    EXPECT_NEAR(AmplitudeAt(660.0, sound), 8192.0, 1.0);
    EXPECT_NEAR(AmplitudeAt(550.0, sound), 0.0, 1.0);
    EXPECT_LE(Listening::Peak(sound), 16384);
}

TEST(MakeNoise, IsTheSameEachTimeWhiteAndAQuarterOfFullScale) {
    Listening::Samples const sound = Read(*MakeNoise(), 48000);
    EXPECT_EQ(Read(*MakeNoise(), 48000), sound);
    // Evenly spread up to a quarter: its square root of a third, 20 log10(0.25 / sqrt(3)) = -16.8.
    EXPECT_NEAR(Listening::LevelDecibel(sound), -16.8, 0.1);
    EXPECT_LE(Listening::Peak(sound), 8192);
    // Neighbours have nothing in common.
    double product = 0.0;
    for (std::size_t i = 1; i < sound.size(); ++i) {
        product += static_cast<double>(sound[i]) * sound[i - 1];
    }
    EXPECT_LT(std::fabs(product / Listening::SumOfSquares(sound)), 0.02);
}

TEST(NameTone, JoinsFrequencies) {
    EXPECT_EQ(NameTone({440.0}), "440 Hz");
    EXPECT_EQ(NameTone({440.0, 660.5, 1000.0}), "440 + 660.5 + 1000 Hz");
}

TEST(TestSignal_ReadFrame, EndsAfterItsDuration) {
    TestSignal signal(MakeTone({440.0}), "tone", 50'000'000, Kovra::SysTime(1));
    MediaFrame frame;
    // At 0, 20 and 40 ms.
    EXPECT_TRUE(signal.ReadFrame(frame) && signal.ReadFrame(frame) && signal.ReadFrame(frame));
    EXPECT_FALSE(signal.ReadFrame(frame));
    EXPECT_EQ(signal.GetDurationNanoSec(), 50'000'000);
}

} // namespace AudioHost
