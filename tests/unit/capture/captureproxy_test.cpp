#include "rendereraudiocaptureproxy.h"

#include <optional>
#include <string>
#include <type_traits>
#include <vector>

#include "simulation/testworld.h"
#include "support/module/capturebuffertest.h"
#include "support/module/captureview.h"
#include "support/module/logcapture.h"

namespace UnitTest {
namespace {

static_assert(!std::is_polymorphic_v<RendererAudioCaptureProxy>, "hosts link against a plain class");
static_assert(!std::is_copy_constructible_v<RendererAudioCaptureProxy>);

/// A proxy on an open device, once `Make` has been called.
class CaptureProxyTest : public testing::Test {
protected:
    CaptureProxyTest() {
        EXPECT_EQ(device.Initialize(), 0);
        world.Journal().Enable();
    }

    RendererAudioCaptureProxy& Make() { return made.emplace(device); }

    /// The calls since the last time, as far as they are more than a passing hold on the capture object.
    std::vector<std::string> TakeTexts(CallSet const& calls = CallsButPassingReferences()) {
        auto texts = FullTexts(world.Journal().Records(calls));
        world.Journal().Clear();
        return texts;
    }

    Simulation::CaptureBuffer& Microphone() { return world.OnlyCaptureBuffer(); }

    Simulation::TestWorld world;
    LogCapture log;
    RendererAudioCaptureDevice device;
    std::optional<RendererAudioCaptureProxy> made;
};

class CaptureProxy_Construction : public CaptureProxyTest {};
class CaptureProxy_Stop : public CaptureProxyTest {};
class CaptureProxy_Start : public CaptureProxyTest {};
class CaptureProxy_Read : public CaptureProxyTest {};

// --- construction and destruction

TEST_F(CaptureProxy_Construction, MakesRegistersAndStartsABuffer) {
    auto& proxy = Make();
    // The wake event is number 1, the buffer's number 2.
    EXPECT_THAT(TakeTexts(),
                ElementsAre(CreateBufferText, "CaptureBuffer::QueryInterface(IDirectSoundCaptureBuffer8)",
                            "CaptureBuffer::Release()", "Win32::CreateEventA(0, 0)", "Win32::SetEvent(1)",
                            "CaptureBuffer::Start(1)"));
    EXPECT_TRUE(proxy.IsInitialized());
    EXPECT_TRUE(Microphone().IsCapturing());
    EXPECT_TRUE(Microphone().IsLooping());
    EXPECT_EQ(proxy.GetLineLevel(), 0.0F);
    EXPECT_THAT(BuffersOf(device), SizeIs(2));
    // The device's and the buffer's.
    EXPECT_EQ(world.CaptureReferences(), 2U);
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureProxy_Construction, OnAClosedDeviceIsNotInitializedAndCallsNothing) {
    device.Close();
    TakeTexts();
    auto& proxy = Make();
    EXPECT_FALSE(proxy.IsInitialized());
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -27);
    EXPECT_THAT(frames, IsEmpty());
    EXPECT_EQ(proxy.SampleLineLevel(), -27);
    EXPECT_EQ(proxy.GetLineLevel(), 0.0F);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

/// A way in which the creation of the DirectSound buffer fails.
struct CreationFailure {
    char const* name;
    Call_t call;
    std::uint32_t result;
};

class CaptureProxy_CreationFailure : public CaptureProxyTest,
                                     public testing::WithParamInterface<CreationFailure> {
protected:
    CaptureProxy_CreationFailure() {
        world.Faults().Fail(GetParam().call, 1, static_cast<HRESULT>(GetParam().result));
    }
};

TEST_P(CaptureProxy_CreationFailure, LeavesAProxyThatReadsNothingAndABufferThatIsNotRegistered) {
    auto& proxy = Make();
    EXPECT_FALSE(proxy.IsInitialized());
    EXPECT_NE(CaptureProxyPeer::GetBuffer(proxy), nullptr);
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -27);
    EXPECT_EQ(proxy.SampleLineLevel(), -27);
    EXPECT_EQ(proxy.GetLineLevel(), 0.0F);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    EXPECT_EQ(world.OpenHandles(), 1U);
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_P(CaptureProxy_CreationFailure, IsNotMadeGoodByAStartAlone) {
    auto& proxy = Make();
    TakeTexts();
    proxy.StartBufferCapture();
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
    EXPECT_FALSE(proxy.IsInitialized());
}

TEST_P(CaptureProxy_CreationFailure, IsMadeGoodByAStartAfterAStop) {
    auto& proxy = Make();
    proxy.StopBufferCapture();
    EXPECT_FALSE(proxy.IsInitialized());
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -30);
    EXPECT_EQ(proxy.SampleLineLevel(), 0);
    proxy.StartBufferCapture();
    EXPECT_TRUE(proxy.IsInitialized());
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(proxy.ReadFrames(frames), 0);
}

TEST_P(CaptureProxy_CreationFailure, OfALaterStartIsToldByIsInitialized) {
    world.Faults().Clear();
    auto& proxy = Make();
    proxy.StopBufferCapture();
    world.Faults().Fail(GetParam().call, 1, static_cast<HRESULT>(GetParam().result));
    proxy.StartBufferCapture();
    EXPECT_FALSE(proxy.IsInitialized());
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -27);
}

