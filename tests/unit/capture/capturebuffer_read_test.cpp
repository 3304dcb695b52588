#include <algorithm>
#include <cmath>

#include "support/module/capturebuffertest.h"
#include "support/module/captureview.h"

namespace UnitTest {
namespace {

class CaptureBuffer_ReadFrames : public CaptureBufferTest {
protected:
    /// Numbers of the samples that start the frames, looked up in the microphone's pattern.
    std::vector<std::uint64_t> FirstSamplesOf(Frames const& frames, std::uint64_t lowest = 0) {
        std::vector<std::uint64_t> firsts;
        for (auto const& frame : frames) {
            auto const samples = SamplesOf(*frame);
            std::uint64_t first = lowest;
            while (first < lowest + 65536 && PatternFrom(first, samples.size()) != samples) {
                first += FrameSamples;
            }
            firsts.push_back(first);
        }
        return firsts;
    }

    static std::shared_ptr<FrameAud> SomeFrame() {
        return std::make_shared<FrameAudRaw>(FrameIdent(), new ParamsAudRaw);
    }
};
class CaptureBuffer_SampleLineLevel : public CaptureBufferTest {
protected:
    /// The level when `blocks` of the last sixteen are at full scale and the others silent.
    static float LevelOf(int blocks) { return std::pow(static_cast<float>(blocks) / 16.0F, 0.65625F); }
};

// --- frames

TEST_F(CaptureBuffer_ReadFrames, With959SamplesGivesMinus30AndChangesNothing) {
    Create();
    Microphone().CaptureAtOnce(959);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), -30);
    EXPECT_THAT(frames, IsEmpty());
    EXPECT_THAT(TakeCalls(), ElementsAre("GetCurrentPosition()"));
}

TEST_F(CaptureBuffer_ReadFrames, With960SamplesGivesOneFrame) {
    Create();
    Microphone().CaptureAtOnce(960);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0));
    EXPECT_THAT(TakeCalls(), ElementsAre("GetCurrentPosition()", "Lock(0, 1920)", "Unlock(1920, 0)"));
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureBuffer_ReadFrames, EndsAtTheReadCursorHoweverFarAheadTheCaptureCursorIs) {
    // What lies between both is still being filled.
    world.CaptureDevice().SetCaptureLead(480);
    Create();
    world.Clock().AdvanceMilliSec(10);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), -30);
    world.Clock().AdvanceMilliSec(10);
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0));
}

TEST_F(CaptureBuffer_ReadFrames, AFrameIs20MillisecondsOfTheMicrophone) {
    Create();
    Kovra::SysTime const start = Kovra::SysTime::Now();
    world.Clock().AdvanceMilliSec(20);
    Frames frames;
    ASSERT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 1U);
    FrameAud const& frame = *frames[0];
    EXPECT_NE(dynamic_cast<FrameAudRaw const*>(&frame), nullptr);
    EXPECT_EQ(frame.GetCoding(), MediaCoding_t::RawPcm);
    EXPECT_EQ(frame.GetFrequency(), 48000U);
    EXPECT_EQ(frame.GetNumChannels(), 1U);
    EXPECT_EQ(frame.GetParams().GetBitsPerSample(), 16U);
    EXPECT_EQ(frame.GetDuration(), Kovra::SysTime(FrameNanoSec));
    EXPECT_EQ(frame.GetIdent().sourceName, "Microphone");
    EXPECT_EQ(frame.GetIdent().sequenceNumber, 0U);
    EXPECT_EQ(frame.GetTimestamp(), start);
    ASSERT_EQ(frame.GetBuffers().GetCount(), 1U);
    Kovra::BufferInfo const& info = *frame.GetConstBufferBegin();
    EXPECT_EQ(info.GetBuffer()->GetSize(), 1920U);
    EXPECT_EQ(info.GetOffset(), 0U);
    EXPECT_EQ(info.GetDataOffset(), 0U);
    EXPECT_EQ(info.GetLength(), 1920U);
    EXPECT_EQ(SamplesOf(frame), PatternFrom(0, 960));
}

TEST_F(CaptureBuffer_ReadFrames, FiveBlocksGiveFiveFrames20MillisecondsApart) {
    Create();
    Kovra::SysTime const start = Kovra::SysTime::Now();
    world.Clock().AdvanceMilliSec(100);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 5U);
    for (std::uint32_t i = 0; i < 5; ++i) {
        EXPECT_EQ(frames[i]->GetIdent().sequenceNumber, i);
        EXPECT_EQ(frames[i]->GetTimestamp(), start + Kovra::SysTime(i * FrameNanoSec));
        EXPECT_EQ(SamplesOf(*frames[i]), PatternFrom(i * 960, 960));
    }
}

