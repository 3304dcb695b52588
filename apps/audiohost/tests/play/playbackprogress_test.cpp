#include "play/playbackprogress.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace AudioHost {

namespace {

using Listening::NanoSecPerSec;

PlaybackLogKeeper::Progress At(std::int64_t sent, double error, std::uint32_t hz, std::uint64_t failed = 0) {
    return {sent, 12 * NanoSecPerSec, error, hz, failed, "a", std::nullopt};
}

} // namespace

TEST(FormatProgress, TellsPositionErrorFrequencyAndFailures) {
    EXPECT_EQ(FormatProgress({At(3 * NanoSecPerSec, -1.25, 47960, 2)}),
              "0:03.0 / 0:12.0  error -1.3 ms  47960 Hz  2 failed");
}

TEST(FormatProgress, LeavesOutADurationThatIsUnknownAndAFrequencyBeforeTheStart) {
    PlaybackLogKeeper::Progress session = At(NanoSecPerSec, 0.0, 0);
    session.durationNanoSec = 0;
    EXPECT_EQ(FormatProgress({session}), "0:01.0  error 0.0 ms  - Hz  0 failed");
}

TEST(FormatProgress, OfSeveralSessionsListsWhatDiffers) {
    EXPECT_EQ(FormatProgress({At(NanoSecPerSec, 1.0, 48000, 1), At(2 * NanoSecPerSec, -2.0, 48000, 1)}),
              "0:02.0 / 0:12.0  error +1.0/-2.0 ms  48000 Hz  2 failed");
    EXPECT_EQ(FormatProgress({At(NanoSecPerSec, 1.0, 48000), At(NanoSecPerSec, 2.0, 48040)}),
              "0:01.0 / 0:12.0  error +1.0/+2.0 ms  48000/48040 Hz  0 failed");
}

TEST(FormatProgress, OfManySessionsTellsTheWorst) {
    EXPECT_EQ(FormatProgress({At(NanoSecPerSec, 1.0, 48000), At(NanoSecPerSec, -9.0, 48000),
                              At(NanoSecPerSec, 2.0, 48000), At(NanoSecPerSec, 3.0, 47960)}),
              "0:01.0 / 0:12.0  error -9.0 ms at worst  several Hz  0 failed");
}

TEST(FormatProgress, OfStreamsTellsTheOneThatHasLostMostOrIsBroken) {
    PlaybackLogKeeper::Progress good = At(NanoSecPerSec, 0.0, 48000);
    good.stream = StreamState();
    PlaybackLogKeeper::Progress bad = good;
    bad.stream->handedNanoSec = 90;
    bad.stream->missingNanoSec = 10;
    std::string const end = " ms  jitter 0.0 ms  loss 10.0 %  skew 0 ppm  lead 0 ms";
    for (auto const& sessions : {std::vector<PlaybackLogKeeper::Progress>{good, bad}, {bad, good}}) {
        std::string const text = FormatProgress(sessions);
        EXPECT_EQ(text.substr(text.size() - std::min(text.size(), end.size())), end);
    }
    good.stream->isBroken = true;
    EXPECT_NE(FormatProgress({good, bad}).find("broken"), std::string::npos);
    EXPECT_NE(FormatProgress({bad, good}).find("broken"), std::string::npos);
}

// Whole in the 79 places of a usual window.
TEST(FormatProgress, OfAStreamTellsAllOfItsFigures) {
    PlaybackLogKeeper::Progress stream = At(7'403 * NanoSecPerSec, -1.3, 47960);
    stream.durationNanoSec = 0;
    stream.stream = StreamState();
    stream.stream->clock.jitterNanoSec = 12'300'000;
    stream.stream->clock.leadNanoSec = 250'000'000;
    stream.stream->clock.skewPartsPerMillion = 123.0;
    stream.stream->handedNanoSec = 997;
    stream.stream->missingNanoSec = 3;
    EXPECT_EQ(FormatProgress({stream}),
              "123:23.0  error -1.3 ms  jitter 12.3 ms  loss 0.3 %  skew +123 ppm  lead 250 ms");
    stream.jobsFailed = 2;
    std::string const figures = "jitter 12.3 ms  loss 0.3 %  skew +123 ppm  lead 250 ms";
    EXPECT_EQ(FormatProgress({stream}), "123:23.0  error -1.3 ms  2 failed  " + figures);
    EXPECT_EQ(FormatProgress({stream, At(0, 0.0, 48000)}),
              "123:23.0 / 0:12.0  error -1.3/0.0 ms  47960/48000 Hz  2 failed  " + figures);
}

TEST(FormatStreams, HasALineForEachStreamAndNoneForAFile) {
    PlaybackLogKeeper::Progress stream = At(NanoSecPerSec, 0.0, 48000);
    stream.stream = StreamState();
    auto const lines = FormatStreams({At(NanoSecPerSec, 0.0, 48000), stream});
    ASSERT_EQ(lines.size(), 1U);
    EXPECT_EQ(lines[0].name, "a");
    EXPECT_EQ(lines[0].figures, "jitter 0.0 ms  loss 0.0 %  skew 0 ppm  lead 0 ms");
}

} // namespace AudioHost
