#include "record/capturelog.h"

#include <gtest/gtest.h>

#include "listening/tests/testsounds.h"
#include "support/testmicrophone.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;
using Listening::NanoSecPerSec;

/// Slots of a take that is `behind[i]` milliseconds behind in slot i, ten frames in each.
std::vector<CaptureSlot> MakeSlots(std::vector<std::int64_t> const& behindMilliSec) {
    std::vector<CaptureSlot> slots;
    slots.reserve(behindMilliSec.size());
    for (std::int64_t const behind : behindMilliSec) {
        slots.push_back({behind * NanoSecPerMilliSec, 10 * (slots.size() + 1), 0.0F});
    }
    return slots;
}

std::vector<std::int64_t> Constant(std::size_t count, std::int64_t value) {
    return std::vector<std::int64_t>(count, value);
}

std::vector<std::int64_t> operator+(std::vector<std::int64_t> a, std::vector<std::int64_t> const& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

struct CaptureLogFixture {
    TestClock clock;
    CaptureLogKeeper keeper{true};

    CaptureLogFixture() { keeper.SetStart(Kovra::JiffyTime::Now()); }

    /// Frames with these numbers, each dated 20 ms after the one before, at this time.
    void Add(std::int64_t milliSec, std::vector<std::uint32_t> const& numbers) {
        clock.nanoSec = 1000 * NanoSecPerSec + milliSec * NanoSecPerMilliSec;
        std::vector<std::shared_ptr<Media::FrameAud>> frames;
        for (std::uint32_t const number : numbers) {
            frames.push_back(MakeMicrophoneFrame(Listening::Samples(960), date_, number));
            date_ += CaptureFrameNanoSec;
        }
        keeper.AddFrames(frames, 0.5F);
    }
    void MoveDate(std::int64_t nanoSec) { date_ += nanoSec; }

private:
    std::int64_t date_ = 77;
};

} // namespace

TEST(FindLosses, OfASteadyRecordingAreNone) {
    EXPECT_TRUE(FindLosses({}).empty());
    EXPECT_TRUE(FindLosses(MakeSlots(Constant(100, 30))).empty());
}

TEST(FindLosses, TellsWhenAndHowManyBlocksAreGoneForGood) {
    // 10 ms behind, and from the third second on (15 slots) three blocks more.
    std::vector<CaptureLoss> const losses = FindLosses(MakeSlots(Constant(15, 10) + Constant(20, 70)));
    ASSERT_EQ(losses.size(), 1U);
    EXPECT_EQ(losses[0].timeNanoSec, 3 * NanoSecPerSec);
    EXPECT_EQ(losses[0].frames, 3U);
    // Frame 250 comes in slot 25 only.
    EXPECT_FALSE(losses[0].isAtRingEnd);
}

TEST(FindLosses, AtTheEndOfTheRingAreToldApart) {
    std::vector<CaptureLoss> const losses = FindLosses(MakeSlots(Constant(25, 10) + Constant(20, 50)));
    ASSERT_EQ(losses.size(), 1U);
    EXPECT_EQ(losses[0].frames, 2U);
    EXPECT_TRUE(losses[0].isAtRingEnd);
}

TEST(FindLosses, CountsLostBlocksTowardsTheNextEndOfTheRing) {
    // 60 blocks lost in slot 5: the ring ends after 190 more frames, in slot 19, not after 250, in slot 25.
    std::vector<CaptureLoss> const losses =
        FindLosses(MakeSlots(Constant(5, 0) + Constant(14, 1200) + Constant(20, 1220)));
    ASSERT_EQ(losses.size(), 2U);
    EXPECT_EQ(losses[0].frames, 60U);
    EXPECT_FALSE(losses[0].isAtRingEnd);
    EXPECT_TRUE(losses[1].isAtRingEnd);
}

TEST(FindLosses, LetsSoundBeLateForAlmostTwoSeconds) {
    EXPECT_TRUE(FindLosses(MakeSlots(Constant(15, 10) + Constant(9, 500) + Constant(20, 10))).empty());
    EXPECT_FALSE(FindLosses(MakeSlots(Constant(15, 10) + Constant(10, 500) + Constant(20, 10))).empty());
}

TEST(FindLosses, StartAtFifteenMillisecondsAndAreWholeBlocks) {
    EXPECT_TRUE(FindLosses(MakeSlots(Constant(15, 10) + Constant(20, 24))).empty());
    EXPECT_EQ(FindLosses(MakeSlots(Constant(15, 10) + Constant(20, 25))).at(0).frames, 1U);
    EXPECT_EQ(FindLosses(MakeSlots(Constant(15, 10) + Constant(20, 44))).at(0).frames, 1U);
    EXPECT_EQ(FindLosses(MakeSlots(Constant(15, 10) + Constant(20, 45))).at(0).frames, 2U);
}

TEST(FindLosses, NeedThreeSlotsBehindThem) {
    EXPECT_TRUE(FindLosses(MakeSlots(Constant(15, 10) + Constant(2, 70))).empty());
    EXPECT_EQ(FindLosses(MakeSlots(Constant(15, 10) + Constant(3, 70))).size(), 1U);
}

TEST(FindLosses, DoNotComeFromAnEarlyStart) {
    // 12 ms in the first two seconds are no loss, nor is it when another 8 ms come after a while.
    EXPECT_TRUE(FindLosses(MakeSlots(Constant(5, 0) + Constant(25, 12) + Constant(20, 20))).empty());
}

