#include "network/virtualnetwork.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace Network {
namespace {

constexpr std::int64_t HourFrames = 3'600 * 50;

TEST(VirtualNetwork_Next, GivesTheSameFramesForTheSameSeed) {
    Sender const sender;
    VirtualNetwork one(SeverityOf('F'), sender, 1);
    VirtualNetwork same(SeverityOf('F'), sender, 1);
    VirtualNetwork other(SeverityOf('F'), sender, 2);
    bool isOther = false;
    for (int i = 0; i < 1'000; ++i) {
        Packet const packet = one.Next();
        ASSERT_EQ(packet.arrivalNanoSec, same.Next().arrivalNanoSec);
        isOther = other.Next().arrivalNanoSec != packet.arrivalNanoSec || isOther;
    }
    EXPECT_TRUE(isOther);
}

TEST(VirtualNetwork_Next, DelaysAndLosesAsTheSeverityHasIt) {
    for (Severity const& severity : Severities) {
        SCOPED_TRACE(severity.name);
        Sender const sender;
        VirtualNetwork network(severity, sender, 3);
        std::int64_t last = 0;
        std::int64_t least = INT64_MAX;
        std::int64_t most = 0;
        std::int64_t count = 0;
        for (Packet packet = network.Next(); packet.number < HourFrames; packet = network.Next()) {
            ASSERT_GE(packet.arrivalNanoSec, last);
            last = packet.arrivalNanoSec;
            std::int64_t const jitter =
                packet.arrivalNanoSec - packet.sentNanoSec - network.DelayAt(packet.sentNanoSec);
            least = std::min(least, jitter);
            most = std::max(most, jitter);
            ++count;
        }
        EXPECT_GE(least, 0);
        EXPECT_NEAR(static_cast<double>(most), severity.jitterMilliSec * 1e6, severity.jitterMilliSec * 1e4);
        double const outages =
            severity.outageSec == 0 ? 0.0 : severity.outageMilliSec / severity.outageSec / 10.0;
        EXPECT_NEAR(100.0 * static_cast<double>(network.LostCount()) / static_cast<double>(HourFrames),
                    severity.lossPerCent + outages, 0.05 + 0.1 * (severity.lossPerCent + outages));
    }
}

TEST(VirtualNetwork_Route, ChangesToAndFro) {
    Sender const sender;
    VirtualNetwork const network(SeverityOf('F'), sender, 5);
    std::int64_t changes = 0;
    for (std::int64_t sec = 1; sec < 3'600; ++sec) {
        std::int64_t const now = sender.startNanoSec + sec * NanoSecPerSec;
        std::int64_t const difference = network.DelayAt(now) - network.DelayAt(now - NanoSecPerSec);
        if (difference != 0) {
            EXPECT_EQ(std::abs(difference), 32 * NanoSecPerMilliSec);
            EXPECT_GT(network.LastChange(now), now - NanoSecPerSec);
            EXPECT_LE(network.LastChange(now), now);
            ++changes;
        }
    }
    EXPECT_EQ(changes, 15);
}

TEST(VirtualNetwork_Sender, SkewsAndWraps) {
    Sender sender;
    sender.skewPartsPerMillion = 500;
    sender.firstTicks = (std::uint64_t{1} << 32U) - 960;
    VirtualNetwork network(SeverityOf('A'), sender, 1);
    EXPECT_EQ(network.SentNanoSec(50 * 2'000) - sender.startNanoSec, 1'999'000'499'750);
    EXPECT_EQ(network.Next().ticks, 0xFFFFFFFFU - 959);
    EXPECT_EQ(network.Next().ticks, 0);
}

TEST(VirtualNetwork_Detour, TakesLongerFromThenOn) {
    Sender const sender;
    VirtualNetwork network(SeverityOf('A'), sender, 1);
    std::int64_t const from = sender.startNanoSec + NanoSecPerSec;
    network.SetDetour(from, -3 * NanoSecPerMilliSec);
    EXPECT_EQ(network.DelayAt(from - 1), 4 * NanoSecPerMilliSec);
    EXPECT_EQ(network.DelayAt(from), NanoSecPerMilliSec);
    EXPECT_EQ(network.LastChange(from), from);
}

} // namespace
} // namespace Network
