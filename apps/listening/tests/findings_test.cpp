#include "listening/findings.h"

#include <gtest/gtest.h>

#include "listening/search/windowmatch.h"

namespace Listening {

namespace {

using Kind_t = Finding::Kind_t;

/// 100 ms are missing somewhere in a second, and most of the rest was heard as sent.
SoundComparison MakeJump() {
    SoundComparison comparison;
    comparison.isFound = true;
    comparison.windowsWithSignal = 12;
    comparison.windowsMatched = 10;
    comparison.jumps = {{TimelineJump::Kind_t::Missing, 60000, 4800, {48000, 48000}}};
    return comparison;
}

/// Whether `span` is told beside the jump that it may be of.
bool IsToldBeside(SoundSpan const& span, Kind_t kind) {
    SoundComparison comparison = MakeJump();
    (kind == Kind_t::Hole ? comparison.holes : comparison.lost) = {span};
    std::vector<Finding> const found = ListFindings(comparison);
    EXPECT_EQ(found.back().kind == kind || found.front().kind == kind, found.size() == 2U);
    return found.size() == 2U;
}

} // namespace

TEST(ListFindings, OfWhatWasNotHeardWithinAJumpTellsTheJumpAlone) {
    for (Kind_t const kind : {Kind_t::Hole, Kind_t::PartChanged}) {
        EXPECT_FALSE(IsToldBeside({48000, 12000}, kind));
        EXPECT_TRUE(IsToldBeside({47999, 12000}, kind));
        EXPECT_FALSE(IsToldBeside({84000, 12000}, kind));
        EXPECT_TRUE(IsToldBeside({84001, 12000}, kind));
        // Of what the jump left out, and of the windows that it cut in two.
        std::int64_t const most = 4800 + 2 * CompareWindowSamples;
        EXPECT_FALSE(IsToldBeside({48000, most - 1}, kind));
        EXPECT_TRUE(IsToldBeside({48000, most}, kind));
    }
}

TEST(ListFindings, OfAHoleTellsFromTenMilliSecondsOn) {
    SoundComparison comparison = MakeJump();
    comparison.jumps.clear();
    comparison.holes = {{48000, 479}};
    EXPECT_TRUE(ListFindings(comparison).empty());
    comparison.holes = {{48000, 480}};
    EXPECT_EQ(ListFindings(comparison).size(), 1U);
}

} // namespace Listening
