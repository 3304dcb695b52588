#include "play/logwatch.h"

#include <gtest/gtest.h>

#include "listening/samples.h"

namespace AudioHost {

using Listening::NanoSecPerSec;

TEST(LogWatch_GroupEvents, JoinsSmallGapsInCloseSuccessionAcrossOtherRecords) {
    std::vector<PlayEvent> const events = {
        {EventKind_t::SmallGap, 0, "AudioBuffer ignoring small gap (2 samples)"},
        {EventKind_t::FrequencyChange, NanoSecPerSec, "Adjusting audio frequency to 47960 Hz"},
        {EventKind_t::SmallGap, 2 * NanoSecPerSec, "AudioBuffer ignoring small gap (4 samples)"},
        {EventKind_t::SmallGap, 4 * NanoSecPerSec + 1, "AudioBuffer ignoring small gap (2 samples)"},
    };
    std::vector<EventGroup> const groups = GroupEvents(events);
    ASSERT_EQ(groups.size(), 3U);
    EXPECT_EQ(groups[0].count, 2U);
    EXPECT_EQ(groups[0].lastNanoSec, 2 * NanoSecPerSec);
    EXPECT_EQ(groups[0].text, "AudioBuffer ignoring small gap (2 samples)");
    EXPECT_EQ(groups[1].kind, EventKind_t::FrequencyChange);
    // 2 s and 1 ns after the one before: a group of its own.
    EXPECT_EQ(groups[2].count, 1U);
}

TEST(LogWatch_GroupEvents, KeepsFrequencyChangesApart) {
    std::vector<PlayEvent> const events = {
        {EventKind_t::FrequencyChange, 0, "Adjusting audio frequency to 47960 Hz"},
        {EventKind_t::FrequencyChange, 1, "Adjusting audio frequency to 48000 Hz"},
    };
    EXPECT_EQ(GroupEvents(events).size(), 2U);
}

} // namespace AudioHost
