#include "verdict/findings.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "ears/soundmixer.h"

namespace Soak {
namespace {

constexpr std::size_t Sessions = 4;
/// Four sessions' period is the least one, 50 frames: bursts 0 to 7 lie in frames 50 to 400 and some.
constexpr std::int64_t Frames = 420;
constexpr std::int64_t BurstsInAll = 8 * static_cast<std::int64_t>(Sessions);
constexpr std::int64_t OriginSample = 10'000;
constexpr std::int64_t DelaySamples = 2400;

class Findings_Analyse : public testing::Test {
protected:
    Findings_Analyse() {
        record.frames = Frames;
        record.originSample = OriginSample;
        record.originTime = Kovra::JiffyTime(1'000'000'000);
        record.silenceSample = OriginSample + DelaySamples + Frames * FrameSamples;
        record.endSample = record.silenceSample + Listening::SoundRateHz / 2;
    }

    Findings Hear() const { return Analyse(plan, record, mixer.Mix(OriginSample + DelaySamples)); }

    /// The instant at which frame `number` is due.
    Kovra::JiffyTime TimeOf(std::int64_t number) const {
        return Kovra::JiffyTime(record.originTime.NanoSec() + number * FrameNanoSec);
    }

    SoundPlan const plan{Sessions};
    SoundMixer mixer{plan, Frames};
    RunRecord record;
};

TEST_F(Findings_Analyse, ASoundWithoutAFaultHasNone) {
    Findings const findings = Hear();
    EXPECT_EQ(findings.bursts.expected, BurstsInAll);
    EXPECT_EQ(findings.bursts.found, BurstsInAll);
    EXPECT_TRUE(findings.bursts.missing.empty());
    EXPECT_TRUE(findings.bursts.displaced.empty());
    EXPECT_TRUE(findings.strays.empty());
    EXPECT_TRUE(findings.faults.own.empty());
    EXPECT_TRUE(findings.faults.common.empty());
    EXPECT_EQ(findings.bursts.apart.max, 0.0);
    EXPECT_EQ(findings.bursts.stepsOfAll, 0);
    // 2400 samples.
    EXPECT_EQ(findings.bursts.delayMilliSec, 50.0);
    EXPECT_EQ(findings.calmShare, 1.0);
    EXPECT_EQ(findings.silencePeakLsb, 0);
}

TEST_F(Findings_Analyse, AMissingBurstIsMissingAndItsToneBroken) {
    // Burst 2 of session 1 is frame 3 * 50 + 3.
    mixer.WithFrames([](std::size_t session, std::int64_t number) -> std::optional<std::int64_t> {
        return session == 1 && number == 153 ? std::nullopt : std::optional<std::int64_t>(number);
    });
    Findings const findings = Hear();
    ASSERT_EQ(findings.bursts.missing.size(), 1U);
    EXPECT_EQ(findings.bursts.missing[0].session, 1U);
    EXPECT_EQ(findings.bursts.missing[0].index, 2);
    EXPECT_EQ(findings.bursts.found, BurstsInAll - 1);
    ASSERT_EQ(findings.faults.own.size(), 1U);
    EXPECT_EQ(findings.faults.own[0].session, 1U);
}

TEST_F(Findings_Analyse, AMissingFrameWithoutABurstBreaksTheTone) {
    mixer.WithFrames([](std::size_t session, std::int64_t number) -> std::optional<std::int64_t> {
        return session == 3 && number == 230 ? std::nullopt : std::optional<std::int64_t>(number);
    });
    Findings const findings = Hear();
    EXPECT_TRUE(findings.bursts.missing.empty());
    ASSERT_EQ(findings.faults.own.size(), 1U);
    EXPECT_EQ(findings.faults.own[0].session, 3U);
    // The frame begins at sample 10000 + 2400 + 230 * 960 = 233200, block 242.9: block 243 is as good as
    // silent.
    ToneFault const& fault = findings.faults.own[0];
    EXPECT_LE(fault.firstBlock, 243);
    EXPECT_GE(fault.firstBlock + fault.blocks, 244);
    EXPECT_LT(fault.levelRatio, 0.5F);
}

TEST_F(Findings_Analyse, ADoubledFrameBreaksTheToneThoughItIsAsLoud) {
    mixer.WithFrames([](std::size_t session, std::int64_t number) {
        return std::optional<std::int64_t>(session == 0 && number == 230 ? 229 : number);
    });
    Findings const findings = Hear();
    ASSERT_FALSE(findings.faults.own.empty());
    EXPECT_EQ(findings.faults.own[0].session, 0U);
    EXPECT_TRUE(findings.bursts.missing.empty());
}

TEST_F(Findings_Analyse, ADoubledBurstIsHeardWhereNoneWasToBeAndRecognised) {
    // Burst 3 of session 2 is frame 206, and is heard again at once.
    mixer.WithFrames([](std::size_t session, std::int64_t number) {
        return std::optional<std::int64_t>(session == 2 && number == 207 ? 206 : number);
    });
    Findings const findings = Hear();
    ASSERT_EQ(findings.strays.size(), 1U);
    EXPECT_EQ(findings.strays[0].session, std::optional<std::size_t>(2));
    EXPECT_EQ(findings.bursts.found, BurstsInAll);
}

TEST_F(Findings_Analyse, OldSoundALapLaterIsHeardWhereNoneWasToBe) {
    // Frames 300 to 309 are those of five seconds before, with the burst of frame 50 in the place of 300.
    mixer.WithFrames([](std::size_t session, std::int64_t number) {
        bool const isOld = session == 0 && number >= 301 && number < 311;
        return std::optional<std::int64_t>(isOld ? number - 250 : number);
    });
    Findings const findings = Hear();
    // 250 frames are a quarter of a period of the tone off: broken at both ends.
    ASSERT_FALSE(findings.faults.own.empty());
    EXPECT_EQ(findings.faults.own[0].session, 0U);
}

TEST_F(Findings_Analyse, SoundOfATakeBeforeIsNotThisOnes) {
    // The same sound stands in the recording twice, and a burst between both belongs to neither.
    Listening::Samples heard = mixer.Mix(OriginSample + DelaySamples);
    Listening::Samples const second = heard;
    record.beginSample = static_cast<std::int64_t>(heard.size());
    heard.insert(heard.end(), second.begin(), second.end());
    record.originSample += record.beginSample;
    record.silenceSample += record.beginSample;
    record.endSample += record.beginSample;
    Findings const findings = Analyse(plan, record, heard);
    EXPECT_EQ(findings.bursts.found, BurstsInAll);
    EXPECT_TRUE(findings.strays.empty());

    Listening::Samples const burst = plan.GetBurst(0);
    std::copy(burst.begin(), burst.end(), heard.begin() + record.beginSample + FrameSamples);
    EXPECT_EQ(Analyse(plan, record, heard).strays.size(), 1U);
}

TEST_F(Findings_Analyse, ADisplacedBurstIsAStepOfItsSession) {
    // 480 samples, 10 ms, from frame 170 on, between bursts 2 and 3 of session 1.
    mixer.WithDelay(1, 170, 480);
    Findings const findings = Hear();
    ASSERT_EQ(findings.bursts.displaced.size(), 1U);
    EXPECT_EQ(findings.bursts.displaced[0].session, 1U);
    EXPECT_EQ(findings.bursts.displaced[0].index, 3);
    EXPECT_EQ(findings.bursts.displaced[0].milliSec, 10.0);
    EXPECT_EQ(findings.bursts.apart.max, 10.0);
    EXPECT_EQ(findings.bursts.found, BurstsInAll);
    EXPECT_TRUE(findings.strays.empty());
}

TEST_F(Findings_Analyse, ABurstFarFromItsPlaceIsFoundThere) {
    // 300 ms.
    mixer.WithDelay(1, 170, 14'400);
    Findings const findings = Hear();
    ASSERT_EQ(findings.bursts.displaced.size(), 1U);
    EXPECT_EQ(findings.bursts.displaced[0].milliSec, 300.0);
    EXPECT_EQ(findings.bursts.found, BurstsInAll);
}

TEST_F(Findings_Analyse, SilenceOfAllSessionsIsTheOutputs) {
    // With burst 3 of session 0, frame 200, in it.
    mixer.WithFrames([](std::size_t, std::int64_t number) -> std::optional<std::int64_t> {
        return number >= 198 && number < 202 ? std::nullopt : std::optional<std::int64_t>(number);
    });
    Findings const findings = Hear();
    EXPECT_TRUE(findings.bursts.missing.empty());
    EXPECT_EQ(findings.bursts.missingDisturbed, 1);
    EXPECT_TRUE(findings.faults.own.empty());
    EXPECT_EQ(findings.faults.common.size(), Sessions);
    EXPECT_LT(findings.calmShare, 1.0);
}

TEST_F(Findings_Analyse, AMoveOfTheCursorThatTheModuleToldIsNoGlitchOfItsOwn) {
    mixer.WithDelay(1, 170, 480);
    record.events.push_back({SessionEvent::Kind_t::Cursor, 1, TimeOf(170)});
    Findings const findings = Hear();
    EXPECT_TRUE(findings.bursts.displaced.empty());
    EXPECT_EQ(findings.bursts.displacedDisturbed, 1);
    EXPECT_TRUE(findings.faults.own.empty());
}

TEST_F(Findings_Analyse, AFrameThatCameLateIsNoGlitchOfItsSessionsOwn) {
    mixer.WithFrames([](std::size_t session, std::int64_t number) -> std::optional<std::int64_t> {
        return session == 3 && number == 230 ? std::nullopt : std::optional<std::int64_t>(number);
    });
    record.events.push_back({SessionEvent::Kind_t::LateFrame, 3, TimeOf(230)});
    Findings const findings = Hear();
    EXPECT_TRUE(findings.faults.own.empty());
    EXPECT_TRUE(findings.faults.atCursorMoves.empty());
    EXPECT_EQ(findings.faultsAtLateFrames.size(), 1U);
    record.events.back().session = 2;
    EXPECT_EQ(Hear().faults.own.size(), 1U);
}

TEST_F(Findings_Analyse, AMoveThatWasToldOfAnotherSessionExcusesNothing) {
    mixer.WithDelay(1, 170, 480);
    record.events.push_back({SessionEvent::Kind_t::Cursor, 2, TimeOf(170)});
    Findings const findings = Hear();
    EXPECT_EQ(findings.bursts.displaced.size(), 1U);
}

TEST_F(Findings_Analyse, SoundAfterTheEndIsTold) {
    Listening::Samples heard = mixer.Mix(OriginSample + DelaySamples);
    Listening::Samples const old = plan.MakeFrame(0, 50);
    std::int64_t const at = record.silenceSample + 10 * FrameSamples;
    std::copy(old.begin(), old.end(), heard.begin() + at);
    Findings const findings = Analyse(plan, record, heard);
    EXPECT_EQ(findings.soundingBlocks, 1);
    EXPECT_GT(findings.silencePeakLsb, 1000);
    // A burst, too.
    EXPECT_EQ(findings.strays.size(), 1U);
}

TEST_F(Findings_Analyse, NothingHeardIsNothingFound) {
    Listening::Samples const heard(static_cast<std::size_t>(record.endSample));
    Findings const findings = Analyse(plan, record, heard);
    EXPECT_EQ(findings.bursts.found, 0);
}

} // namespace
} // namespace Soak
