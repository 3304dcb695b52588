#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <vector>

#include "sides.h"

// The functions that enumerate and open devices, and what the objects of both kinds have in common.

namespace Simulation {
namespace {

using Capture_GetCaps = MicrophoneTest;

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Notes "guid" or "-", the description and the module.
BOOL CALLBACK Collect(GUID* guid, char const* description, char const* module, void* context) {
    static_cast<std::vector<std::string>*>(context)->push_back(
        std::string(guid != nullptr ? "guid, " : "-, ") + (description != nullptr ? description : "null") +
        ", " + module);
    return TRUE;
}

BOOL CALLBACK CollectOne(GUID* guid, char const* description, char const* module, void* context) {
    Collect(guid, description, module, context);
    return FALSE;
}

template <class Side>
class DeviceObject : public testing::Test {
protected:
    /// The default device, ready to make buffers.
    typename Side::Device* Open() {
        typename Side::Device* device = nullptr;
        Side::Create(nullptr, &device, nullptr);
        Side::MakeReady(device);
        return device;
    }

    TestWorld world;
    EndpointSettings& settings = Side::Settings(world);
    std::vector<std::string> reported;
};

TYPED_TEST_SUITE(DeviceObject, Sides, );

TEST(DirectSound_Enumerate, ReportsThePrimaryDriverWithoutGuidAndOneDevice) {
    TestWorld const world;
    std::vector<std::string> reported;
    EXPECT_EQ(DirectSoundEnumerateA(Collect, &reported), DS_OK);
    EXPECT_THAT(reported,
                ElementsAre("-, Primary Sound Driver, ", "guid, Simulated Speakers, simulated.drv"));
    reported.clear();
    EXPECT_EQ(DirectSoundCaptureEnumerateA(Collect, &reported), DS_OK);
    EXPECT_THAT(reported, ElementsAre("-, Primary Sound Capture Driver, ",
                                      "guid, Simulated Microphone, simulated.drv"));
}

TEST(DirectSound_Enumerate, ReportsWhatATestSaysOfEachKindAlone) {
    TestWorld world;
    world.CaptureDevice().SetDevices({});
    std::vector<std::string> reported;
    EXPECT_EQ(DirectSoundCaptureEnumerateA(Collect, &reported), DS_OK);
    EXPECT_THAT(reported, IsEmpty());
    EXPECT_EQ(DirectSoundEnumerateA(Collect, &reported), DS_OK);
    EXPECT_THAT(reported, SizeIs(2));
}

TYPED_TEST(DeviceObject, EnumerationReportsWhatATestSays) {
    this->settings.SetDevices({{std::nullopt, "A", "m"}, {GUID{}, std::nullopt, ""}, {GUID{}, "A", ""}});
    this->settings.SetEnumerateResult(E_FAIL);
    EXPECT_EQ(TypeParam::Enumerate(Collect, &this->reported), E_FAIL);
    EXPECT_THAT(this->reported, ElementsAre("-, A, m", "guid, null, ", "guid, A, "));
}

TYPED_TEST(DeviceObject, EnumerationEndsWhenTheCallbackSaysSo) {
    EXPECT_EQ(TypeParam::Enumerate(CollectOne, &this->reported), DS_OK);
    EXPECT_THAT(this->reported, SizeIs(1));
    EXPECT_EQ(TypeParam::Enumerate(nullptr, nullptr), DSERR_INVALIDPARAM);
}

TYPED_TEST(DeviceObject, OpensTheDefaultAlsoWhenNothingIsEnumerated) {
    this->settings.SetDevices({});
    this->Open()->Release();
    EXPECT_EQ(TypeParam::Count(this->world), 1U);
}

TYPED_TEST(DeviceObject, OpensTheDefaultAndKnownDevices) {
    typename TypeParam::Device* device = nullptr;
    GUID unknown{};
    EXPECT_EQ(TypeParam::Create(&unknown, &device, nullptr), DSERR_NODRIVER);
    EXPECT_EQ(TypeParam::Create(&TypeParam::OtherDefaultDevice(), &device, nullptr), DSERR_NODRIVER);
    EXPECT_EQ(device, nullptr);
    EXPECT_EQ(TypeParam::Create(nullptr, nullptr, nullptr), DSERR_INVALIDPARAM);
    this->settings.SetDevices({{unknown, "A", ""}});
    EXPECT_EQ(TypeParam::Create(&unknown, &device, nullptr), DS_OK);
    EXPECT_EQ(device->Release(), 0U);
    EXPECT_EQ(TypeParam::Create(&TypeParam::DefaultDevice(), &device, nullptr), DS_OK);
    typename TypeParam::Device* other = nullptr;
    EXPECT_EQ(TypeParam::Create(nullptr, &other, device), DSERR_NOAGGREGATION);
    EXPECT_EQ(device->AddRef(), 2U);
    EXPECT_EQ(TypeParam::References(this->world), 2U);
    EXPECT_EQ(device->Release(), 1U);
    EXPECT_EQ(TypeParam::Live(this->world), 1U);
    EXPECT_EQ(device->Release(), 0U);
    EXPECT_EQ(TypeParam::Count(this->world), 2U);
    EXPECT_EQ(TypeParam::Live(this->world), 0U);
}

TYPED_TEST(DeviceObject, ReportsAtItsEndBuffersThatAreStillHeld) {
    typename TypeParam::Device* const device = this->Open();
    typename TypeParam::Buffer* buffer = nullptr;
    ASSERT_EQ(TypeParam::CreateBuffer(device, MakeFormat(), &buffer), DS_OK);
    this->world.AllowMisuse();
    device->AddRef();
    device->Release();
    EXPECT_THAT(this->world.TakeMisuse(), IsEmpty());
    device->Release();
    EXPECT_THAT(this->world.TakeMisuse(),
                ElementsAre(std::string(TypeParam::Name()) + " 1 released before its " +
                            TypeParam::BufferName() + " 1"));
    buffer->Release();
}

TYPED_TEST(DeviceObject, ReportsUseAfterTheLastRelease) {
    typename TypeParam::Device* const device = this->Open();
    device->Release();
    this->world.AllowMisuse();
    EXPECT_EQ(device->Initialize(nullptr), E_FAIL);
    EXPECT_EQ(device->AddRef(), 0U);
    EXPECT_EQ(device->Release(), 0U);
    std::string const end = std::string(" on ") + TypeParam::Name() + " 1 after its last release";
    EXPECT_THAT(this->world.TakeMisuse(),
                ElementsAre(testing::HasSubstr("::Initialize" + end), testing::HasSubstr("::AddRef" + end),
                            testing::HasSubstr("::Release" + end)));
    EXPECT_EQ(TypeParam::References(this->world), 0U);
}

TYPED_TEST(DeviceObject, KnowsItsOwnInterfacesAlone) {
    typename TypeParam::Device* const device = this->Open();
    void* object = nullptr;
    for (GUID const& riid : {IID_IUnknown, TypeParam::DeviceIid()}) {
        EXPECT_EQ(device->QueryInterface(riid, &object), S_OK);
        EXPECT_EQ(object, device);
        EXPECT_EQ(device->Release(), 1U);
    }
    EXPECT_EQ(device->QueryInterface(IID_IDirectSoundBuffer8, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    EXPECT_EQ(device->QueryInterface(IID_IUnknown, nullptr), E_POINTER);
    EXPECT_EQ(device->Initialize(nullptr), DSERR_ALREADYINITIALIZED);
    device->Release();
}

TYPED_TEST(DeviceObject, ReportsAWrongDescription) {
    typename TypeParam::Device* const device = this->Open();
    WAVEFORMATEX format = MakeFormat();
    format.cbSize = 0xCDCD;
    this->world.AllowMisuse();
    auto* buffer = reinterpret_cast<typename TypeParam::Buffer*>(&this->world);
    EXPECT_EQ(TypeParam::CreateBuffer(device, format, &buffer), DSERR_INVALIDPARAM);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_THAT(this->world.TakeMisuse(), ElementsAre(testing::EndsWith(": cbSize is not zero")));
    EXPECT_EQ(TypeParam::CreateBuffer(device, format, nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(TypeParam::CreateBuffer(device, format, &buffer, device), DSERR_NOAGGREGATION);
    EXPECT_THAT(this->world.TakeMisuse(), IsEmpty());
    device->Release();
}

TEST(DirectSound_SetCooperativeLevel, IsNeededBeforeABufferIsMade) {
    TestWorld const world;
    IDirectSound8* sound = nullptr;
    DirectSoundCreate8(nullptr, &sound, nullptr);
    WAVEFORMATEX format = MakeFormat();
    DSBUFFERDESC const description = MakeDescription(format);
    IDirectSoundBuffer* buffer = nullptr;
    EXPECT_EQ(sound->CreateSoundBuffer(&description, &buffer, nullptr), DSERR_PRIOLEVELNEEDED);
    EXPECT_EQ(buffer, nullptr);
    EXPECT_EQ(sound->SetCooperativeLevel(nullptr, DSSCL_PRIORITY), DSERR_INVALIDPARAM);
    EXPECT_EQ(sound->SetCooperativeLevel(GetDesktopWindow(), 0), DSERR_INVALIDPARAM);
    EXPECT_EQ(sound->SetCooperativeLevel(GetDesktopWindow(), 5), DSERR_INVALIDPARAM);
    EXPECT_EQ(sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY), DS_OK);
    EXPECT_EQ(world.CooperativeLevel(), static_cast<DWORD>(DSSCL_PRIORITY));
    EXPECT_EQ(world.CooperativeWindow(), World::DesktopWindow());
    EXPECT_EQ(sound->CreateSoundBuffer(&description, &buffer, nullptr), DS_OK);
    EXPECT_EQ(buffer->Release(), 0U);
    sound->Release();
}

TEST(DirectSound_CreateSoundBuffer, ReportsAWrongDescription) {
    TestWorld world;
    Sound const sound;
    WAVEFORMATEX format = MakeFormat();
    DSBUFFERDESC description = MakeDescription(format);
    description.dwSize = 39;
    world.AllowMisuse();
    IDirectSoundBuffer* buffer = nullptr;
    EXPECT_EQ(sound->CreateSoundBuffer(&description, &buffer, nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(world.TakeMisuse().size(), 1U);
}

TEST(DirectSound_Unused, OperationsAnswerSensibly) {
    TestWorld const world;
    Sound const sound;
    DSCAPS caps{};
    EXPECT_EQ(sound->GetCaps(&caps), DSERR_INVALIDPARAM);
    caps.dwSize = sizeof caps;
    EXPECT_EQ(sound->GetCaps(&caps), DS_OK);
    EXPECT_EQ(sound->Compact(), DS_OK);
    DWORD value = 0;
    EXPECT_EQ(sound->SetSpeakerConfig(DSSPEAKER_QUAD), DS_OK);
    EXPECT_EQ(sound->GetSpeakerConfig(&value), DS_OK);
    EXPECT_EQ(value, static_cast<DWORD>(DSSPEAKER_QUAD));
    EXPECT_EQ(sound->VerifyCertification(&value), DS_OK);
    IDirectSoundBuffer* duplicate = nullptr;
    EXPECT_EQ(sound->DuplicateSoundBuffer(nullptr, &duplicate), DSERR_UNSUPPORTED);
}

TEST_F(Capture_GetCaps, WantsTheStructuresSize) {
    DSCCAPS caps{};
    caps.dwSize = sizeof caps - 1;
    EXPECT_EQ(microphone.capture->GetCaps(&caps), DSERR_INVALIDPARAM);
    caps.dwSize = 16;
    EXPECT_EQ(microphone.capture->GetCaps(&caps), DS_OK);
    EXPECT_EQ(caps.dwChannels, 2U);
    EXPECT_NE(caps.dwFormats & WAVE_FORMAT_48M16, 0U);
    EXPECT_EQ(microphone.capture->GetCaps(nullptr), DSERR_INVALIDPARAM);
}

} // namespace
} // namespace Simulation