INSTANTIATE_TEST_SUITE_P(
    Calls, CaptureProxy_CreationFailure,
    testing::Values(CreationFailure{"Creation", Call_t::CaptureCreateCaptureBuffer, 0x80004005},
                    CreationFailure{"CreationOutOfMemory", Call_t::CaptureCreateCaptureBuffer, 0x8007000E},
                    CreationFailure{"CreationWithNullObject", Call_t::CaptureCreateCaptureBuffer, 0},
                    CreationFailure{"Query", Call_t::CaptureBufferQueryBuffer8, 0x80004002}),
    [](auto const& test) { return test.param.name; });

// --- StopBufferCapture

TEST_F(CaptureProxy_Stop, StopsUnregistersAndReleasesWithoutARecord) {
    auto& proxy = Make();
    TakeTexts();
    proxy.StopBufferCapture();
    EXPECT_THAT(TakeTexts(), ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(1)",
                                         "Win32::CloseHandle(2)", "CaptureBuffer::Release()"));
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
    // Destruction does the same.
    Make();
    TakeTexts();
    made.reset();
    EXPECT_THAT(TakeTexts(), ElementsAre("CaptureBuffer::Stop()", "Win32::SetEvent(1)",
                                         "Win32::CloseHandle(3)", "CaptureBuffer::Release()"));
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
}

TEST_F(CaptureProxy_Stop, LeavesEachReadItsOwnAnswer) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    auto& proxy = Make();
    world.Clock().AdvanceMilliSec(40);
    ASSERT_EQ(proxy.SampleLineLevel(), 0);
    ASSERT_GT(proxy.GetLineLevel(), 0.0F);
    proxy.StopBufferCapture();
    TakeTexts();
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -30);
    EXPECT_THAT(frames, IsEmpty());
    EXPECT_EQ(proxy.SampleLineLevel(), 0);
    EXPECT_EQ(proxy.GetLineLevel(), 0.0F);
    EXPECT_TRUE(proxy.IsInitialized());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(CaptureProxy_Stop, ASecondTimeDoesNothing) {
    auto& proxy = Make();
    proxy.StopBufferCapture();
    TakeTexts();
    proxy.StopBufferCapture();
    EXPECT_TRUE(proxy.IsInitialized());
    // Nor does destruction.
    made.reset();
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(CaptureProxy_Stop, AReadThatHasTheBufferAlreadyFindsItClosed) {
    auto& proxy = Make();
    auto const buffer = CaptureProxyPeer::GetBuffer(proxy);
    world.Clock().AdvanceMilliSec(20);
    proxy.StopBufferCapture();
    EXPECT_EQ(CaptureProxyPeer::GetBuffer(proxy), nullptr);
    Frames frames;
    EXPECT_EQ(buffer->ReadFrames(frames), -27);
    EXPECT_EQ(buffer->SampleLineLevel(), -27);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
}

// --- StartBufferCapture

TEST_F(CaptureProxy_Start, AfterAStopMakesAFreshBufferWithoutARecord) {
    auto& proxy = Make();
    world.Clock().AdvanceMilliSec(30);
    proxy.StopBufferCapture();
    TakeTexts();
    proxy.StartBufferCapture();
    // Event 2 was the first buffer's.
    EXPECT_THAT(TakeTexts(),
                ElementsAre(CreateBufferText, "CaptureBuffer::QueryInterface(IDirectSoundCaptureBuffer8)",
                            "CaptureBuffer::Release()", "Win32::CreateEventA(0, 0)", "Win32::SetEvent(1)",
                            "CaptureBuffer::Start(1)"));
    EXPECT_EQ(Microphone().Number(), 2U);
    EXPECT_TRUE(proxy.IsInitialized());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(CaptureProxy_Start, AfterAStopBeginsAgainWithNumbersTimesAndLevel) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    auto& proxy = Make();
    world.Clock().AdvanceMilliSec(60);
    Frames before;
    ASSERT_EQ(proxy.ReadFrames(before), 0);
    ASSERT_THAT(before, SizeIs(3));
    EXPECT_EQ(before.back()->GetIdent().sequenceNumber, 2U);
    ASSERT_GT(proxy.GetLineLevel(), 0.0F);
    proxy.StopBufferCapture();
    world.Clock().AdvanceMilliSec(1000);
    auto const restarted = Kovra::SysTime::Now();
    proxy.StartBufferCapture();
    EXPECT_EQ(proxy.GetLineLevel(), 0.0F);

    world.Clock().AdvanceMilliSec(40);
    Frames after;
    EXPECT_EQ(proxy.ReadFrames(after), 0);
    ASSERT_THAT(after, SizeIs(2));
    EXPECT_EQ(after[0]->GetIdent().sequenceNumber, 0U);
    EXPECT_EQ(after[1]->GetIdent().sequenceNumber, 1U);
    EXPECT_EQ(after[0]->GetTimestamp(), restarted);
    EXPECT_EQ(after[1]->GetTimestamp().NanoSec(), restarted.NanoSec() + 20'000'000);
}

TEST_F(CaptureProxy_Start, WhileCapturingOnlyRestartsAndSaysSo) {
    auto& proxy = Make();
    world.Clock().AdvanceMilliSec(20);
    Frames frames;
    ASSERT_EQ(proxy.ReadFrames(frames), 0);
    world.Clock().AdvanceMilliSec(15);
    TakeTexts();
    proxy.StartBufferCapture();
    EXPECT_THAT(TakeTexts(), ElementsAre("CaptureBuffer::Start(1)"));
    ASSERT_THAT(log.GetTexts(), ElementsAre("Starting buffer capture"));
    auto const record = log.GetRecords().front();
    EXPECT_EQ(record.channel, "Media.RendererAudioCaptureBuffer");
    EXPECT_EQ(record.level, Kovra::LogLevel_t::Debug);
    EXPECT_EQ(record.function, "Media::RendererAudioCaptureBuffer::StartCapture");
    EXPECT_EQ(record.file, "media/src/rendereraudio/rendereraudiocapturebuffer");

    // The position and the number go on, the time is that of the restart.
    auto const restarted = Kovra::SysTime::Now();
    world.Clock().AdvanceMilliSec(5);
    EXPECT_EQ(proxy.ReadFrames(frames), 0);
    ASSERT_THAT(frames, SizeIs(2));
    EXPECT_EQ(frames[1]->GetIdent().sequenceNumber, 1U);
    EXPECT_EQ(frames[1]->GetTimestamp(), restarted);
    EXPECT_EQ(SamplesOf(*frames[1]), PatternFrom(FrameSamples, FrameSamples));
    EXPECT_EQ(Microphone().Number(), 1U);
}

TEST_F(CaptureProxy_Start, WhileCapturingLeavesTheStatusWhateverTheRestartGives) {
    auto& proxy = Make();
    world.Faults().Fail(Call_t::CaptureBufferStart, 1, DSERR_GENERIC);
    proxy.StartBufferCapture();
    EXPECT_TRUE(proxy.IsInitialized());
    EXPECT_TRUE(Microphone().IsCapturing());
}

TEST_F(CaptureProxy_Start, AfterTheDeviceWasClosedFailsUntilItIsOpen) {
    auto& proxy = Make();
    proxy.StopBufferCapture();
    device.Close();
    TakeTexts();
    proxy.StartBufferCapture();
    EXPECT_FALSE(proxy.IsInitialized());
    EXPECT_THAT(TakeTexts(), IsEmpty());
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -27);

    ASSERT_EQ(device.Initialize(), 0);
    proxy.StopBufferCapture();
    proxy.StartBufferCapture();
    EXPECT_TRUE(proxy.IsInitialized());
}

