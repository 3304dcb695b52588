#include "live/packetorder.h"

#include <gtest/gtest.h>

#include <vector>

namespace AudioHost {

namespace {

using Kovra::NanoSecPerMilliSec;

constexpr std::int64_t LeadMilliSec = 100;
constexpr std::int64_t FrameMilliSec = 20;

/// Packets of 20 ms, each due `LeadMilliSec` after the instant that its stamp names.
struct OrderFixture {
    PacketOrder order;

    void AddAt(std::int64_t stampNanoSec) {
        PlacedPacket packet;
        packet.stampNanoSec = stampNanoSec;
        packet.due = Kovra::JiffyTime(stampNanoSec + LeadMilliSec * NanoSecPerMilliSec);
        packet.packet.durationNanoSec = FrameMilliSec * NanoSecPerMilliSec;
        order.Add(std::move(packet));
    }
    void Add(std::int64_t milliSec) { AddAt(milliSec * NanoSecPerMilliSec); }

    /// Stamps of what can be taken at an instant.
    std::vector<std::int64_t> TakeAt(std::int64_t nanoSec) {
        std::vector<std::int64_t> stamps;
        PlacedPacket next;
        while (order.Take(Kovra::JiffyTime(nanoSec), next)) {
            stamps.push_back(next.stampNanoSec / NanoSecPerMilliSec);
        }
        return stamps;
    }
    std::vector<std::int64_t> Take(std::int64_t milliSec) { return TakeAt(milliSec * NanoSecPerMilliSec); }
};

using Stamps = std::vector<std::int64_t>;

} // namespace

TEST(PacketOrder, GivesWhatComesInOrderAtOnce) {
    OrderFixture fixture;
    fixture.Add(1000);
    EXPECT_EQ(fixture.Take(1000), Stamps{1000});
    fixture.Add(1020);
    fixture.Add(1040);
    EXPECT_EQ(fixture.Take(1020), (Stamps{1020, 1040}));
    EXPECT_EQ(fixture.order.GetMissingNanoSec(), 0);
    EXPECT_EQ(fixture.order.CountLeftOut(), 0U);
}

TEST(PacketOrder, WaitsForAMissingPacketUntilTwentyMilliSecondsBeforeTheNextOneIsDue) {
    OrderFixture fixture;
    fixture.Add(1000);
    EXPECT_EQ(fixture.Take(1000), Stamps{1000});
    fixture.Add(1040);
    // Due at 1140.
    EXPECT_EQ(fixture.TakeAt(1120 * NanoSecPerMilliSec - 1), Stamps{});
    EXPECT_EQ(fixture.order.GetMissingNanoSec(), 0);
    EXPECT_EQ(fixture.Take(1120), Stamps{1040});
    EXPECT_EQ(fixture.order.GetMissingNanoSec(), 20 * NanoSecPerMilliSec);
}

TEST(PacketOrder, PutsInWhatComesWhileOthersWait) {
    OrderFixture fixture;
    fixture.Add(1000);
    fixture.Take(1000);
    fixture.Add(1060);
    fixture.Add(1040);
    EXPECT_EQ(fixture.Take(1060), Stamps{});
    fixture.Add(1020);
    EXPECT_EQ(fixture.Take(1061), (Stamps{1020, 1040, 1060}));
    EXPECT_EQ(fixture.order.GetMissingNanoSec(), 0);
}

TEST(PacketOrder, LeavesOutWhatComesTwiceOrBehindWhatWasTaken) {
    OrderFixture fixture;
    fixture.Add(1000);
    fixture.Take(1000);
    fixture.Add(1000);
    fixture.Add(1040);
    fixture.Add(1040);
    fixture.Take(1120);
    fixture.Add(1020);
    EXPECT_EQ(fixture.Take(1200), Stamps{});
    EXPECT_EQ(fixture.order.CountLeftOut(), 3U);
}

TEST(PacketOrder, LeavesOutWhatIsDueAlready) {
    OrderFixture fixture;
    fixture.Add(1000);
    fixture.Add(1020);
    // Due at 1100 and 1120; before playing began nothing is counted.
    EXPECT_EQ(fixture.Take(1100), Stamps{1020});
    EXPECT_EQ(fixture.order.CountLeftOut(), 0U);
    fixture.Add(1040);
    EXPECT_EQ(fixture.Take(1140), Stamps{});
    EXPECT_EQ(fixture.order.CountLeftOut(), 1U);
    fixture.Add(1060);
    EXPECT_EQ(fixture.TakeAt(1160 * NanoSecPerMilliSec - 1), Stamps{1060});
    EXPECT_EQ(fixture.order.GetMissingNanoSec(), 20 * NanoSecPerMilliSec);
}

TEST(PacketOrder, TakesAPacketForTheNextOneLessThanFiveMilliSecondsOff) {
    std::int64_t const end = 1020 * NanoSecPerMilliSec;
    for (auto const& [offset, isNext] :
         {std::pair<std::int64_t, bool>{5 * NanoSecPerMilliSec - 1, true}, {5 * NanoSecPerMilliSec, false}}) {
        OrderFixture fixture;
        fixture.Add(1000);
        fixture.Take(1000);
        fixture.AddAt(end + offset);
        EXPECT_EQ(fixture.Take(1020).size(), isNext ? 1U : 0U) << offset;
        EXPECT_EQ(fixture.order.CountLeftOut(), 0U);
        OrderFixture before;
        before.Add(1000);
        before.Take(1000);
        before.AddAt(end - offset);
        EXPECT_EQ(before.Take(1020).size(), isNext ? 1U : 0U) << -offset;
        EXPECT_EQ(before.order.CountLeftOut(), isNext ? 0U : 1U);
    }
}

TEST(PacketOrder, GoesByTheEndThatItIsTold) {
    OrderFixture fixture;
    fixture.Add(1000);
    fixture.Take(1000);
    fixture.order.SetEnd(1060 * NanoSecPerMilliSec);
    fixture.Add(1060);
    EXPECT_EQ(fixture.Take(1060), Stamps{1060});
}

TEST(PacketOrder, KeepsAThousandPacketsAtMost) {
    OrderFixture fixture;
    for (std::int64_t i = 0; i < 1001; ++i) {
        fixture.Add(1000 + i * FrameMilliSec);
        EXPECT_EQ(fixture.order.CountLeftOut(), i < 1000 ? 0U : 1U);
    }
    EXPECT_EQ(fixture.Take(1000).size(), 1000U);
}

TEST(PacketOrder, OfAStreamOpenedAnewForgetsWhatWaits) {
    OrderFixture fixture;
    fixture.Add(1000);
    fixture.Take(1000);
    fixture.Add(1040);
    EXPECT_FALSE(fixture.order.IsEmpty());
    fixture.order.Forget();
    EXPECT_TRUE(fixture.order.IsEmpty());
    EXPECT_EQ(fixture.Take(2000), Stamps{});
}

} // namespace AudioHost
