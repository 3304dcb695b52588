#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <vector>

#include "controllaw.h"
#include "extent.h"
#include "playbackloop.h"
#include "simulation/testworld.h"

namespace ClosedLoop {
namespace {

constexpr std::int64_t LeadsMilliSec[] = {60, 100, 200, 300};
/// 625 is where the error goes furthest beyond the band.
constexpr std::int64_t SkewsPartsPerMillion[] = {0, -50, 50, -500, 500, -625, 625, -800, 800};
/// One sample, 10, 20 and 31.25 ms.
constexpr std::uint32_t CursorStepsSamples[] = {1, 480, 960, 1500};
/// With jitter, a third of the lead: no frame comes too late.
constexpr std::int64_t JitterShareOfLead = 3;

Conditions MakeConditions(std::size_t lead, std::size_t skew, std::size_t step, bool hasJitter) {
    Conditions conditions;
    conditions.leadMilliSec = LeadsMilliSec[lead];
    conditions.skewPartsPerMillion = SkewsPartsPerMillion[skew];
    conditions.cursorStepSamples = CursorStepsSamples[step];
    conditions.jitterMilliSec = hasJitter ? conditions.leadMilliSec / JitterShareOfLead : 0;
    conditions.seed = static_cast<std::uint32_t>(1 + lead + 10 * skew + 100 * step + (hasJitter ? 1000 : 0));
    conditions.cursorPhaseSamples =
        static_cast<std::uint32_t>(std::mt19937(conditions.seed)() % conditions.cursorStepSamples);
    return conditions;
}

/// All combinations, or one of eight, so that every two of lead, skew and step meet.
std::vector<Conditions> MakeCases() {
    std::vector<Conditions> cases;
    for (std::size_t lead = 0; lead < std::size(LeadsMilliSec); ++lead) {
        for (std::size_t skew = 0; skew < std::size(SkewsPartsPerMillion); ++skew) {
            for (std::size_t step = 0; step < std::size(CursorStepsSamples); ++step) {
                for (bool const hasJitter : {false, true}) {
                    bool const isChosen = step == (lead + skew) % std::size(CursorStepsSamples) &&
                                          hasJitter == ((lead / 2 + skew) % 2 != 0);
                    if (isChosen || Extent::Get().hasAllCases) {
                        cases.push_back(MakeConditions(lead, skew, step, hasJitter));
                    }
                }
            }
        }
    }
    return cases;
}

std::string NameOf(Conditions const& conditions) {
    std::int64_t const skew = conditions.skewPartsPerMillion;
    return "Lead" + std::to_string(conditions.leadMilliSec) + (skew < 0 ? "SkewMinus" : "Skew") +
           std::to_string(skew < 0 ? -skew : skew) + "Step" + std::to_string(conditions.cursorStepSamples) +
           "Jitter" + std::to_string(conditions.jitterMilliSec);
}

std::string NameOfCase(::testing::TestParamInfo<Conditions> const& info_) {
    return NameOf(info_.param);
}

} // namespace

/// For GoogleTest, which finds it beside the type.
void PrintTo(Conditions const& conditions, std::ostream* out) {
    *out << NameOf(conditions);
}

namespace {

/// Errors of what was heard from an instant on.
class ErrorRange {
public:
    explicit ErrorRange(std::int64_t fromNanoSec) : fromNanoSec_(fromNanoSec) {}

    void Add(std::int64_t presentationNanoSec, std::int64_t heardNanoSec) {
        if (presentationNanoSec >= fromNanoSec_) {
            earliest_ = std::min(earliest_, heardNanoSec - presentationNanoSec);
            latest_ = std::max(latest_, heardNanoSec - presentationNanoSec);
        }
    }