TEST_F(CaptureBuffer_ReadFrames, ARestOfABlockWaitsForTheNextRead) {
    Create();
    Microphone().CaptureAtOnce(2879);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0, 960));
    Microphone().CaptureAtOnce(1);
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0, 960, 1920));
}

TEST_F(CaptureBuffer_ReadFrames, FramesKeepTheirSamplesWhenTheRingComesRound) {
    Create();
    Microphone().CaptureAtOnce(960);
    Frames frames;
    ASSERT_EQ(buffer->ReadFrames(frames), 0);
    Microphone().CaptureAtOnce(RingSamples);
    EXPECT_EQ(SamplesOf(*frames.at(0)), PatternFrom(0, 960));
}

TEST_F(CaptureBuffer_ReadFrames, AppendsBehindTheFramesThatAreThere) {
    Create();
    Microphone().CaptureAtOnce(960);
    auto const earlier = SomeFrame();
    Frames frames{earlier};
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0], earlier);
    EXPECT_EQ(SamplesOf(*frames[1]), PatternFrom(0, 960));
}

TEST_F(CaptureBuffer_ReadFrames, ReservesRoomForTheBlocksThatAreThere) {
    Create();
    Microphone().CaptureAtOnce(100 * 960);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_EQ(frames.capacity(), 100U);
}

TEST_F(CaptureBuffer_ReadFrames, FrameNumbersGoOnAtZeroAfterTheLast) {
    Create();
    GetFields().frameNumber = 0xFFFFFFFF;
    Microphone().CaptureAtOnce(1920);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0]->GetIdent().sequenceNumber, 0xFFFFFFFFU);
    EXPECT_EQ(frames[1]->GetIdent().sequenceNumber, 0U);
}

// --- the end of the ring

TEST_F(CaptureBuffer_ReadFrames, AReadUpToTheEndOfTheRingLosesNothing) {
    CreateAt(RingSamples - 1920);
    Microphone().SetReadSample(0);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames, RingSamples - 1920),
                ElementsAre(RingSamples - 1920, RingSamples - 960));
    Microphone().CaptureAtOnce(960);
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_EQ(SamplesOf(*frames.at(2)), PatternFrom(RingSamples, 960));
}

TEST_F(CaptureBuffer_ReadFrames, AReadAcrossTheEndOfTheRingLeavesOutTheBlocksBehindIt) {
    CreateAt(RingSamples - 1920);
    Microphone().SetReadSample(2 * 960 + 100);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(TakeCalls({Call_t::CaptureBufferLock, Call_t::CaptureBufferUnlock}),
                ElementsAre("Lock(476160, 7680)", "Unlock(3840, 3840)"));
    EXPECT_THAT(FirstSamplesOf(frames, RingSamples - 1920),
                ElementsAre(RingSamples - 1920, RingSamples - 960));

    // The two blocks never come; frame numbers and times go on as if they had never been.
    Microphone().SetReadSample(2880);
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(SamplesOf(*frames[2]), PatternFrom(RingSamples + 1920, 960));
    EXPECT_EQ(frames[2]->GetIdent().sequenceNumber, 2U);
    EXPECT_EQ(frames[2]->GetTimestamp(), frames[1]->GetTimestamp() + Kovra::SysTime(FrameNanoSec));
}

TEST_F(CaptureBuffer_ReadFrames, BlockByBlockTheRingComesRoundWithoutALoss) {
    Create();
    Frames frames;
    for (int i = 0; i < 600; ++i) {
        world.Clock().AdvanceMilliSec(20);
        ASSERT_EQ(buffer->ReadFrames(frames), 0);
    }
    ASSERT_EQ(frames.size(), 600U);
    for (std::uint32_t i = 0; i < 600; ++i) {
        ASSERT_EQ(SamplesOf(*frames[i]), PatternFrom(i * 960, 960)) << i;
    }
}

TEST_F(CaptureBuffer_ReadFrames, TheWholeRingButOneBlockCanBeReadAtOnce) {
    Create();
    Microphone().CaptureAtOnce(RingSamples - 1);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_EQ(frames.size(), 249U);
}

