#include "ears/take.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "ears/pilotsound.h"
#include "ears/retakes.h"
#include "ears/tracking.h"
#include "listening/soundlevel.h"
#include "support/recording/noise.h"

namespace SystemTest {
namespace {

using Listening::Samples;
using Listening::SampleView;
using TestSupport::Disturbance;

constexpr std::int64_t SecondSamples = Listening::SoundRateHz;
constexpr std::int64_t FrameSamples = 960;
constexpr std::int64_t DelaySamples = 2345;
constexpr std::size_t Sounds = 2;
constexpr std::int64_t StaggerSamples = 7000;
constexpr std::int64_t TakeSamples = 3 * SecondSamples;

/// What the output gives when nothing goes wrong: sounds, one begun a little after the other, beside the
/// pilot. Tests spoil one sound before it is mixed, or the mix.
class Output {
public:
    Output() {
        for (std::uint32_t i = 0; i < Sounds; ++i) {
            sent_.push_back(TestSupport::MakeNoise(i + 1, TakeSamples));
            for (std::int16_t& sample : sent_.back()) {
                sample = static_cast<std::int16_t>(sample / 3);
            }
        }
        played_ = sent_;
    }

    Samples const& GetSent(std::size_t sound) const { return sent_[sound]; }
    /// What the session gives to the output.
    Samples& Played(std::size_t sound) { return played_[sound]; }
    static std::int64_t GetStart(std::size_t sound) {
        return DelaySamples + static_cast<std::int64_t>(sound) * StaggerSamples;
    }

