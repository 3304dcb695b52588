#include "pipeline/rendererevent.h"

#include <gtest/gtest.h>

using Media::GetFrequencyHz;
using Media::ReadRendererEvent;
using Kind_t = Media::RendererEventKind_t;

TEST(ReadRendererEvent, KnowsEveryTextOfTheRendererAndItsNumber) {
    struct Case {
        char const* text;
        Kind_t kind;
        std::uint32_t number;
    };
    for (Case const& one : {
             Case{"AudioBuffer playback started", Kind_t::Started, 0},
             Case{"Adjusting audio frequency to 47960 Hz", Kind_t::FrequencyChange, 47960},
             Case{"AudioBuffer timestamp drift too high, resetting", Kind_t::DriftReset, 0},
             Case{"AudioBuffer presentation requested in the past, stopping", Kind_t::LateStop, 0},
             Case{"Idle AudioBuffer playback stopped (1200 ms)", Kind_t::IdleStop, 1200},
             Case{"AudioBuffer packet loss, zero'ing 960 samples", Kind_t::PacketLoss, 960},
             Case{"AudioBuffer ignoring small gap (2 samples)", Kind_t::SmallGap, 2},
             Case{"AudioBuffer resetting frequency to 44100", Kind_t::RateChange, 44100},
         }) {
        EXPECT_EQ(ReadRendererEvent(one.text).kind, one.kind) << one.text;
        EXPECT_EQ(ReadRendererEvent(one.text).number, one.number) << one.text;
    }
}

TEST(ReadRendererEvent, TakesNothingElseForOne) {
    for (char const* const text : {"", "Starting buffer capture 7", "audioBuffer playback started",
                                   "No AudioBuffer playback started"}) {
        EXPECT_EQ(ReadRendererEvent(text).kind, Kind_t::Other) << text;
        EXPECT_EQ(ReadRendererEvent(text).number, 0U) << text;
    }
}

TEST(ReadRendererEvent, NumberBeyond32BitsIsNone) {
    EXPECT_EQ(ReadRendererEvent("AudioBuffer packet loss, zero'ing 4294967295 samples").number, 4294967295U);
    EXPECT_EQ(ReadRendererEvent("AudioBuffer packet loss, zero'ing 4294967296 samples").number, 0U);
}

TEST(GetFrequencyHz, ComesFromAnAdjustmentItself) {
    EXPECT_EQ(GetFrequencyHz(ReadRendererEvent("Adjusting audio frequency to 47960 Hz")), 47960U);
    EXPECT_EQ(GetFrequencyHz(ReadRendererEvent("Adjusting audio frequency to many Hz")), 0U);
}

TEST(GetFrequencyHz, IsNominalAfterAStartOrACursorReset) {
    EXPECT_EQ(GetFrequencyHz(ReadRendererEvent("AudioBuffer playback started")), 48000U);
    EXPECT_EQ(GetFrequencyHz(ReadRendererEvent("AudioBuffer timestamp drift too high, resetting")), 48000U);
}

TEST(GetFrequencyHz, IsNotTheSamplingRateOfFrames) {
    EXPECT_EQ(GetFrequencyHz(ReadRendererEvent("AudioBuffer resetting frequency to 44100")), 0U);
}
