#include "play/playbackprogress.h"

#include <gtest/gtest.h>

namespace AudioHost {

namespace {

using Listening::NanoSecPerSec;

PlaybackLogKeeper::Progress At(std::int64_t sent, double error, std::uint32_t hz, std::uint64_t failed = 0) {
    return {sent, 12 * NanoSecPerSec, error, hz, failed};
}

} // namespace

TEST(FormatProgress, TellsPositionErrorFrequencyAndFailures) {
    EXPECT_EQ(FormatProgress({At(3 * NanoSecPerSec, -1.25, 47960, 2)}),
              "0:03.0 / 0:12.0  error -1.3 ms  47960 Hz  2 failed");
}

TEST(FormatProgress, LeavesOutADurationThatIsUnknownAndAFrequencyBeforeTheStart) {
    EXPECT_EQ(FormatProgress({{NanoSecPerSec, 0, 0.0, 0, 0}}), "0:01.0  error 0.0 ms  - Hz  0 failed");
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

} // namespace AudioHost