    Samples Mix() const {
        Samples const pilot = MakePilotSound();
        Samples mix(DelaySamples + TakeSamples + 4 * SecondSamples / 5);
        for (std::size_t i = 0; i < mix.size(); ++i) {
            mix[i] = pilot[i % pilot.size()];
        }
        for (std::size_t sound = 0; sound < Sounds; ++sound) {
            auto at = static_cast<std::size_t>(GetStart(sound));
            for (std::int16_t const sample : played_[sound]) {
                if (at < mix.size()) {
                    mix[at] = static_cast<std::int16_t>(mix[at] + sample);
                    ++at;
                }
            }
        }
        return mix;
    }

private:
    std::vector<Samples> sent_;
    std::vector<Samples> played_;
};

/// How many windows of all sounds got a verdict.
struct Counts {
    int heard = 0;
    int lost = 0;
    int jumped = 0;
    int disturbed = 0;
};

/// As the tests judge what they hear. The sounds' sessions are numbered from 0.
Counts Judge(Output const& output, Samples const& mix, std::vector<Disturbance> disturbances = {}) {
    std::vector<Disturbance> const outages = FindOutages(mix);
    disturbances.insert(disturbances.end(), outages.begin(), outages.end());
    Counts counts;
    for (std::size_t sound = 0; sound < Sounds; ++sound) {
        auto const windows = TrackWindows(output.GetSent(sound), mix, Output::GetStart(sound), FineTrack);
        for (WindowVerdict_t const verdict : JudgeWindows(windows, sound, disturbances)) {
            counts.heard += verdict == WindowVerdict_t::Heard ? 1 : 0;
            counts.lost += verdict == WindowVerdict_t::Lost ? 1 : 0;
            counts.jumped += verdict == WindowVerdict_t::Jumped ? 1 : 0;
            counts.disturbed += verdict == WindowVerdict_t::Disturbed ? 1 : 0;
        }
    }
    return counts;
}

void Silence(Samples& sound, std::int64_t at, std::int64_t samples) {
    std::fill_n(sound.begin() + at, samples, std::int16_t{0});
}
void InsertSilence(Samples& sound, std::int64_t at, std::int64_t samples) {
    sound.insert(sound.begin() + at, static_cast<std::size_t>(samples), 0);
}
void Skip(Samples& sound, std::int64_t at, std::int64_t samples) {
    sound.erase(sound.begin() + at, sound.begin() + at + samples);
}

/// 3 s in windows of 40 ms.
constexpr int WindowsInAll = 75 * Sounds;

TEST(Take_Judge, AnUndisturbedOutputIsHeardInEveryWindow) {
    Output const output;
    Counts const counts = Judge(output, output.Mix());
    EXPECT_EQ(counts.heard, WindowsInAll);
}

TEST(Take_Judge, AGapInAllSoundsAtOnceIsTheOutputs) {
    Output const output;
    for (std::int64_t const milliSec : {20, 60, 250}) {
        Samples mix = output.Mix();
        Silence(mix, 2 * SecondSamples, Listening::MilliSecToSamples(milliSec));
        Counts const counts = Judge(output, mix);
        EXPECT_EQ(counts.lost + counts.jumped, 0) << milliSec;
        EXPECT_GT(counts.disturbed, 0);
        // From 100 ms before to 500 ms behind it, a block at the edges, and a window that begins before.
        EXPECT_LE(counts.disturbed, static_cast<int>(Sounds) * (static_cast<int>(milliSec) + 720) / 40);
        EXPECT_EQ(counts.heard + counts.disturbed, WindowsInAll);
    }
}

TEST(Take_Judge, AStallOfTheWholeOutputIsTheOutputs) {
    Output const output;
    for (std::int64_t const milliSec : {5, 20, 60, 250}) {
        Samples mix = output.Mix();
        InsertSilence(mix, 2 * SecondSamples, Listening::MilliSecToSamples(milliSec));
        Counts const counts = Judge(output, mix);
        EXPECT_EQ(counts.lost + counts.jumped, 0) << milliSec;
        EXPECT_GT(counts.disturbed, 0) << milliSec;
        EXPECT_EQ(counts.heard + counts.disturbed, WindowsInAll) << milliSec;
    }
}

TEST(Take_Judge, AGapInOneSoundIsItsOwn) {
    Output output;
    // The length of a frame, in the middle of a window of two; and of two.
    Silence(output.Played(0), SecondSamples, FrameSamples);
    Silence(output.Played(1), SecondSamples, 2 * FrameSamples);
    Counts const counts = Judge(output, output.Mix());
    EXPECT_EQ(counts.lost, 2);
    EXPECT_EQ(counts.disturbed, 0);
}

TEST(Take_Judge, AGapInAllSoundsAtTheSamePlaceOfEachIsTheirOwn) {
    Output output;
    for (std::size_t sound = 0; sound < Sounds; ++sound) {
        Silence(output.Played(sound), SecondSamples, 2 * FrameSamples);
    }
    Counts const counts = Judge(output, output.Mix());
    EXPECT_EQ(counts.lost, static_cast<int>(Sounds));
    EXPECT_EQ(counts.disturbed, 0);
}

TEST(Take_Judge, AGapInAllSoundsAtTheSameMomentWhileTheOutputGoesOnIsTheModules) {
    Output output;
    for (std::size_t sound = 0; sound < Sounds; ++sound) {
        Silence(output.Played(sound), 2 * SecondSamples - Output::GetStart(sound), 4 * FrameSamples);
    }
    Counts const counts = Judge(output, output.Mix());
    EXPECT_GE(counts.lost, static_cast<int>(Sounds));
    EXPECT_EQ(counts.disturbed, 0);
}

TEST(Take_Judge, AJumpOfOneSoundIsItsOwn) {
    for (bool const isLate : {false, true}) {
        Output output;
        if (isLate) {
            InsertSilence(output.Played(0), SecondSamples, FrameSamples / 2);
        } else {
            Skip(output.Played(0), SecondSamples, FrameSamples / 2);
        }
        Counts const counts = Judge(output, output.Mix());
        EXPECT_EQ(counts.jumped, 1);
        EXPECT_EQ(counts.disturbed, 0);
    }
}

TEST(Take_Judge, ARepeatedFrameOfOneSoundIsItsOwn) {
    Output output;
    Samples& played = output.Played(1);
    Samples const frame(played.begin() + SecondSamples, played.begin() + SecondSamples + FrameSamples);
    std::copy(frame.begin(), frame.end(), played.begin() + SecondSamples + FrameSamples);
    Counts const counts = Judge(output, output.Mix());
    EXPECT_GE(counts.lost + counts.jumped, 1);
    EXPECT_EQ(counts.disturbed, 0);
}

TEST(Take_Judge, AGapOfItsOwnBesideOneOfTheOutputStaysItsOwn) {
    Output output;
    // A second apart.
    Silence(output.Played(0), 24 * FrameSamples, 2 * FrameSamples);
    Samples mix = output.Mix();
    Silence(mix, 2 * SecondSamples, FrameSamples);
    EXPECT_EQ(Judge(output, mix).lost, 1);
}

TEST(Take_Judge, AMoveOfOneSessionsCursorThatWasToldAndHadAReasonExcusesThatSessionOnly) {
    // The output stood still half a second before.
    std::vector<Disturbance> const reason = {{std::nullopt, 400 * 48, 500 * 48}};
    for (auto const& [told, outages, jumped] :
         {std::tuple(0, reason, 0), std::tuple(1, reason, 1), std::tuple(0, std::vector<Disturbance>(), 1)}) {
        Output output;
        InsertSilence(output.Played(0), SecondSamples, FrameSamples / 2);
        // Sample 0 is heard after the output's delay.
        Kovra::JiffyTime const start(1'000'000'000);
        auto const disturbances = PlaceEvents(
            {{SessionEvent::Kind_t::Moved, static_cast<std::size_t>(told), start.AddMilliSec(1000)}}, start,
            outages);
        Counts const counts = Judge(output, output.Mix(), disturbances);
        EXPECT_EQ(counts.jumped, jumped);
    }
}

TEST(Take_Judge, GapsEverywhereTooOftenLeavePartsOpenAtTheLimit) {
    Output const output;
    Samples mix = output.Mix();
    for (std::int64_t at = 0; at + FrameSamples < static_cast<std::int64_t>(mix.size());
         at += SecondSamples / 2) {
        Silence(mix, at, FrameSamples);
    }
    Retakes retakes(WindowsInAll);
    while (retakes.Begin()) {
        Counts const counts = Judge(output, mix);
        EXPECT_EQ(counts.disturbed, WindowsInAll);
    }
    EXPECT_EQ(retakes.CountTakes(), Retakes::MaxTakes);
    EXPECT_EQ(retakes.CountOpen(), static_cast<std::size_t>(WindowsInAll));
}

TEST(PilotSound_FindOutages, FindsEverySlipInStepsOfTheOutputUpToASecond) {
    Samples const pilot = MakePilotSound();
    Samples long_;
    for (int i = 0; i < 4; ++i) {
        long_.insert(long_.end(), pilot.begin(), pilot.end());
    }
    EXPECT_TRUE(FindOutages(long_).empty());
    for (std::int64_t milliSec = 10; milliSec < 1000; milliSec += 10) {
        Samples slipped = long_;
        // Not at a block's edge.
        Skip(slipped, 2 * SecondSamples + 300, Listening::MilliSecToSamples(milliSec));
        EXPECT_FALSE(FindOutages(slipped).empty()) << milliSec;
    }
}

TEST(PilotSound_FindOutages, ReachFromALittleBeforeTheBreakToHalfASecondBehindIt) {
    Output const output;
    Samples mix = output.Mix();
    // Blocks 100 and 101.
    Silence(mix, 2 * SecondSamples, 2 * FrameSamples);
    auto const outages = FindOutages(mix);
    auto const isDisturbed = [&outages](std::int64_t block) {
        return TestSupport::IsDisturbed(outages, std::nullopt, block * FrameSamples + 1,
                                        (block + 1) * FrameSamples - 1);
    };
    // The blocks beside the break are broken too, as the tone does not lead from one to the next.
    EXPECT_FALSE(isDisturbed(92));
    EXPECT_TRUE(isDisturbed(95));
    EXPECT_TRUE(isDisturbed(126));
    EXPECT_FALSE(isDisturbed(130));
}

TEST(PilotSound_FindOutages, SilenceInThePilotsPlaceIsAnOutage) {
    Samples const silence(SecondSamples);
    auto const outages = FindOutages(silence);
    EXPECT_TRUE(TestSupport::IsDisturbed(outages, std::nullopt, SecondSamples / 2, SecondSamples / 2));
}

TEST(PilotSound_WithoutPilot, LeavesNothingOfItAndWhatLiesBelowAsItWas) {
    EXPECT_LE(Listening::Peak(WithoutPilot(MakePilotSound())), 2);

    Samples low(SecondSamples);
    for (std::size_t i = 0; i < low.size(); ++i) {
        low[i] = static_cast<std::int16_t>(std::lround(
            8000.0 * std::sin(2.0 * Listening::Pi * 300.0 * static_cast<double>(i) / SecondSamples)));
    }
    EXPECT_NEAR(Listening::LevelDecibel(WithoutPilot(low)), Listening::LevelDecibel(low), 0.05);
}

class Take_IsCalm : public testing::Test {
protected:
    Take_IsCalm() {
        // 1000 to 1500 ms, and of session 7 4000 to 4500 ms.
        take.disturbances = {{std::nullopt, 48'000, 72'000}, {7, 192'000, 216'000}};
    }
    Take take;
};

TEST_F(Take_IsCalm, IsFalseForEverySessionWhereTheOutputWasDisturbed) {
    // Heard up to 200 ms after its time.
    EXPECT_TRUE(take.IsCalm(3, 0, 799));
    EXPECT_FALSE(take.IsCalm(3, 0, 800));
    EXPECT_FALSE(take.IsCalm(std::nullopt, 1500, 1600));
    EXPECT_TRUE(take.IsCalm(3, 1501, 1600));
}

TEST_F(Take_IsCalm, IsFalseForTheSessionAloneThatWasDisturbed) {
    EXPECT_FALSE(take.IsCalm(7, 4100, 4200));
    EXPECT_TRUE(take.IsCalm(8, 4100, 4200));
    EXPECT_TRUE(take.IsCalm(std::nullopt, 4100, 4200));
}

constexpr Kovra::JiffyTime Start(5'000'000'000);

using Happened = std::vector<std::pair<SessionEvent::Kind_t, std::int64_t>>;

std::vector<Disturbance> Place(Happened const& events, std::vector<Disturbance> const& outages = {}) {
    std::vector<SessionEvent> timed;
    for (auto const& [kind, milliSec] : events) {
        timed.push_back({kind, 1, Start.AddMilliSec(milliSec)});
    }
    return PlaceEvents(timed, Start, outages);
}

Disturbance MakeOutage(std::int64_t fromMilliSec, std::int64_t toMilliSec) {
    return {std::nullopt, Listening::MilliSecToSamples(fromMilliSec),
            Listening::MilliSecToSamples(toMilliSec)};
}

/// A session that was started at 1000 ms, for the second time, and moved at 3000 ms.
Happened MakeMove() {
    return {{SessionEvent::Kind_t::Started, 100},
            {SessionEvent::Kind_t::Started, 1000},
            {SessionEvent::Kind_t::Moved, 3000}};
}

TEST(Take_PlaceEvents, LateFrameIsHeardForHalfASecond) {
    auto const places = Place({{SessionEvent::Kind_t::LateFrame, 1000}});
    ASSERT_EQ(places.size(), 1U);
    EXPECT_EQ(places[0].session, std::optional<std::size_t>(1));
    // 960 ms and 1500 ms; a sample is 20833 ns.
    EXPECT_NEAR(static_cast<double>(places[0].firstSample), 46'080.0, 2.0);
    EXPECT_NEAR(static_cast<double>(places[0].lastSample), 72'000.0, 2.0);
}

TEST(Take_PlaceEvents, AMoveWithoutAReasonIsTheModulesOwn) {
    EXPECT_TRUE(Place(MakeMove()).empty());
    // The output was disturbed before the session's start, or after the move.
    EXPECT_TRUE(Place(MakeMove(), {MakeOutage(300, 900)}).empty());
    EXPECT_TRUE(Place(MakeMove(), {MakeOutage(3210, 4000)}).empty());
}

TEST(Take_PlaceEvents, AMoveAfterAnOutageOfTheOutputIsHeardForHalfASecond) {
    // Long before the move; over the session's start; heard a little after the move.
    for (Disturbance const& outage :
         {MakeOutage(1500, 2100), MakeOutage(500, 1100), MakeOutage(3190, 3900)}) {
        auto const places = Place(MakeMove(), {outage});
        ASSERT_EQ(places.size(), 1U);
        EXPECT_EQ(places[0].session, std::optional<std::size_t>(1));
        // 2960 ms and 3500 ms.
        EXPECT_NEAR(static_cast<double>(places[0].firstSample), 142'080.0, 3.0);
        EXPECT_NEAR(static_cast<double>(places[0].lastSample), 168'000.0, 4.0);
    }
}

TEST(Take_PlaceEvents, AMoveAfterALateFrameOfTheSessionItselfHasAReason) {
    Happened events = MakeMove();
    events.insert(events.end() - 1, {SessionEvent::Kind_t::LateFrame, 2000});
    EXPECT_EQ(Place(events).size(), 2U);
    // Before its start.
    events[2].second = 900;
    EXPECT_EQ(Place(events).size(), 1U);

    std::vector<SessionEvent> const others = {
        {SessionEvent::Kind_t::Started, 1, Start.AddMilliSec(1000)},
        {SessionEvent::Kind_t::LateFrame, 2, Start.AddMilliSec(2000)},
        {SessionEvent::Kind_t::Moved, 1, Start.AddMilliSec(3000)},
    };
    auto const places = PlaceEvents(others, Start, {});
    ASSERT_EQ(places.size(), 1U);
    EXPECT_EQ(places[0].session, std::optional<std::size_t>(2));
}

TEST(Take_IsInTime, AsksForTheFramesOfTheSessionAlone) {
    Take take;
    take.lateFrames = {{7, 100}};
    EXPECT_FALSE(take.IsInTime(7, 0, 101));
    EXPECT_TRUE(take.IsInTime(7, 0, 100));
    EXPECT_FALSE(take.IsInTime(7, 100, 101));
    EXPECT_TRUE(take.IsInTime(7, 101, 200));
    EXPECT_TRUE(take.IsInTime(8, 0, 200));
}

TEST(Take_PlaceEvents, AStartAloneDisturbsNothing) {
    EXPECT_TRUE(Place({{SessionEvent::Kind_t::Started, 100}}).empty());
}

TEST(Take_PlaceEvents, AStopDisturbsUntilTheNextStartIsHeard) {
    using Kind_t = SessionEvent::Kind_t;
    auto const places = Place({{Kind_t::Started, 100},
                               {Kind_t::Stopped, 2000},
                               {Kind_t::Stopped, 2020},
                               {Kind_t::Started, 4000},
                               {Kind_t::Started, 9000}});
    ASSERT_EQ(places.size(), 1U);
    EXPECT_NEAR(static_cast<double>(places[0].firstSample), 1960.0 * 48.0, 4.0);
    EXPECT_NEAR(static_cast<double>(places[0].lastSample), 4500.0 * 48.0, 5.0);
}

TEST(Take_PlaceEvents, AStopWithoutAStartDisturbsForGood) {
    auto const places = Place({{SessionEvent::Kind_t::Stopped, 2000}});
    ASSERT_EQ(places.size(), 1U);
    EXPECT_EQ(places[0].lastSample, INT64_MAX);
}

} // namespace
} // namespace SystemTest
