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
}

} // namespace AudioHost