// --- reads

TEST_F(CaptureProxy_Read, OfTheLevelMetersWithoutFrames) {
    world.CaptureDevice().SetGenerator(FullScaleSquare);
    auto& proxy = Make();
    EXPECT_EQ(proxy.SampleLineLevel(), -30);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(proxy.GetLineLevel(), 0.0F);
    EXPECT_EQ(proxy.SampleLineLevel(), 0);
    EXPECT_NEAR(proxy.GetLineLevel(), LevelOfOneBlock, LevelTolerance);
    Frames frames;
    EXPECT_EQ(proxy.ReadFrames(frames), -30);
}

TEST_F(CaptureProxy_Read, GivesTheStatusOfAFailingCursor) {
    auto& proxy = Make();
    world.Clock().AdvanceMilliSec(20);
    Frames frames;
    world.Faults().Fail(Call_t::CaptureBufferGetCurrentPosition, 1, DSERR_NODRIVER);
    EXPECT_EQ(proxy.ReadFrames(frames), -120);
    world.Faults().Fail(Call_t::CaptureBufferGetCurrentPosition, 1, E_OUTOFMEMORY);
    EXPECT_EQ(proxy.SampleLineLevel(), -202);
    EXPECT_TRUE(proxy.IsInitialized());
    EXPECT_EQ(proxy.ReadFrames(frames), 0);
}

TEST_F(CaptureProxy_Read, OfTwoProxiesOnOneDeviceAreApart) {
    auto& first = Make();
    RendererAudioCaptureProxy second(device);
    world.Clock().AdvanceMilliSec(20);
    Frames frames;
    EXPECT_EQ(first.ReadFrames(frames), 0);
    EXPECT_EQ(second.ReadFrames(frames), 0);
    ASSERT_THAT(frames, SizeIs(2));
    EXPECT_EQ(SamplesOf(*frames[0]), SamplesOf(*frames[1]));
    EXPECT_THAT(BuffersOf(device), SizeIs(3));
}

} // namespace
} // namespace UnitTest
