#include "support/module/capturebuffertest.h"

namespace UnitTest {
namespace {

class CaptureBuffer_Construct : public CaptureBufferTest {};
class CaptureBuffer_Create : public CaptureBufferTest {
protected:
    /// Nothing has been made, and every read says so.
    void ExpectNoDirectSoundBuffer() {
        EXPECT_FALSE(buffer->IsInitialized());
        Frames frames;
        EXPECT_EQ(buffer->ReadFrames(frames), -27);
        EXPECT_EQ(buffer->SampleLineLevel(), -27);
        EXPECT_EQ(buffer->GetLineLevel(), 0.0F);
        EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
        EXPECT_EQ(world.OpenHandles(), 1U);
    }
};
class CaptureBuffer_Close : public CaptureBufferTest {};
class CaptureBuffer_StartCapture : public CaptureBufferTest {
protected:
    void ExpectOnlyRecord(char const* message, char const* function) {
        auto const records = log.GetRecords();
        ASSERT_EQ(records.size(), 1U);
        EXPECT_EQ(records[0].channel, "Media.RendererAudioCaptureBuffer");
        EXPECT_EQ(records[0].level, Kovra::LogLevel_t::Debug);
        EXPECT_EQ(records[0].message, message);
        EXPECT_EQ(records[0].file, "media/src/rendereraudio/rendereraudiocapturebuffer");
        EXPECT_EQ(records[0].function, function);
        EXPECT_GT(records[0].line, 0);
    }
};
class CaptureBuffer_StopCapture : public CaptureBuffer_StartCapture {};

// --- construction

TEST_F(CaptureBuffer_Construct, HasNoDirectSoundBufferAndCallsNothing) {
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
    EXPECT_FALSE(buffer->IsInitialized());
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), -27);
    EXPECT_EQ(buffer->SampleLineLevel(), -27);
    EXPECT_EQ(buffer->GetLineLevel(), 0.0F);
}

// --- creation

TEST_F(CaptureBuffer_Create, CallsTheDeviceAndTheNewBufferInOrder) {
    EXPECT_EQ(buffer->Create(), 0);
    // The wake event is number 1, the buffer's number 2; 2147483648 is 0x80000000, wave mapped.
    EXPECT_THAT(
        TakeCalls(CallSet::CaptureBuffer() | CallSet::Win32() |
                  CallSet{Call_t::CaptureCreateCaptureBuffer, Call_t::CaptureBufferQueryBuffer8,
                          Call_t::CaptureBufferRelease}),
        ElementsAre("CreateCaptureBuffer(2147483648, 480000)", "QueryInterface(IDirectSoundCaptureBuffer8)",
                    "Release()", "CreateEventA(0, 0)", "SetEvent(1)", "Start(1)"));
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureBuffer_Create, AsksForFiveSecondsOf16BitMonoAt48Kilohertz) {
    EXPECT_EQ(buffer->Create(), 0);
    ExpectSixteenBitMono(Microphone().Format());
    EXPECT_EQ(Microphone().RingBytes(), 480000U);
    EXPECT_EQ(Microphone().Flags(), 0x80000000U);
}

TEST_F(CaptureBuffer_Create, CapturesRoundTheRingFromNowOn) {
    EXPECT_EQ(buffer->Create(), 0);
    EXPECT_TRUE(buffer->IsInitialized());
    EXPECT_TRUE(Microphone().IsCapturing());
    EXPECT_TRUE(Microphone().IsLooping());
    EXPECT_EQ(Microphone().References(), 1U);
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_F(CaptureBuffer_Create, OnAClosedDeviceGivesMinus27) {
    device.Close();
    EXPECT_EQ(buffer->Create(), -27);
    ExpectNoDirectSoundBuffer();
}

TEST_F(CaptureBuffer_Create, WithoutAKnownInputGivesMinus27) {
    RendererAudioCaptureDevice unlisted;
    world.CaptureDevice().SetDevices({});
    ASSERT_EQ(unlisted.Initialize(), 0);
    RendererAudioCaptureBuffer onUnlisted(unlisted.GetWeakFields());
    EXPECT_EQ(onUnlisted.Create(), -27);
    EXPECT_FALSE(onUnlisted.IsInitialized());
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
}

TEST_F(CaptureBuffer_Create, WhenTheDeviceIsGoneGivesMinus27) {
    auto gone = std::make_unique<RendererAudioCaptureDevice>();
    ASSERT_EQ(gone->Initialize(), 0);
    RendererAudioCaptureBuffer orphan(gone->GetWeakFields());
    gone.reset();
    EXPECT_EQ(orphan.Create(), -27);
}

TEST_F(CaptureBuffer_Create, RefusedByDirectSoundOrWithoutAnObjectGivesMinus1UntilTheNextTry) {
    for (HRESULT const refusal :
         {E_OUTOFMEMORY, E_INVALIDARG, DSERR_BADFORMAT, DSERR_NODRIVER, E_FAIL, HRESULT{DS_OK}}) {
        world.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, refusal);
        EXPECT_EQ(buffer->Create(), -1) << std::hex << refusal;
        ExpectNoDirectSoundBuffer();
    }
    EXPECT_EQ(buffer->Create(), 0);
    EXPECT_TRUE(Microphone().IsCapturing());
}

