// What the capture device does beside directsound/device_test.cpp.

#include "rendereraudiocapturedevice.h"

#include <memory>
#include <string>
#include <vector>

#include "support/module/captureview.h"
#include "support/module/logcapture.h"
#include "support/module/unittest.h"

namespace UnitTest {
namespace {

class CaptureDeviceTest : public testing::Test {
protected:
    CaptureDeviceTest() { world.Journal().Enable(); }

    /// Every call since the last time.
    std::vector<std::string> TakeTexts() {
        auto texts = FullTexts(world.Journal().Records());
        world.Journal().Clear();
        return texts;
    }

    /// Every way of asking is refused without a call and without a thread that holds the callback.
    void ExpectLineLevelRefused() {
        LogCapture const log;
        TakeTexts();
        Meter meter;
        EXPECT_FALSE(device->StartLineLevel(meter.MakeCallback()));
        EXPECT_THAT(TakeTexts(), IsEmpty());
        EXPECT_EQ(meter.GetHeld(), 0U);
        // A thread would have had something to say: there is no renderer.
        EXPECT_THAT(log.GetTexts(), IsEmpty());
    }

    Simulation::TestWorld world;
    std::unique_ptr<RendererAudioCaptureDevice> device = std::make_unique<RendererAudioCaptureDevice>();
};

class CaptureDevice_Open : public CaptureDeviceTest {};
class CaptureDevice_Close : public CaptureDeviceTest {};
class CaptureDevice_StartLineLevel : public CaptureDeviceTest {};

// --- Open, which does not enumerate

TEST_F(CaptureDevice_Open, ReadsTheCapabilitiesAndStartsNoThread) {
    // Nothing but the fields shows them: they are there for debuggers.
    auto const& fields = CaptureDevicePeer::GetFields(*device);
    EXPECT_EQ(fields.caps.dwSize, 16U);
    EXPECT_EQ(device->Initialize(), 0);
    // Mono or stereo, says the simulated device.
    EXPECT_EQ(fields.caps.dwChannels, 2U);
    EXPECT_FALSE(HasCaptureThread(*device));
}

TEST_F(CaptureDevice_Open, CreatesWithoutEnumeratingAndLeavesThatToInitialize) {
    TakeTexts();
    EXPECT_EQ(device->Open(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(CreateText, GetCapsText));
    EXPECT_TRUE(HasCapture(*device));
    // No input is known.
    EXPECT_FALSE(device->IsOpen());
    EXPECT_EQ(device->Open(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(device->Initialize(), 0);
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText));
    EXPECT_TRUE(device->IsOpen());
}

TEST_F(CaptureDevice_Open, WithKnownDevicesCountsAsOpen) {
    ASSERT_EQ(device->Initialize(), 0);
    device->Close();
    EXPECT_EQ(device->Open(), 0);
    EXPECT_TRUE(device->IsOpen());
}

TEST_F(CaptureDevice_Open, GivesTheStatusOfAFailedCreationAndIsTriedAgain) {
    world.Faults().Fail(Call_t::CaptureCreate8, 1, DSERR_ALLOCATED);
    EXPECT_EQ(device->Open(), -200);
    EXPECT_FALSE(HasCapture(*device));
    EXPECT_EQ(device->Open(), 0);
    EXPECT_TRUE(HasCapture(*device));
}

// --- Close and destruction

TEST_F(CaptureDevice_Close, LeavesTheWakeEventSignalledForNobody) {
    HANDLE const wake = EventsOf(*device).front();
    device->Close();
    EXPECT_FALSE(world.IsSignalled(wake));
    ASSERT_EQ(device->Initialize(), 0);
    device->Close();
    EXPECT_TRUE(world.IsSignalled(wake));
}

TEST_F(CaptureDevice_Close, KeepsTheBuffersWhichGoOnByThemselves) {
    ASSERT_EQ(device->Initialize(), 0);
    RendererAudioCaptureBuffer buffer(device->GetWeakFields());
    ASSERT_EQ(buffer.Create(), 0);
    device->Close();
    EXPECT_THAT(BuffersOf(*device), ElementsAre(nullptr, &buffer));
    EXPECT_EQ(world.OpenHandles(), 2U);
    EXPECT_TRUE(buffer.IsInitialized());
    EXPECT_TRUE(world.OnlyCaptureBuffer().IsCapturing());
}

TEST_F(CaptureDevice_Close, ByDestructionBeforeABufferLeavesTheBufferUsableAndClosesEveryEvent) {
    ASSERT_EQ(device->Initialize(), 0);
    RendererAudioCaptureBuffer buffer(device->GetWeakFields());
    ASSERT_EQ(buffer.Create(), 0);
    device.reset();
    EXPECT_TRUE(buffer.IsInitialized());
    EXPECT_EQ(buffer.SampleLineLevel(), -30);
    buffer.Close();
    EXPECT_FALSE(buffer.IsInitialized());
    EXPECT_EQ(buffer.Create(), -27);
    EXPECT_EQ(world.OpenHandles(), 0U);
}

// --- StartLineLevel: what it refuses

TEST_F(CaptureDevice_StartLineLevel, IsRefusedByAClosedDevice) {
    ExpectLineLevelRefused();
    ASSERT_EQ(device->Initialize(), 0);
    device->Close();
    ExpectLineLevelRefused();
}

TEST_F(CaptureDevice_StartLineLevel, IsRefusedWithoutKnownDevices) {
    ASSERT_EQ(device->Open(), 0);
    ExpectLineLevelRefused();
}

TEST_F(CaptureDevice_StartLineLevel, IsRefusedWithAnEmptyCallback) {
    LogCapture const log;
    ASSERT_EQ(device->Initialize(), 0);
    TakeTexts();
    EXPECT_FALSE(device->StartLineLevel(nullptr));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

} // namespace
} // namespace UnitTest
