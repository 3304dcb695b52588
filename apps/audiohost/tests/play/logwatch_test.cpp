#include "play/logwatch.h"

#include <gtest/gtest.h>

#include "listening/samples.h"

namespace AudioHost {

using Listening::NanoSecPerSec;

TEST(LogWatch_ReadKind, KnowsEveryTextOfTheRenderer) {
    EXPECT_EQ(ReadKind("AudioBuffer playback started"), EventKind_t::Started);
    EXPECT_EQ(ReadKind("Adjusting audio frequency to 47960 Hz"), EventKind_t::FrequencyChange);
    EXPECT_EQ(ReadKind("AudioBuffer timestamp drift too high, resetting"), EventKind_t::DriftReset);
    EXPECT_EQ(ReadKind("AudioBuffer presentation requested in the past, stopping"), EventKind_t::LateStop);
    EXPECT_EQ(ReadKind("Idle AudioBuffer playback stopped (1200 ms)"), EventKind_t::IdleStop);
    EXPECT_EQ(ReadKind("AudioBuffer packet loss, zero'ing 960 samples"), EventKind_t::PacketLoss);
    EXPECT_EQ(ReadKind("AudioBuffer ignoring small gap (2 samples)"), EventKind_t::SmallGap);
    EXPECT_EQ(ReadKind("AudioBuffer resetting frequency to 44100"), EventKind_t::RateChange);
    EXPECT_EQ(ReadKind("Starting buffer capture"), EventKind_t::Other);
}

TEST(LogWatch_ReadFrequency, ComesFromAnAdjustmentItself) {
    EXPECT_EQ(ReadFrequency("Adjusting audio frequency to 47960 Hz"), 47960U);
}

TEST(LogWatch_ReadFrequency, IsNominalAfterAStartOrACursorReset) {
    EXPECT_EQ(ReadFrequency("AudioBuffer playback started"), 48000U);
    EXPECT_EQ(ReadFrequency("AudioBuffer timestamp drift too high, resetting"), 48000U);
}

TEST(LogWatch_ReadFrequency, IsNotTheSamplingRateOfFrames) {
    EXPECT_FALSE(ReadFrequency("AudioBuffer resetting frequency to 44100"));
    EXPECT_FALSE(ReadFrequency("Adjusting audio frequency to many Hz"));
}

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