TEST_F(CaptureBuffer_Create, WithoutTheNewerInterfaceGivesMinus1AndReleasesTheOlder) {
    world.Faults().Fail(Call_t::CaptureBufferQueryBuffer8, 1, E_NOINTERFACE);
    EXPECT_EQ(buffer->Create(), -1);
    EXPECT_THAT(TakeCalls({Call_t::CaptureBufferRelease}), ElementsAre("Release()"));
    ExpectNoDirectSoundBuffer();
}

TEST_F(CaptureBuffer_Create, SucceedsAlthoughCaptureDoesNotStart) {
    world.Faults().Fail(Call_t::CaptureBufferStart, 1, DSERR_GENERIC);
    EXPECT_EQ(buffer->Create(), 0);
    EXPECT_TRUE(buffer->IsInitialized());
}

TEST_F(CaptureBuffer_Create, SucceedsWithoutAnEvent) {
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(buffer->Create(), 0);
    EXPECT_TRUE(Microphone().IsCapturing());
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST_F(CaptureBuffer_Create, ASecondTimeGivesMinus43AndChangesNothing) {
    Create();
    EXPECT_EQ(buffer->Create(), -43);
    EXPECT_THAT(TakeCalls(CallSet::CaptureBuffer() | CallSet::Win32()), IsEmpty());
    EXPECT_TRUE(buffer->IsInitialized());
}

TEST_F(CaptureBuffer_Create, ASecondTimeOnADeviceClosedMeanwhileGivesMinus27) {
    Create();
    device.Close();
    EXPECT_EQ(buffer->Create(), -27);
    EXPECT_TRUE(buffer->IsInitialized());
}

TEST_F(CaptureBuffer_Create, AfterAStartAtAMultipleOf4294967296NanosecondsMakesTheBufferAnew) {
    constexpr std::int64_t LowHalf = 0x100000000;
    world.Clock().StepSystem(LowHalf - Kovra::SysTime::Now().NanoSec() % LowHalf);
    Create();
    EXPECT_EQ(buffer->Create(), 0);
    EXPECT_EQ(Microphone().Number(), 2U);
    EXPECT_EQ(world.OpenHandles(), 2U);
    world.Clock().StepSystem(1);
    buffer->StartCapture();
    EXPECT_EQ(buffer->Create(), -43);
}

// --- end

TEST_F(CaptureBuffer_Close, StopsUnregistersAndReleasesInOrderAsDestructionDoes) {
    CallSet const calls = CallSet::CaptureBuffer() | CallSet::Win32() | CallSet{Call_t::CaptureBufferRelease};
    Create();
    buffer->Close();
    EXPECT_THAT(TakeCalls(calls), ElementsAre("Stop()", "SetEvent(1)", "CloseHandle(2)", "Release()"));
    EXPECT_FALSE(buffer->IsInitialized());
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), -27);
    EXPECT_EQ(buffer->SampleLineLevel(), -27);

    buffer = std::make_unique<RendererAudioCaptureBuffer>(device.GetWeakFields());
    Create();
    buffer.reset();
    EXPECT_THAT(TakeCalls(calls), ElementsAre("Stop()", "SetEvent(1)", "CloseHandle(3)", "Release()"));
}

TEST_F(CaptureBuffer_Close, WithoutADirectSoundBufferCallsNothing) {
    buffer->Close();
    buffer.reset();
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
}

