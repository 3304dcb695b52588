#include "commands/findings.h"

#include <gtest/gtest.h>

#include <cmath>

#include "support/testplaybacklog.h"

namespace AudioHost {

namespace {

constexpr FailOn Nothing = {false, false, false};
constexpr FailOn OnlySound = {true, false, false};
constexpr FailOn OnlyTime = {false, true, false};
constexpr FailOn OnlyLevel = {false, false, true};

ExitCode_t Ends(PlaybackLog const& log, FailOn const& failOn) {
    return CodeOf(log, FindWhatFailed(log), failOn);
}

/// 20 ms of what was sent is not in the recording.
PlaybackLog MakeLogWithMissingSound() {
    PlaybackLog log = MakeHeardLog();
    log.heard.erase(log.heard.begin() + 60000, log.heard.begin() + 60960);
    log.comparison = Listening::CompareSounds(log.sessions[0].sound, log.heard);
    return log;
}

PlaybackLog MakeLateLog() {
    PlaybackLog log = MakeHeardLog();
    for (PresentationPoint& point : log.sessions[0].points) {
        point.errorMilliSec = 60.0;
    }
    return log;
}

} // namespace

TEST(CodeOf, OfAGoodPlaybackIsOkWhateverCounts) {
    PlaybackLog const log = MakeHeardLog();
    for (FailOn const& failOn : {Nothing, OnlySound, OnlyTime, OnlyLevel, FailOn()}) {
        EXPECT_EQ(Ends(log, failOn), ExitCode_t::Ok);
    }
}

TEST(CodeOf, OfSoundThatIsMissingCountsAsSoundAlone) {
    PlaybackLog const log = MakeLogWithMissingSound();
    EXPECT_EQ(Ends(log, OnlySound), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, FailOn()), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, OnlyTime), ExitCode_t::Ok);
    EXPECT_EQ(Ends(log, OnlyLevel), ExitCode_t::Ok);
    EXPECT_EQ(Ends(log, Nothing), ExitCode_t::Ok);
}

TEST(CodeOf, OfSoundOutOfTimeCountsAsTimeAlone) {
    PlaybackLog const log = MakeLateLog();
    EXPECT_EQ(Ends(log, OnlyTime), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, FailOn()), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, OnlySound), ExitCode_t::Ok);
    EXPECT_EQ(Ends(log, Nothing), ExitCode_t::Ok);
}

TEST(CodeOf, OfFramesThatFailedCountsAsSoundAlone) {
    PlaybackLog log = MakeLog();
    log.sessions[0].jobsFailed = 1;
    EXPECT_EQ(Ends(log, OnlySound), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, OnlyTime), ExitCode_t::Ok);
}

TEST(CodeOf, OfNothingHeardIsNeverOkWhereSoundCounts) {
    PlaybackLog log = MakeHeardLog();
    log.heard.assign(96000, 0);
    log.comparison = Listening::CompareSounds(log.sessions[0].sound, log.heard);
    EXPECT_EQ(Ends(log, FailOn()), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, OnlyTime), ExitCode_t::Ok);
    EXPECT_FALSE(FindWhatFailed(log).level);
}

TEST(CodeOf, OfNothingPlayedCountsAsSound) {
    PlaybackLog log = MakeLog();
    log.sessions[0].jobsSucceeded = 0;
    log.sessions[0].points.clear();
    EXPECT_EQ(Ends(log, OnlySound), ExitCode_t::WentBadly);
    EXPECT_EQ(Ends(log, OnlyTime), ExitCode_t::Ok);
}

TEST(CodeOf, OfALevelCountsItFrom3DecibelBesideWhatWasAskedFor) {
    PlaybackLog log = MakeHeardLog();
    for (double const sign : {-1.0, 1.0}) {
        log.askedGain = std::pow(10.0, sign * 2.99 / 20.0);
        EXPECT_EQ(Ends(log, OnlyLevel), ExitCode_t::Ok);
        log.askedGain = std::pow(10.0, sign * 3.01 / 20.0);
        EXPECT_EQ(Ends(log, OnlyLevel), ExitCode_t::WentBadly);
        EXPECT_EQ(Ends(log, FailOn()), ExitCode_t::Ok);
    }
}

TEST(CodeOf, OfTheOutputsFaultIsACodeOfItsOwn) {
    PlaybackLog log = MakeLateLog();
    log.output.isWatched = true;
    Listening::OutputGlitch glitch;
    // Before the first frame, and left until the end.
    glitch.startNanoSec = -100'000'000;
    glitch.lateMilliSec = 60.0;
    glitch.leftMilliSec = 60.0;
    log.output.glitches = {glitch};
    log.sessions[0].events.clear();
    EXPECT_EQ(Ends(log, FailOn()), ExitCode_t::OutputGlitch);
    EXPECT_EQ(Ends(log, OnlyTime), ExitCode_t::OutputGlitch);
    EXPECT_EQ(Ends(log, OnlySound), ExitCode_t::Ok);
}

TEST(CodeOf, OfAnInterruptionIsThatWhateverCounts) {
    PlaybackLog log = MakeLogWithMissingSound();
    log.isInterrupted = true;
    EXPECT_EQ(Ends(log, FailOn()), ExitCode_t::Interrupted);
    EXPECT_EQ(Ends(log, Nothing), ExitCode_t::Interrupted);
}

TEST(AskedGain, IsWhatVolumeAndBalanceMakeOfTheMeanOfBothChannels) {
    PlayOptions options;
    EXPECT_NEAR(AskedGain(options), 1.0, 0.0001);
    // 0.5 to the power of 0.34375 is 0.788: -21.2 dB.
    options.volume = 0.5F;
    EXPECT_NEAR(20.0 * std::log10(AskedGain(options)), -21.2, 0.05);
    // One channel as it was, the other one 60 dB softer: 20 log10(1.001 / 2) = -6.01.
    options.balance = 0.2F;
    EXPECT_NEAR(20.0 * std::log10(AskedGain(options)), -27.2, 0.05);
    options.volume.reset();
    options.balance = 1.0F;
    EXPECT_NEAR(AskedGain(options), 0.5, 0.001);
}

} // namespace AudioHost
