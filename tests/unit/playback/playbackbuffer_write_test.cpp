#include <cstring>

#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

struct Placed {
    char const* name;
    std::int64_t offsetNanoSec;
    std::uint32_t position;
};

struct GapCase {
    char const* name;
    /// Length of the first frame; the second stands at position 480 or 120480.
    std::size_t firstSamples;
    std::uint32_t second;
    /// Where the second is written.
    std::uint32_t position;
    std::vector<LogLine> records;
};

auto const CaseName = [](auto const& info) { return std::string(info.param.name); };

class PlaybackBuffer_WriteFrame : public PlaybackBufferTest {
protected:
    PlaybackBuffer_WriteFrame() { Create(); }
};
class PlaybackBuffer_PlaceFrame : public PlaybackBuffer_WriteFrame,
                                  public testing::WithParamInterface<Placed> {};
class PlaybackBuffer_JudgeGap : public PlaybackBuffer_WriteFrame,
                                public testing::WithParamInterface<GapCase> {};

// --- the frame's place

TEST_F(PlaybackBuffer_WriteFrame, FirstFrameStandsAtTheOriginUnderOneLock) {
    EXPECT_TRUE(buffer->WriteFrame(RawFrame(Origin, {11, 12, 13})));
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("Lock(0, 6)", "Unlock(6, 0)"));
    EXPECT_EQ(Sound().Samples(0, 4), (std::vector<std::int16_t>{11, 12, 13, 0}));
    EXPECT_TRUE(Sound().IsSilent(3, RingSamples - 3));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteFrame, FramesOfTenMillisecondsFollowEachOther) {
    // n * 10'000'000 / 20833 = n * 480.008.
    for (int n = 0; n < 10; ++n) {
        EXPECT_TRUE(Write(n * 10'000'000, 480, static_cast<std::int16_t>(n + 1)));
    }
    for (std::uint32_t n = 0; n < 10; ++n) {
        EXPECT_EQ(Sound().Samples(n * 480, 480), Repeat(480, static_cast<std::int16_t>(n + 1)));
    }
    EXPECT_TRUE(Sound().IsSilent(4800, RingSamples - 4800));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_P(PlaybackBuffer_PlaceFrame, PutsItWhereItsTimestampSays) {
    MakeEveryGapOneOfThePast();
    EXPECT_TRUE(Write(GetParam().offsetNanoSec, 3, 11));
    EXPECT_EQ(Sound().Samples(GetParam().position, 3), Repeat(3, 11));
    EXPECT_TRUE(Sound().IsSilent((GetParam().position + 3) % RingSamples, RingSamples - 3));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Offsets, PlaybackBuffer_PlaceFrame,
                         testing::Values(Placed{"OneSampleRoundedUp", 20833, 2},
                                         // 2'000'000'000 / 20833 = 96001.5, odd.
                                         Placed{"TwoSeconds", 2'000'000'000, 96002},
                                         // 4'999'999'999 / 20833 = 240003.8, odd; 240004 - 240000.
                                         Placed{"JustBelowFiveSeconds", 4'999'999'999, 4},
                                         Placed{"OneHourAndAMillisecond", 3'600'001'000'000, 48}),
                         CaseName);

TEST_F(PlaybackBuffer_WriteFrame, FrameBehindTheEndOfTheLastButBeforeTheOriginsNextRoundOverwrites) {
    EXPECT_TRUE(Write(0, 480, 7));
    // 5 ms / 20833 = 240.004: the second half of the last frame is overwritten.
    EXPECT_TRUE(Write(5'000'000, 480, 8));
    EXPECT_EQ(Sound().Samples(0, 240), Repeat(240, 7));
    EXPECT_EQ(Sound().Samples(240, 480), Repeat(480, 8));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteFrame, FrameAcrossTheEndOfTheRingIsSplitThere) {
    // 239998 * 20833 = 4'999'878'334.
    GetFields().writeEnd = 239998;
    EXPECT_TRUE(buffer->WriteFrame(RawFrame(Origin + 4'999'878'334, {11, 12, 13, 14, 15})));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 10)", "Unlock(4, 6)"));
    EXPECT_EQ(Sound().Samples(239997, 7), (std::vector<std::int16_t>{0, 11, 12, 13, 14, 15, 0}));
}

TEST_F(PlaybackBuffer_WriteFrame, RemembersTheLastSampleOfTheRegionThatWasWrittenLast) {
    EXPECT_TRUE(buffer->WriteFrame(RawFrame(Origin, {11, 12, 13})));
    EXPECT_EQ(GetFields().lastSample, 13U);
    GetFields().writeEnd = 239998;
    EXPECT_TRUE(buffer->WriteFrame(RawFrame(Origin + 4'999'878'334, {11, 12, 13, 14, 15})));
    EXPECT_EQ(GetFields().lastSample, 15U);
    // Also of what was not copied: the sample that is there.
    Soil(0, 8);
    codec.decode = [](Frames const&) { return Frames{RawFrame(Origin, {21, 22, 23})}; };
    GetFields().writeEnd = 0;
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(MediaCoding_t::G726, Origin)));
    EXPECT_EQ(GetFields().lastSample, static_cast<std::uint16_t>(Soiled));
}

TEST_F(PlaybackBuffer_WriteFrame, ALockSplitWithinTheRingIsFilledInOrder) {
    world.Device().SetLockSplit(4);
    EXPECT_TRUE(buffer->WriteFrame(RawFrame(Origin, {11, 12, 13, 14, 15})));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 10)", "Unlock(4, 6)"));
    EXPECT_EQ(Sound().Samples(0, 6), (std::vector<std::int16_t>{11, 12, 13, 14, 15, 0}));
}

TEST_F(PlaybackBuffer_WriteFrame, TakesTheSliceOfTheFirstBufferByItsOffsets) {
    auto const frame = ConstantFrame(Origin, 0, 0);
    auto block = Kovra::Buffer::Create(16, 16);
    std::int16_t const samples[] = {1, 2, 3, 4, 5, 6, 7, 8};
    std::memcpy(block->GetData(), samples, 16);
    Kovra::BufferInfoListScoped list;
    // From byte 2 + 4 on.
    list.Append(Kovra::BufferInfo(block, 2, 6, 4));
    list.Append(Kovra::BufferInfo(block, 0, 2));
    frame->AttachBuffers(std::move(list));
    EXPECT_TRUE(buffer->WriteFrame(frame));
    EXPECT_EQ(Sound().Samples(0, 4), (std::vector<std::int16_t>{4, 5, 6, 0}));
}

TEST_F(PlaybackBuffer_WriteFrame, BecomesTheOriginOfABufferStoppedAsIdle) {
    GetFields().baseTimestamp = 0;
    // 3 s after the old one.
    EXPECT_TRUE(Write(3'000'000'000, 480, 7));
    EXPECT_TRUE(Write(3'010'000'000, 480, 8));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
    EXPECT_EQ(Sound().Samples(480, 480), Repeat(480, 8));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteFrame, TimestampZeroSetsNoOriginSoThatTheNextFrameDoes) {
    GetFields().baseTimestamp = 0;
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(0, 480, 7)));
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(10'000'000, 480, 8)));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 8));
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(20'000'000, 480, 9)));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 8));
    EXPECT_EQ(Sound().Samples(480, 480), Repeat(480, 9));
}

