#include "play/logwatch.h"

#include <gtest/gtest.h>

#include "listening/samples.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerSec;

std::vector<PlayEvent> AddAll(std::vector<PlayEvent> const& told) {
    std::vector<PlayEvent> events;
    for (PlayEvent const& event : told) {
        AddEvent(event, events);
    }
    return events;
}

} // namespace

TEST(LogWatch_AddEvent, JoinsSmallGapsInCloseSuccessionAcrossOtherRecords) {
    std::vector<PlayEvent> const events = AddAll({
        {EventKind_t::SmallGap, 0, "AudioBuffer ignoring small gap (2 samples)"},
        {EventKind_t::FrequencyChange, NanoSecPerSec, "Adjusting audio frequency to 47960 Hz"},
        {EventKind_t::SmallGap, 2 * NanoSecPerSec, "AudioBuffer ignoring small gap (4 samples)"},
        {EventKind_t::SmallGap, 4 * NanoSecPerSec + 1, "AudioBuffer ignoring small gap (2 samples)"},
    });
    ASSERT_EQ(events.size(), 3U);
    EXPECT_EQ(events[0].count, 2U);
    EXPECT_EQ(events[0].timeNanoSec, 0);
    EXPECT_EQ(events[0].lastNanoSec, 2 * NanoSecPerSec);
    EXPECT_EQ(events[0].text, "AudioBuffer ignoring small gap (2 samples)");
    EXPECT_EQ(events[1].kind, EventKind_t::FrequencyChange);
    // 2 s and 1 ns after the one before: an event of its own.
    EXPECT_EQ(events[2].count, 1U);
    EXPECT_EQ(events[2].lastNanoSec, 4 * NanoSecPerSec + 1);
}

// The others are few, and each says something new or is looked for by its time.
TEST(LogWatch_AddEvent, JoinsNothingElse) {
    for (EventKind_t const kind : {EventKind_t::FrequencyChange, EventKind_t::DriftReset,
                                   EventKind_t::LateStop, EventKind_t::IdleStop, EventKind_t::Started}) {
        EXPECT_EQ(AddAll({{kind, 0, "one"}, {kind, 1, "two"}}).size(), 2U);
    }
    EXPECT_EQ(AddAll({{EventKind_t::PacketLoss, 0, "one"}, {EventKind_t::PacketLoss, 1, "two"}}).size(), 1U);
    EXPECT_EQ(AddAll({{EventKind_t::Other, 0, "one"}, {EventKind_t::Other, 1, "two"}}).size(), 2U);
}

// A server may hang up as often as it likes.
TEST(LogWatch_AddEvent, JoinsWhatAStreamTellsAgainAndAgain) {
    std::vector<PlayEvent> told;
    for (std::int64_t i = 0; i < 1'000; ++i) {
        std::int64_t const time = i * NanoSecPerSec / 2;
        std::string const span = (i % 2 == 0 ? "+" : "-") + std::to_string(4'000 + i);
        told.push_back({EventKind_t::Other, time, "the stream broke: the sender has ended it"});
        told.push_back({EventKind_t::Other, time + 1, "the stream is open again"});
        told.push_back({EventKind_t::Other, time + 2, "the sender's timestamps begin anew, " + span + " ms"});
    }
    std::vector<PlayEvent> const events = AddAll(told);
    ASSERT_EQ(events.size(), 3U);
    for (PlayEvent const& event : events) {
        EXPECT_EQ(event.count, 1'000U);
    }
    EXPECT_EQ(events[1].text, "the stream is open again");
    EXPECT_EQ(events[1].lastNanoSec, 999 * NanoSecPerSec / 2 + 1);
}

TEST(LogWatch_AddEvent, OfMoreThanIsKeptCountsTheRestToTheLastOfItsKind) {
    std::vector<PlayEvent> told;
    for (std::size_t i = 0; i < MaxEvents + 5; ++i) {
        told.push_back({EventKind_t::FrequencyChange, static_cast<std::int64_t>(i) * NanoSecPerSec, "one"});
    }
    // What has not been there yet is news.
    told.push_back({EventKind_t::IdleStop, 0, "another"});
    std::vector<PlayEvent> const events = AddAll(told);
    ASSERT_EQ(events.size(), MaxEvents + 1);
    EXPECT_EQ(events[MaxEvents - 2].count, 1U);
    EXPECT_EQ(events[MaxEvents - 1].count, 6U);
    EXPECT_EQ(events[MaxEvents].kind, EventKind_t::IdleStop);
}

} // namespace AudioHost