    std::int64_t EarliestNanoSec() const { return earliest_; }
    std::int64_t LatestNanoSec() const { return latest_; }

private:
    std::int64_t fromNanoSec_;
    std::int64_t earliest_ = INT64_MAX;
    std::int64_t latest_ = INT64_MIN;
};

std::set<std::uint32_t> const Frequencies{47960, 48000, 48040};

/// With so long a lead and so coarse a cursor the lag measured passes the limit at which the cursor jumps,
/// again and again. What it jumps to is right, so the bounds hold, but each jump brings 48000 Hz back.
bool MayJump(Conditions const& conditions) {
    constexpr std::int64_t LimitNanoSec = 312'500'000;
    return conditions.LeadNanoSec() + ControlLaw::LateBoundNanoSec(conditions.LeadNanoSec()) +
               conditions.CursorStepNanoSec() >
           LimitNanoSec;
}

class ClosedLoop_Playback : public ::testing::TestWithParam<Conditions> {};

TEST_P(ClosedLoop_Playback, HoldsThePresentationTimesForHours) {
    Conditions const& conditions = GetParam();
    Simulation::TestWorld world;
    std::int64_t const settlingNanoSec =
        ControlLaw::SettlingNanoSec(0, conditions.CursorStepNanoSec(), conditions.skewPartsPerMillion);
    std::int64_t const startNanoSec = world.Clock().MonotonicNanoSec();
    std::int64_t const frames = (settlingNanoSec + Extent::Get().settledNanoSec) / FrameNanoSec;
    ErrorRange errors(startNanoSec + settlingNanoSec);
    PlaybackLoop loop(world, conditions, [&errors](std::int64_t, std::int64_t due, std::int64_t heard) {
        errors.Add(due, heard);
    });
    for (std::int64_t i = 0; i < frames; ++i) {
        loop.PlayFrame();
    }
    HeardFrames const& heard = loop.Heard();
    EXPECT_GE(errors.EarliestNanoSec(),
              -ControlLaw::EarlyBoundNanoSec(conditions.LeadNanoSec(), conditions.CursorStepNanoSec()));
    EXPECT_LE(errors.LatestNanoSec(), ControlLaw::LateBoundNanoSec(conditions.LeadNanoSec()));
    // All frames were heard, each once and without a break, but the first two and those still on their way.
    std::int64_t const unheardNanoSec =
        conditions.LeadNanoSec() + ControlLaw::LateBoundNanoSec(conditions.LeadNanoSec()) + 2 * FrameNanoSec;
    EXPECT_GE(heard.FrameCount(), frames - unheardNanoSec / FrameNanoSec - 1);
    EXPECT_EQ(heard.StaleCount(), 0);
    EXPECT_EQ(heard.SilenceCount(), 0);

    EXPECT_TRUE(std::includes(Frequencies.begin(), Frequencies.end(), loop.Frequencies().begin(),
                              loop.Frequencies().end()));
    if (!MayJump(conditions)) {
        EXPECT_GE(loop.ShortestFrequencyNanoSec(), ControlLaw::WindowNanoSec);
        // Every break in the sound is a change of the frequency; the last may not have been heard yet.
        EXPECT_LE(heard.RunCount(), 1 + loop.FrequencyChanges());
        EXPECT_GE(heard.RunCount(), loop.FrequencyChanges());
    }
}

TEST(ClosedLoop_LateStart, IsMadeGoodWithinTheTimeThatTheFrequencyNeeds) {
    for (std::int64_t const skewPartsPerMillion : {0, -500, 500, -800, 800}) {
        SCOPED_TRACE(skewPartsPerMillion);
        Conditions conditions;
        conditions.leadMilliSec = 200;
        conditions.skewPartsPerMillion = skewPartsPerMillion;
        conditions.startDelayMilliSec = 40;
        Simulation::TestWorld world;
        std::int64_t const startNanoSec = world.Clock().MonotonicNanoSec();
        std::int64_t const settlingNanoSec = ControlLaw::SettlingNanoSec(
            conditions.startDelayMilliSec * NanoSecPerMilliSec, 0, skewPartsPerMillion);
        ErrorRange atFirst(startNanoSec);
        ErrorRange settled(startNanoSec + settlingNanoSec);
        PlaybackLoop loop(world, conditions, [&](std::int64_t, std::int64_t due, std::int64_t heard) {
            atFirst.Add(due, heard);
            settled.Add(due, heard);
        });
        constexpr std::int64_t AfterwardsNanoSec = 60 * NanoSecPerSec;
        while (loop.NowNanoSec() < startNanoSec + settlingNanoSec + AfterwardsNanoSec) {
            loop.PlayFrame();
        }
        loop.Heard();
        EXPECT_GE(atFirst.LatestNanoSec(), 39 * NanoSecPerMilliSec);
        EXPECT_GE(settled.EarliestNanoSec(), -ControlLaw::EarlyBoundNanoSec(conditions.LeadNanoSec(), 0));
        EXPECT_LE(settled.LatestNanoSec(), ControlLaw::LateBoundNanoSec(conditions.LeadNanoSec()));
    }
}

INSTANTIATE_TEST_SUITE_P(Conditions, ClosedLoop_Playback, ::testing::ValuesIn(MakeCases()), NameOfCase);

} // namespace
} // namespace ClosedLoop
