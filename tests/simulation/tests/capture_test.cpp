#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "helpers.h"
#include "simulation/testworld.h"

// The functions of capture and the capture object.

namespace Simulation {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// Notes "guid" or "-", and the description.
BOOL CALLBACK Collect(GUID* guid, char const* description, char const*, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(
        std::string(guid != nullptr ? "guid " : "- ") + (description != nullptr ? description : "null"));
    return TRUE;
}

TEST(Capture_Enumerate, ReportsThePrimaryDriverWithoutGuidAndOneMicrophone) {
    TestWorld const world;
    std::vector<std::string> reported;
    EXPECT_EQ(DirectSoundCaptureEnumerateA(Collect, &reported), DS_OK);
    EXPECT_THAT(reported, ElementsAre("- Primary Sound Capture Driver", "guid Simulated Microphone"));
}

TEST(Capture_Enumerate, ReportsWhatATestSaysAndLeavesPlaybackAlone) {
    TestWorld world;
    world.CaptureDevice().SetDevices({{GUID{}, std::nullopt, ""}, {GUID{}, "A", ""}, {GUID{}, "A", ""}});
    world.CaptureDevice().SetEnumerateResult(E_FAIL);
    std::vector<std::string> reported;
    EXPECT_EQ(DirectSoundCaptureEnumerateA(Collect, &reported), E_FAIL);
    EXPECT_THAT(reported, ElementsAre("guid null", "guid A", "guid A"));
    reported.clear();
    EXPECT_EQ(DirectSoundEnumerateA(Collect, &reported), DS_OK);
    EXPECT_EQ(reported.size(), 2u);
}

TEST(Capture_Enumerate, MayFindNothingAndStillTheDefaultOpens) {
    TestWorld world;
    world.CaptureDevice().SetDevices({});
    std::vector<std::string> reported;
    EXPECT_EQ(DirectSoundCaptureEnumerateA(Collect, &reported), DS_OK);
    EXPECT_THAT(reported, ElementsAre());
    Microphone const microphone;
    EXPECT_EQ(world.LiveCaptures(), 1u);
}

TEST(Capture_Create8, OpensTheDefaultAndKnownDevices) {
    TestWorld world;
    IDirectSoundCapture* capture = nullptr;
    GUID unknown{};
    EXPECT_EQ(DirectSoundCaptureCreate8(&unknown, &capture, nullptr), DSERR_NODRIVER);
    EXPECT_EQ(DirectSoundCaptureCreate8(&DSDEVID_DefaultPlayback, &capture, nullptr), DSERR_NODRIVER);
    EXPECT_EQ(capture, nullptr);
    EXPECT_EQ(DirectSoundCaptureCreate8(nullptr, nullptr, nullptr), DSERR_INVALIDPARAM);
    world.CaptureDevice().SetDevices({{unknown, "A", ""}});
    EXPECT_EQ(DirectSoundCaptureCreate8(&unknown, &capture, nullptr), DS_OK);
    EXPECT_EQ(capture->Release(), 0u);
    EXPECT_EQ(DirectSoundCaptureCreate8(&DSDEVID_DefaultCapture, &capture, nullptr), DS_OK);
    IDirectSoundCapture* other = nullptr;
    EXPECT_EQ(DirectSoundCaptureCreate8(nullptr, &other, capture), DSERR_NOAGGREGATION);
    EXPECT_EQ(capture->AddRef(), 2u);
    EXPECT_EQ(world.CaptureReferences(), 2u);
    EXPECT_EQ(capture->Release(), 1u);
    EXPECT_EQ(world.LiveCaptures(), 1u);
    EXPECT_EQ(capture->Release(), 0u);
    EXPECT_EQ(world.CaptureCount(), 2u);
    EXPECT_EQ(world.LiveCaptures(), 0u);
}

TEST(Capture_Release, ReportsUseAfterTheLast) {
    TestWorld world;
    IDirectSoundCapture* capture = nullptr;
    DirectSoundCaptureCreate8(nullptr, &capture, nullptr);
    capture->Release();
    world.AllowMisuse();
    DSCCAPS caps{};
    caps.dwSize = sizeof caps;
    EXPECT_EQ(capture->GetCaps(&caps), E_FAIL);
    EXPECT_EQ(capture->AddRef(), 0u);
    EXPECT_EQ(capture->Release(), 0u);
    EXPECT_THAT(world.TakeMisuse(),
                ElementsAre("Capture::GetCaps on capture object 1 after its last release",
                            "Capture::AddRef on capture object 1 after its last release",
                            "Capture::Release on capture object 1 after its last release"));
    EXPECT_EQ(world.CaptureReferences(), 0u);
}

TEST(Capture_Release, ReportsBuffersThatAreStillHeld) {
    TestWorld world;
    IDirectSoundCapture* capture = nullptr;
    DirectSoundCaptureCreate8(nullptr, &capture, nullptr);
    WAVEFORMATEX format = MakeFormat();
    DSCBUFFERDESC const description = MakeCaptureDescription(format);
    IDirectSoundCaptureBuffer* buffer = nullptr;
    ASSERT_EQ(capture->CreateCaptureBuffer(&description, &buffer, nullptr), DS_OK);
    world.AllowMisuse();
    capture->AddRef();
    capture->Release();
    EXPECT_THAT(world.TakeMisuse(), IsEmpty());
    capture->Release();
    EXPECT_THAT(world.TakeMisuse(), ElementsAre("capture object 1 released before its capture buffer 1"));
    buffer->Release();
}

TEST(Capture_QueryInterface, KnowsItsOwnInterfacesAlone) {
    TestWorld const world;
    Microphone const microphone;
    void* object = nullptr;
    EXPECT_EQ(microphone.capture->QueryInterface(IID_IUnknown, &object), S_OK);
    EXPECT_EQ(microphone.capture->QueryInterface(IID_IDirectSoundCapture, &object), S_OK);
    EXPECT_EQ(object, microphone.capture);
    EXPECT_EQ(microphone.capture->Release(), 2u);
    EXPECT_EQ(microphone.capture->Release(), 1u);
    EXPECT_EQ(microphone.capture->QueryInterface(IID_IDirectSound8, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(microphone.capture->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
}

TEST(Capture_GetCaps, WantsTheStructuresSize) {
    TestWorld const world;
    Microphone const microphone;
    DSCCAPS caps{};
    caps.dwSize = sizeof caps - 1;
    EXPECT_EQ(microphone.capture->GetCaps(&caps), DSERR_INVALIDPARAM);
    caps.dwSize = 16;
    EXPECT_EQ(microphone.capture->GetCaps(&caps), DS_OK);
    EXPECT_EQ(caps.dwChannels, 2u);
    EXPECT_NE(caps.dwFormats & WAVE_FORMAT_48M16, 0u);
    EXPECT_EQ(microphone.capture->GetCaps(nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(microphone.capture->Initialize(nullptr), DSERR_ALREADYINITIALIZED);
}

TEST(Capture_CreateCaptureBuffer, ReportsAWrongDescription) {
    TestWorld world;
    Microphone const microphone;
    WAVEFORMATEX format = MakeFormat();
    format.cbSize = 0xCDCD;
    DSCBUFFERDESC const description = MakeCaptureDescription(format);
    world.AllowMisuse();
    auto* buffer = reinterpret_cast<IDirectSoundCaptureBuffer*>(&world);
    EXPECT_EQ(microphone.capture->CreateCaptureBuffer(&description, &buffer, nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_THAT(world.TakeMisuse(), ElementsAre("CreateCaptureBuffer: cbSize is not zero"));
    EXPECT_EQ(microphone.capture->CreateCaptureBuffer(&description, nullptr, nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(microphone.capture->CreateCaptureBuffer(&description, &buffer, microphone.capture),
              DSERR_NOAGGREGATION);
}

TEST(DirectSound_CreateSoundBuffer, ReportsAFormatThatWasNotCleared) {
    TestWorld world;
    Sound const sound;
    WAVEFORMATEX format = MakeFormat();
    format.cbSize = 0xCDCD;
    DSBUFFERDESC const description = MakeDescription(format);
    world.AllowMisuse();
    IDirectSoundBuffer* buffer = nullptr;
    EXPECT_EQ(sound->CreateSoundBuffer(&description, &buffer, nullptr), DSERR_INVALIDPARAM);
    EXPECT_THAT(world.TakeMisuse(), ElementsAre(HasSubstr("cbSize is not zero")));
}

} // namespace
} // namespace Simulation