TEST_F(CaptureBuffer_ReadFrames, AnOverrunOfAWholeRingLooksLikeNothing) {
    Create();
    Microphone().CaptureAtOnce(RingSamples);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), -30);
    Microphone().CaptureAtOnce(960);
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_EQ(SamplesOf(*frames.at(0)), PatternFrom(RingSamples, 960));
}

TEST_F(CaptureBuffer_ReadFrames, OfABlockThatTheLockSplitsHalfOfEachPieceIsThere) {
    Create();
    // The first region is 300 samples long.
    world.CaptureDevice().SetLockSplit(600);
    Microphone().CaptureAtOnce(1920);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 2U);
    // 300 bytes are 150 samples, at the start; 660 bytes of the second region are 330 samples, from 300 on.
    auto const split = SamplesOf(*frames[0]);
    auto const first = PatternFrom(0, 150);
    auto const second = PatternFrom(300, 330);
    EXPECT_TRUE(std::equal(first.begin(), first.end(), split.begin()));
    EXPECT_TRUE(std::equal(second.begin(), second.end(), split.begin() + 300));
    // And the walk goes on at the second region's start.
    EXPECT_EQ(SamplesOf(*frames[1]), PatternFrom(300, 960));
    EXPECT_THAT(TakeCalls({Call_t::CaptureBufferUnlock}), ElementsAre("Unlock(600, 3240)"));
}

// --- failures

TEST_F(CaptureBuffer_ReadFrames, AFailedPositionGivesItsStatusAndChangesNothing) {
    Create();
    Microphone().CaptureAtOnce(960);
    struct {
        HRESULT result;
        int status;
    } const rows[] = {{E_OUTOFMEMORY, -202},  {E_INVALIDARG, -41}, {DSERR_NODRIVER, -120},
                      {DSERR_BUFFERLOST, -1}, {E_FAIL, -1},        {DSERR_GENERIC, -1}};
    for (auto const& row : rows) {
        world.Faults().Fail(Call_t::CaptureBufferGetCurrentPosition, 1, row.result);
        Frames frames;
        EXPECT_EQ(buffer->ReadFrames(frames), row.status) << std::hex << row.result;
        world.Faults().Fail(Call_t::CaptureBufferGetCurrentPosition, 1, row.result);
        EXPECT_EQ(buffer->SampleLineLevel(), row.status) << std::hex << row.result;
        EXPECT_THAT(frames, IsEmpty());
    }
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0));
}

TEST_F(CaptureBuffer_ReadFrames, AFailedLockGivesMinus10AndLosesNothing) {
    Create();
    Microphone().CaptureAtOnce(960);
    Frames frames;
    for (HRESULT const refusal : {DSERR_INVALIDPARAM, DSERR_BUFFERLOST, E_FAIL}) {
        world.Faults().Fail(Call_t::CaptureBufferLock, 1, refusal);
        EXPECT_EQ(buffer->ReadFrames(frames), -10);
    }
    EXPECT_THAT(frames, IsEmpty());
    EXPECT_THAT(TakeCalls({Call_t::CaptureBufferUnlock}), IsEmpty());
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0));
}

TEST_F(CaptureBuffer_ReadFrames, AFailedLockGivesZeroWhenTheCallersVectorIsNotEmpty) {
    Create();
    Microphone().CaptureAtOnce(960);
    world.Faults().Fail(Call_t::CaptureBufferLock, 1, DSERR_INVALIDPARAM);
    Frames frames{SomeFrame()};
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_EQ(frames.size(), 1U);
}

TEST_F(CaptureBuffer_ReadFrames, ALockOfNothingIsNotUnlockedAndLosesNothing) {
    using Simulation::CaptureSettings;
    Create();
    Microphone().CaptureAtOnce(960);
    for (auto const fault :
         {CaptureSettings::LockFault_t::NullAddress, CaptureSettings::LockFault_t::ZeroBytes}) {
        world.CaptureDevice().SetLockFault(fault);
        Frames frames;
        EXPECT_EQ(buffer->ReadFrames(frames), -10);
        EXPECT_THAT(frames, IsEmpty());
        Frames filled{SomeFrame()};
        EXPECT_EQ(buffer->ReadFrames(filled), 0);
        EXPECT_EQ(filled.size(), 1U);
    }
    EXPECT_THAT(TakeCalls({Call_t::CaptureBufferUnlock}), IsEmpty());
    world.CaptureDevice().SetLockFault(CaptureSettings::LockFault_t::None);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_THAT(FirstSamplesOf(frames), ElementsAre(0));
}

