#include "live/streamcourse.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/testclock.h"
#include "support/teststream.h"

namespace AudioHost {

namespace {

using News_t = StreamNews::Kind_t;
using Result_t = StreamConnection::Result_t;
using Kovra::NanoSecPerMilliSec;
using Kovra::NanoSecPerSec;

/// Its packets come when their timestamps say, since it was opened.
class TimedConnection : public TestConnection {
public:
    TimedConnection(TestClock& time, StreamFormat const& format, std::deque<LivePacket> packets, Result_t end)
        : TestConnection(format, std::move(packets), end), time_(time), opened_(time.nanoSec) {}

    Result_t Read(LivePacket& packet, std::string& why) override {
        Result_t const result = TestConnection::Read(packet, why);
        if (result == Result_t::Silent) {
            time_.nanoSec += StallLimitNanoSec;
        }
        if (result == Result_t::Packet && !GetFormat().isAhead) {
            time_.nanoSec = opened_ + static_cast<std::int64_t>(packet.ticks);
            packet.arrival = Kovra::JiffyTime(time_.nanoSec);
        }
        return result;
    }

private:
    TestClock& time_;
    std::int64_t const opened_;
};

/// Follows a stream whose openings and waits are made up.
struct CourseFixture {
    /// Passes only in openings, waits and reads.
    TestClock time;
    std::vector<std::function<std::unique_ptr<StreamConnection>()>> openings;
    /// How long each takes.
    std::int64_t openingNanoSec = 0;
    /// What comes after them.
    std::function<std::unique_ptr<StreamConnection>()> after = [] {
        return std::unique_ptr<StreamConnection>();
    };
    std::size_t opened = 0;
    std::size_t allowedWaits = 10'000;
    /// Only those that take time.
    std::vector<std::int64_t> waits;
    std::vector<StreamNews> news;

    std::function<std::unique_ptr<StreamConnection>()> Opening(
        std::deque<LivePacket> const& packets, Result_t end, StreamFormat const& format = MakeTestFormat()) {
        return [=] { return std::make_unique<TimedConnection>(time, format, packets, end); };
    }

    void Follow() {
        FollowStream(
            [this] {
                std::size_t const number = opened++;
                time.nanoSec += openingNanoSec;
                return number < openings.size() ? openings[number]() : after();
            },
            [this](std::int64_t nanoSec) {
                if (nanoSec > 0) {
                    waits.push_back(nanoSec);
                    time.nanoSec += nanoSec;
                }
                return waits.size() <= allowedWaits;
            },
            [this](StreamNews one) { news.push_back(std::move(one)); });
    }