TEST_F(CaptureBuffer_Close, GoesOnAfterAFailedStop) {
    Create();
    world.Faults().Fail(Call_t::CaptureBufferStop, 1, DSERR_GENERIC);
    buffer->Close();
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST_F(CaptureBuffer_Close, AfterTheDeviceReleasesWithoutIt) {
    auto gone = std::make_unique<RendererAudioCaptureDevice>();
    ASSERT_EQ(gone->Initialize(), 0);
    RendererAudioCaptureBuffer orphan(gone->GetWeakFields());
    ASSERT_EQ(orphan.Create(), 0);
    gone.reset();
    world.Journal().Clear();
    orphan.Close();
    EXPECT_THAT(TakeCalls(CallSet::CaptureBuffer() | CallSet{Call_t::CaptureBufferRelease}),
                ElementsAre("Stop()", "Release()"));
}

TEST_F(CaptureBuffer_Close, ComesBeforeDirectSoundIsGoneThoughTheDeviceWasClosed) {
    Create();
    device.Close();
    // Its buffers go with DirectSound's object, which the device does not hold any more.
    EXPECT_EQ(world.LiveCaptures(), 1U);
    buffer->Close();
    EXPECT_EQ(world.LiveCaptures(), 0U);
}

// --- stop and start

TEST_F(CaptureBuffer_StopCapture, StopsAndSaysWhereItDoes) {
    Create();
    buffer->StopCapture();
    EXPECT_THAT(TakeCalls(), ElementsAre("Stop()"));
    EXPECT_FALSE(Microphone().IsCapturing());
    ExpectOnlyRecord("Stopping buffer capture", "Media::RendererAudioCaptureBuffer::StopCapture");
}

TEST_F(CaptureBuffer_StopCapture, LeavesWhatWasCapturedToBeRead) {
    Create();
    Kovra::SysTime const start = Kovra::SysTime::Now();
    world.Clock().AdvanceMilliSec(40);
    buffer->StopCapture();
    world.Clock().AdvanceMilliSec(100);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 2U);
    EXPECT_EQ(frames[0]->GetTimestamp(), start);
    EXPECT_EQ(buffer->ReadFrames(frames), -30);
}

TEST_F(CaptureBuffer_StopCapture, WithoutADirectSoundBufferDoesNothing) {
    buffer->StopCapture();
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureBuffer_StartCapture, StartsAndSaysWhereItDoes) {
    Create();
    buffer->StartCapture();
    EXPECT_THAT(TakeCalls(), ElementsAre("Start(1)"));
    ExpectOnlyRecord("Starting buffer capture", "Media::RendererAudioCaptureBuffer::StartCapture");
}

TEST_F(CaptureBuffer_StartCapture, DatesTheNextFrameNowAndGoesOnCountingAndReading) {
    Create();
    world.Clock().AdvanceMilliSec(30);
    Frames frames;
    ASSERT_EQ(buffer->ReadFrames(frames), 0);
    ASSERT_EQ(frames.size(), 1U);
    buffer->StopCapture();
    world.Clock().AdvanceMilliSec(1000);
    buffer->StartCapture();
    Kovra::SysTime const restart = Kovra::SysTime::Now();
    world.Clock().AdvanceMilliSec(30);
    ASSERT_EQ(buffer->ReadFrames(frames), 0);
    // 30 ms before the stop and 30 ms after it hold three blocks, of which one was read.
    ASSERT_EQ(frames.size(), 3U);
    EXPECT_EQ(frames[1]->GetIdent().sequenceNumber, 1U);
    EXPECT_EQ(frames[1]->GetTimestamp(), restart);
    EXPECT_EQ(SamplesOf(*frames[1]), PatternFrom(960, 960));
    EXPECT_EQ(frames[2]->GetTimestamp(), restart + Kovra::SysTime(FrameNanoSec));
}

TEST_F(CaptureBuffer_StartCapture, DatesTheNextFrameNowAlthoughCaptureDoesNotStart) {
    Create();
    world.Clock().AdvanceMilliSec(5);
    world.Faults().Fail(Call_t::CaptureBufferStart, 1, DSERR_GENERIC);
    buffer->StartCapture();
    Kovra::SysTime const restart = Kovra::SysTime::Now();
    // Capture has gone on from before.
    world.Clock().AdvanceMilliSec(15);
    Frames frames;
    ASSERT_EQ(buffer->ReadFrames(frames), 0);
    EXPECT_EQ(frames.front()->GetTimestamp(), restart);
}

TEST_F(CaptureBuffer_StartCapture, WithoutADirectSoundBufferDoesNothing) {
    buffer->StartCapture();
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

} // namespace
} // namespace UnitTest
