#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "ears/retakes.h"
#include "ears/tracking.h"
#include "listening/soundlevel.h"
#include "listening/stats.h"
#include "stage.h"
#include "support/recording/noise.h"

namespace SystemTest {

/// How long before its presentation a frame is submitted, where a test does not care.
constexpr std::int64_t UsualLeadMilliSec = 200;

/// Recording after the last frame's submission: lead, output delay, and patience with a busy machine.
constexpr std::int64_t UsualTailMilliSec = 800;

/// What rounding and dither may leave of silence.
constexpr int SilencePeakLsb = 2;

/// What the way to the ear may change of a level.
constexpr double LevelToleranceDecibel = 0.5;

/// Enough of a sound's windows to speak for its place.
constexpr double MinPlacedShare = 0.7;

/// A session's start clears the ring up to the play cursor, which stands before the frames written until
/// then: the two frames that come before the second presentation need not be heard.
constexpr std::int64_t ClearedAtStartMilliSec = 40;

/// Number of samples in a sound of this length.
constexpr std::size_t SamplesOf(std::int64_t milliSec) {
    return static_cast<std::size_t>(Listening::MilliSecToSamples(milliSec));
}

/// One of up to five sounds that play at the same time without being cut off.
Listening::Samples MakeQuietNoise(std::uint32_t seed, std::size_t samples,
                                  TestSupport::Band band = TestSupport::WideBand);

/// Tests that listen to the module. One stage for all tests of a suite.
class PlaybackTest : public testing::Test {
protected:
    static void SetUpTestSuite();
    static void TearDownTestSuite();
    void SetUp() override;

    static Stage& OnStage() { return *stage_; }

    /// Where `sent`, presented from `presentationMilliSec` of the score on, begins in `heard`, which was
    /// recorded from the score's start on; nothing when it is not there within a second.
    static std::optional<std::int64_t> FindPlayed(Listening::SampleView sent, Listening::SampleView heard,
                                                  std::int64_t presentationMilliSec);

    /// How much later than presented the session's `sent` was heard on the left: median over its windows, in
    /// milliseconds, the output's delay included. Other sounds may play at the same time. Nothing when the
    /// take was disturbed there, and nothing, with a failure, when it was not and the sound is not heard.
    static std::optional<double> GetLatenessMilliSec(Listening::SampleView sent, Take const& take,
                                                     Session const& session,
                                                     std::int64_t presentationMilliSec);

    /// Makes the stream of a sound.
    using StreamMaker = std::function<Stream(Listening::SampleView)>;

    /// Plays several sounds of `samples` samples, one a little after the other, and fails unless every window
    /// of each came out, in order, without a repeat, and all of them at their level within half a decibel.
    /// Windows that the machine disturbed are taken again.
    static void ExpectDelivered(std::size_t samples, TestSupport::Band band, StreamMaker const& makeStream);

private:
    static std::unique_ptr<Stage> stage_;
};

} // namespace SystemTest