    std::vector<News_t> Kinds() const {
        std::vector<News_t> kinds;
        for (StreamNews const& one : news) {
            kinds.push_back(one.kind);
        }
        return kinds;
    }
};

std::unique_ptr<StreamConnection> Refuse() {
    throw HostError(ExitCode_t::NoStream, "nobody there.");
}

} // namespace

TEST(FollowStream, ThatDoesNotOpenTellsWhyAndIsNotTriedAgain) {
    CourseFixture fixture;
    fixture.openings = {Refuse};
    fixture.Follow();
    ASSERT_EQ(fixture.Kinds(), std::vector<News_t>{News_t::Over});
    ASSERT_TRUE(fixture.news[0].error);
    EXPECT_EQ(fixture.news[0].error->GetCode(), ExitCode_t::NoStream);
    EXPECT_STREQ(fixture.news[0].error->what(), "nobody there.");
    EXPECT_EQ(fixture.opened, 1U);
}

TEST(FollowStream, ThatEndsIsOverWithoutAnError) {
    CourseFixture fixture;
    fixture.openings = {fixture.Opening({MakeTestPacket(0), MakeTestPacket(20)}, Result_t::Ended)};
    fixture.Follow();
    EXPECT_EQ(fixture.Kinds(),
              (std::vector<News_t>{News_t::Opened, News_t::Packet, News_t::Packet, News_t::Over}));
    EXPECT_FALSE(fixture.news.back().error);
    EXPECT_TRUE(fixture.waits.empty());
}

TEST(FollowStream, ThatBreaksIsOpenedAgainAfterPausesThatGrowToHalfASecond) {
    CourseFixture fixture;
    fixture.openings = {fixture.Opening({MakeTestPacket(0)}, Result_t::Broken),
                        Refuse,
                        Refuse,
                        Refuse,
                        Refuse,
                        fixture.Opening({MakeTestPacket(0), MakeTestPacket(1999)}, Result_t::Broken),
                        fixture.Opening({MakeTestPacket(0), MakeTestPacket(2000)}, Result_t::Broken),
                        fixture.Opening({MakeTestPacket(0)}, Result_t::Ended)};
    fixture.Follow();
    std::int64_t const quarter = NanoSecPerSec / 4;
    // Two seconds of packets begin it all anew.
    EXPECT_EQ(fixture.waits, (std::vector<std::int64_t>{quarter, 2 * quarter, 2 * quarter, 2 * quarter,
                                                        2 * quarter, 2 * quarter, quarter}));
    EXPECT_EQ(fixture.opened, 8U);
    EXPECT_FALSE(fixture.news.back().error);
}

// Openings may wait long for an answer.
TEST(FollowStream, ThatStaysBrokenForAMinuteIsGivenUpHoweverLongItsOpeningsTake) {
    for (std::int64_t const openingNanoSec : {std::int64_t{0}, 2 * NanoSecPerSec, OpenLimitNanoSec}) {
        CourseFixture fixture;
        fixture.openings = {fixture.Opening({MakeTestPacket(0), MakeTestPacket(100'000)}, Result_t::Broken)};
        fixture.after = Refuse;
        fixture.openingNanoSec = openingNanoSec;
        std::int64_t const broke = fixture.time.nanoSec + openingNanoSec + 100 * NanoSecPerSec;
        fixture.Follow();
        EXPECT_GE(fixture.time.nanoSec - broke, 60 * NanoSecPerSec);
        EXPECT_LT(fixture.time.nanoSec - broke, 60 * NanoSecPerSec + openingNanoSec + LongestPauseNanoSec);
        ASSERT_TRUE(fixture.news.back().error);
        EXPECT_EQ(fixture.news.back().error->GetCode(), ExitCode_t::NoStream);
    }
}

TEST(FollowStream, ThatSendsAPacketAndHangsUpEachTimeIsGivenUpToo) {
    CourseFixture fixture;
    fixture.after = fixture.Opening({MakeTestPacket(0)}, Result_t::Broken);
    fixture.Follow();
    // 0.25 s and 120 times half a second.
    EXPECT_EQ(fixture.waits.size(), 121U);
    EXPECT_TRUE(fixture.news.back().error);
}

// Some senders are silent while nobody speaks.
TEST(FollowStream, ThatSendsAPacketNowAndThenIsNotGivenUp) {
    CourseFixture fixture;
    fixture.after = fixture.Opening({MakeTestPacket(0)}, Result_t::Silent);
    fixture.allowedWaits = 1000;
    fixture.Follow();
    EXPECT_EQ(fixture.opened, 1001U);
    EXPECT_FALSE(fixture.news.back().error);
}

// Nobody is asked when a description is opened.
TEST(FollowStream, ThatOpensButSendsNothingIsBrokenUntilItsFirstPacketAndGivenUpToo) {
    CourseFixture fixture;
    fixture.openings = {fixture.Opening({MakeTestPacket(0)}, Result_t::Silent),
                        fixture.Opening({}, Result_t::Silent),
                        fixture.Opening({MakeTestPacket(0)}, Result_t::Silent)};
    fixture.after = fixture.Opening({}, Result_t::Silent);
    fixture.Follow();
    std::vector<News_t> kinds = fixture.Kinds();
    ASSERT_GE(kinds.size(), 6U);
    kinds.resize(6);
    EXPECT_EQ(kinds, (std::vector<News_t>{News_t::Opened, News_t::Packet, News_t::Broke, News_t::Broke,
                                          News_t::Opened, News_t::Packet}));
    EXPECT_TRUE(fixture.news.back().error);
    // After the last packet each waits for two seconds, with half a second between: a minute with the 25th.
    EXPECT_EQ(fixture.opened, 3U + 25U);
}

// A server that is starting may take a connection and close it at once, which takes no time.
TEST(FollowStream, ThatIsClosedAtOnceIsTriedForAMinuteOfPauses) {
    CourseFixture fixture;
    fixture.openings = {fixture.Opening({MakeTestPacket(0)}, Result_t::Broken)};
    fixture.after = fixture.Opening({}, Result_t::Broken);
    fixture.Follow();
    // 0.25 s and 120 times half a second.
    EXPECT_EQ(fixture.waits.size(), 121U);
    EXPECT_TRUE(fixture.news.back().error);
}

TEST(FollowStream, ThatSendsNothingAtFirstIsOpenAllTheSame) {
    CourseFixture fixture;
    fixture.after = fixture.Opening({}, Result_t::Broken);
    fixture.Follow();
    EXPECT_EQ(fixture.news.front().kind, News_t::Opened);
    EXPECT_EQ(std::count_if(fixture.news.begin(), fixture.news.end(),
                            [](StreamNews const& one) { return one.kind == News_t::Opened; }),
              1);
    EXPECT_TRUE(fixture.news.back().error);
}

TEST(FollowStream, WithAnEndOfItsOwnThatBreaksOffIsNotBegunAgain) {
    CourseFixture fixture;
    StreamFormat format = MakeTestFormat();
    format.isFinite = true;
    fixture.openings = {fixture.Opening({MakeTestPacket(0)}, Result_t::Broken, format)};
    fixture.Follow();
    EXPECT_EQ(fixture.opened, 1U);
    ASSERT_TRUE(fixture.news.back().error);
    EXPECT_STREQ(fixture.news.back().error->what(), "the stream broke off: it broke.");
}

TEST(FollowStream, EndsAtOnceWhenThePauseIsEnded) {
    CourseFixture fixture;
    fixture.openings = {fixture.Opening({MakeTestPacket(0)}, Result_t::Broken)};
    fixture.allowedWaits = 0;
    fixture.Follow();
    EXPECT_EQ(fixture.opened, 1U);
    EXPECT_EQ(fixture.news.back().kind, News_t::Over);
    EXPECT_FALSE(fixture.news.back().error);
}

TEST(FollowStream, ThatComesAsFastAsItIsReadIsHeldToItsOwnTime) {
    CourseFixture fixture;
    StreamFormat format = MakeTestFormat();
    format.isAhead = true;
    std::deque<LivePacket> packets;
    for (std::int64_t const milliSec : {1000, 1020, 1040, 30'000, 30'020}) {
        packets.push_back(MakeTestPacket(milliSec));
        packets.back().arrival = Kovra::JiffyTime(NanoSecPerSec);
    }
    // One that comes late is not held.
    packets[2].arrival = Kovra::JiffyTime(2 * NanoSecPerSec);
    fixture.openings = {fixture.Opening(packets, Result_t::Ended, format)};
    fixture.Follow();
    EXPECT_EQ(fixture.waits, (std::vector<std::int64_t>{20 * NanoSecPerMilliSec, 20 * NanoSecPerMilliSec}));
}

} // namespace AudioHost