TEST_F(PlaybackBuffer_WriteFrame, NegativeTimestampsAreInstantsLikeOthers) {
    GetFields().baseTimestamp = 0;
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(-10'000'000, 480, 7)));
    // Timestamp 0 is 10 ms behind it.
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(0, 480, 8)));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
    EXPECT_EQ(Sound().Samples(480, 480), Repeat(480, 8));
}

TEST_F(PlaybackBuffer_WriteFrame, DistancesBeyondTheRangeWrap) {
    // 2^63 - 1 minus -2^63 wraps to -1: before the origin, so that the ring is cleared.
    GetFields().baseTimestamp = INT64_MIN;
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(INT64_MAX, 480, 7)));
    EXPECT_THAT(TakeCalls({Call_t::BufferLock}), ElementsAre("Lock(0, 480000)", "Lock(0, 960)"));
    // -2^63 minus 2^63 - 1 wraps to 1 ns behind it.
    EXPECT_TRUE(buffer->WriteFrame(ConstantFrame(INT64_MIN, 480, 8)));
    EXPECT_THAT(TakeCalls({Call_t::BufferLock}), ElementsAre("Lock(0, 960)"));
}

// --- before the origin

TEST_F(PlaybackBuffer_WriteFrame, OneNanosecondBeforeTheOriginClearsTheRingAndBecomesTheOrigin) {
    EXPECT_TRUE(Write(10'000'000, 480, 7));
    Soil(100000, 140000);
    TakeCalls();
    TakeLog();
    EXPECT_TRUE(Write(-1, 480, 8));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(0, 480000)", "Unlock(480000, 0)", "Lock(0, 960)", "Unlock(960, 0)"));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 8));
    EXPECT_TRUE(Sound().IsSilent(480, RingSamples - 480));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteFrame, BeforeTheOriginTheGapRuleStillHolds) {
    // From 239995 to position 0 are 5 samples.
    GetFields().writeEnd = 239995;
    EXPECT_TRUE(Write(-NanoSecPerHour, 480, 8));
    EXPECT_EQ(Sound().Samples(239995, 480), Repeat(480, 8));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer ignoring small gap (5 samples)")));
}