TEST(FindLosses, InNeighbouringSlotsAreOne) {
    std::vector<CaptureLoss> const losses =
        FindLosses(MakeSlots(Constant(15, 10) + Constant(2, 30) + Constant(20, 70)));
    ASSERT_EQ(losses.size(), 1U);
    EXPECT_EQ(losses[0].frames, 3U);
}

TEST(FindLosses, DoNotComeFromASoundCardsClock) {
    // A tenth of a per mille slow: 0.02 ms a slot, 40 ms in 2000 slots.
    std::vector<CaptureSlot> slots;
    for (std::int64_t i = 0; i < 2000; ++i) {
        slots.push_back({i * NanoSecPerMilliSec / 50, static_cast<std::uint64_t>(10 * i), 0.0F});
    }
    EXPECT_TRUE(FindLosses(slots).empty());
}

TEST(CaptureLogKeeper_AddFrames, TellsTimesAndCounts) {
    CaptureLogFixture fixture;
    fixture.Add(40, {0});
    fixture.Add(250, {1, 2, 3});
    CaptureLog const log = fixture.keeper.Take();
    EXPECT_EQ(log.frames, 4U);
    EXPECT_EQ(log.firstNanoSec, 40 * NanoSecPerMilliSec);
    EXPECT_EQ(log.lastNanoSec, 250 * NanoSecPerMilliSec);
    ASSERT_EQ(log.slots.size(), 2U);
    // 40 ms passed for one frame of 20 ms; 250 ms for four.
    EXPECT_EQ(log.slots[0].behindNanoSec, 20 * NanoSecPerMilliSec);
    EXPECT_EQ(log.slots[1].behindNanoSec, 170 * NanoSecPerMilliSec);
    EXPECT_EQ(log.slots[1].framesRead, 4U);
    EXPECT_EQ(log.numbersMissing + log.numbersBack + log.timestampsOff, 0U);
}

TEST(CaptureLogKeeper_AddFrames, KeepsTheLeastDelayOfASlot) {
    CaptureLogFixture fixture;
    fixture.Add(20, {0});
    fixture.Add(90, {1});
    EXPECT_EQ(fixture.keeper.Take().slots.at(0).behindNanoSec, 0);
}

TEST(CaptureLogKeeper_AddFrames, OfASlotWithoutFramesKnowsNoDelay) {
    CaptureLogFixture fixture;
    fixture.Add(20, {0});
    fixture.Add(450, {1});
    CaptureLog const log = fixture.keeper.Take();
    ASSERT_EQ(log.slots.size(), 3U);
    EXPECT_FALSE(log.slots[1].behindNanoSec);
    EXPECT_EQ(log.slots[1].framesRead, 1U);
}

TEST(CaptureLogKeeper_AddFrames, CountsNumbersThatAreMissing) {
    CaptureLogFixture fixture;
    fixture.Add(100, {0, 1, 4});
    fixture.Add(200, {6});
    EXPECT_EQ(fixture.keeper.Take().numbersMissing, 3U);
}

TEST(CaptureLogKeeper_AddFrames, LetsNumbersWrap) {
    CaptureLogFixture fixture;
    fixture.Add(100, {0xFFFFFFFFU, 0});
    EXPECT_EQ(fixture.keeper.Take().numbersMissing, 0U);
}

TEST(CaptureLogKeeper_AddFrames, CountsNumbersThatGoBackOrStandStill) {
    CaptureLogFixture fixture;
    fixture.Add(100, {5, 5, 0});
    CaptureLog const log = fixture.keeper.Take();
    EXPECT_EQ(log.numbersBack, 2U);
    EXPECT_EQ(log.numbersMissing, 0U);
}

TEST(CaptureLogKeeper_AddFrames, CountsFramesThatAreNotDatedOneFrameOn) {
    CaptureLogFixture fixture;
    fixture.Add(20, {0});
    fixture.MoveDate(1);
    fixture.Add(60, {1, 2});
    EXPECT_EQ(fixture.keeper.Take().timestampsOff, 1U);
}

TEST(CaptureLogKeeper_AddSound, TellsTheLevelOfAllPieces) {
    CaptureLogFixture fixture;
    fixture.keeper.AddSound(Listening::Samples(100, 16384));
    fixture.keeper.AddSound(Listening::Samples(300, 0));
    CaptureLog const log = fixture.keeper.Take();
    // A quarter of the samples at half of full scale: 10 log10(0.25 / 4) = -12.04.
    EXPECT_NEAR(log.levelDecibel, -12.04, 0.01);
    EXPECT_EQ(log.peak, 16384);
    EXPECT_EQ(log.samples, 400U);
    EXPECT_EQ(log.sound.size(), 400U);
}

TEST(CaptureLogKeeper_AddSound, KeepsNothingUnlessAsked) {
    CaptureLogKeeper keeper(false);
    keeper.AddSound(Listening::Samples(100, 1));
    EXPECT_TRUE(keeper.Take().sound.empty());
}

TEST(FormatCaptureProgress, TellsTimeFramesAndLevel) {
    CaptureLogFixture fixture;
    fixture.Add(60, {0, 1, 2});
    EXPECT_EQ(FormatCaptureProgress(fixture.keeper.GetProgress()),
              "0:00.0  3 frames  [###################.....] -9.2 dBFS");
}

} // namespace AudioHost