// --- the meter's own read

TEST_F(CaptureBuffer_SampleLineLevel, With959SamplesGivesMinus30) {
    Create();
    Microphone().CaptureAtOnce(959);
    EXPECT_EQ(buffer->SampleLineLevel(), -30);
    EXPECT_THAT(TakeCalls(), ElementsAre("GetCurrentPosition()"));
}

TEST_F(CaptureBuffer_SampleLineLevel, ReadsEveryWholeBlock) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    Create();
    Microphone().CaptureAtOnce(4 * 960 + 959);
    EXPECT_EQ(buffer->SampleLineLevel(), 0);
    EXPECT_THAT(TakeCalls(), ElementsAre("GetCurrentPosition()", "Lock(0, 7680)", "Unlock(7680, 0)"));
    EXPECT_NEAR(buffer->GetLineLevel(), LevelOf(4), LevelTolerance);
    EXPECT_EQ(buffer->SampleLineLevel(), -30);
}

TEST_F(CaptureBuffer_SampleLineLevel, AcrossTheEndOfTheRingLosesNothing) {
    CreateAt(RingSamples - 1920);
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    Microphone().SetReadSample(3 * 960);
    EXPECT_EQ(buffer->SampleLineLevel(), 0);
    EXPECT_THAT(TakeCalls({Call_t::CaptureBufferUnlock}), ElementsAre("Unlock(3840, 5760)"));
    EXPECT_NEAR(buffer->GetLineLevel(), LevelOf(5), LevelTolerance);
}

TEST_F(CaptureBuffer_SampleLineLevel, ABlockThatTheLockSplitsCountsAsTwo) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    Create();
    world.CaptureDevice().SetLockSplit(600);
    Microphone().CaptureAtOnce(960);
    EXPECT_EQ(buffer->SampleLineLevel(), 0);
    EXPECT_NEAR(buffer->GetLineLevel(), LevelOf(2), LevelTolerance);
}

TEST_F(CaptureBuffer_SampleLineLevel, AFailedLockGivesMinus10AndLosesNothing) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    Create();
    Microphone().CaptureAtOnce(960);
    world.Faults().Fail(Call_t::CaptureBufferLock, 1, DSERR_INVALIDPARAM);
    EXPECT_EQ(buffer->SampleLineLevel(), -10);
    EXPECT_EQ(buffer->GetLineLevel(), 0.0F);
    EXPECT_EQ(buffer->SampleLineLevel(), 0);
    EXPECT_NEAR(buffer->GetLineLevel(), LevelOf(1), LevelTolerance);
}

TEST_F(CaptureBuffer_SampleLineLevel, ALockOfNothingIsUnlockedAndItsBlocksAreLost) {
    using Simulation::CaptureSettings;
    Create();
    // Only the meter unlocks what it was given, which was nothing.
    world.AllowMisuse();
    for (auto const fault :
         {CaptureSettings::LockFault_t::NullAddress, CaptureSettings::LockFault_t::ZeroBytes}) {
        Microphone().CaptureAtOnce(960);
        world.CaptureDevice().SetLockFault(fault);
        EXPECT_EQ(buffer->SampleLineLevel(), -10);
        EXPECT_THAT(TakeCalls({Call_t::CaptureBufferUnlock}), SizeIs(1));
        world.CaptureDevice().SetLockFault(CaptureSettings::LockFault_t::None);
        Frames frames;
        EXPECT_EQ(buffer->ReadFrames(frames), -30);
    }
    EXPECT_EQ(buffer->GetLineLevel(), 0.0F);
    world.TakeMisuse();
}

TEST_F(CaptureBuffer_SampleLineLevel, ALockOfASecondRegionAloneIsMetered) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    Create();
    world.AllowMisuse();
    // As many blocks as are in the level: nothing else takes a place there.
    Microphone().CaptureAtOnce(16 * 960);
    EXPECT_EQ(buffer->SampleLineLevel(), 0);
    Microphone().CaptureAtOnce(960);
    world.CaptureDevice().SetLockFault(Simulation::CaptureSettings::LockFault_t::SecondAlone);
    EXPECT_EQ(buffer->SampleLineLevel(), 0);
    EXPECT_NEAR(buffer->GetLineLevel(), LevelOf(16), LevelTolerance);
    world.TakeMisuse();
}

} // namespace
} // namespace UnitTest