TEST_F(PlaybackBuffer_WriteFrame, BeforeTheOriginAFailedClearingIsNoObstacle) {
    Soil(480, 10);
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_TRUE(Write(-1, 480, 8));
    EXPECT_TRUE(IsSoiled(480, 10));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 8));
}

// --- gaps

TEST_P(PlaybackBuffer_JudgeGap, ClosesReportsOrIgnoresIt) {
    EXPECT_TRUE(Write(0, GetParam().firstSamples, 7));
    Soil(static_cast<std::uint32_t>(GetParam().firstSamples), 200000);
    EXPECT_TRUE(Write(GetParam().second * SampleNanoSec, 480, 8));
    EXPECT_EQ(Sound().Samples(GetParam().position, 480), Repeat(480, 8));
    // The gap is left as it is, whatever the record says, and so is what follows.
    auto const first = static_cast<std::uint32_t>(GetParam().firstSamples);
    EXPECT_TRUE(IsSoiled(first, GetParam().position - first));
    EXPECT_TRUE(IsSoiled(GetParam().position + 480, 1000));
    EXPECT_THAT(TakeLog(), testing::ElementsAreArray(GetParam().records));
}

INSTANTIATE_TEST_SUITE_P(
    Gaps, PlaybackBuffer_JudgeGap,
    testing::Values(
        GapCase{"None", 480, 480, 480, {}},
        GapCase{"TenSamplesAreClosed", 470, 480, 470, {Info("AudioBuffer ignoring small gap (10 samples)")}},
        GapCase{
            "ElevenSamplesAreALoss", 469, 480, 480, {Info("AudioBuffer packet loss, zero'ing 11 samples")}},
        GapCase{"HalfTheRingIsThePast", 480, 120480, 120480, {}}),
    CaseName);

TEST_F(PlaybackBuffer_WriteFrame, SmallGapAcrossTheEndOfTheRingIsClosed) {
    // 239994 and 6 samples end at 240000: position 0 of the next round, 5 s later, follows a gap of 6.
    GetFields().writeEnd = 239994;
    EXPECT_TRUE(Write(RingNanoSec, 480, 8));
    EXPECT_EQ(Sound().Samples(239994, 480), Repeat(480, 8));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer ignoring small gap (6 samples)")));
}

TEST_F(PlaybackBuffer_WriteFrame, AJumpByHoursIsJudgedByItsPlaceInTheRing) {
    EXPECT_TRUE(Write(0, 480, 7));
    // 7 h are a multiple of 5 s; 20 ms / 20833 = 960.01: 480 samples behind the end.
    EXPECT_TRUE(Write(7 * NanoSecPerHour + 20'000'000, 480, 8));
    EXPECT_EQ(GetFields().writePos, 960U);
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer packet loss, zero'ing 480 samples")));
}

TEST_F(PlaybackBuffer_WriteFrame, AfterASmallGapTheNextFrameFollowsTheMovedOne) {
    EXPECT_TRUE(Write(0, 470, 7));
    EXPECT_TRUE(Write(480 * SampleNanoSec, 480, 8));
    // The moved frame ends at 950, 10 before the place of the next: closed again.
    EXPECT_TRUE(Write(960 * SampleNanoSec, 480, 9));
    EXPECT_EQ(Sound().Samples(470, 480), Repeat(480, 8));
    EXPECT_EQ(Sound().Samples(950, 480), Repeat(480, 9));
}

} // namespace
} // namespace UnitTest
