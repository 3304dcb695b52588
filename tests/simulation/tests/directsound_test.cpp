#include <gmock/gmock.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

struct Reported {
    bool hasGuid;
    std::optional<std::string> description;
    std::string module;
};

BOOL CALLBACK Collect(GUID* guid, char const* description, char const* module, void* context) {
    static_cast<std::vector<Reported>*>(context)->push_back(
        {guid != nullptr, description != nullptr ? std::optional<std::string>(description) : std::nullopt,
         module});
    return TRUE;
}

BOOL CALLBACK CollectOne(GUID* guid, char const* description, char const* module, void* context) {
    Collect(guid, description, module, context);
    return FALSE;
}

TEST(DirectSound_Enumerate, ReportsThePrimaryDriverWithoutGuidAndOneDevice) {
    TestWorld const world;
    std::vector<Reported> reported;
    EXPECT_EQ(DirectSoundEnumerateA(Collect, &reported), DS_OK);
    ASSERT_EQ(reported.size(), 2u);
    EXPECT_FALSE(reported[0].hasGuid);
    EXPECT_EQ(reported[0].description, "Primary Sound Driver");
    EXPECT_TRUE(reported[1].hasGuid);
}

TEST(DirectSound_Enumerate, ReportsWhatATestSays) {
    TestWorld world;
    world.Device().SetDevices({{std::nullopt, "A", "m"}, {GUID{}, std::nullopt, ""}, {GUID{}, "A", ""}});
    world.Device().SetEnumerateResult(E_FAIL);
    std::vector<Reported> reported;
    EXPECT_EQ(DirectSoundEnumerateA(Collect, &reported), E_FAIL);
    ASSERT_EQ(reported.size(), 3u);
    EXPECT_EQ(reported[0].module, "m");
    EXPECT_EQ(reported[1].description, std::nullopt);
    EXPECT_EQ(reported[2].description, "A");
}

TEST(DirectSound_Enumerate, EndsWhenTheCallbackSaysSo) {
    TestWorld const world;
    std::vector<Reported> reported;
    EXPECT_EQ(DirectSoundEnumerateA(CollectOne, &reported), DS_OK);
    EXPECT_EQ(reported.size(), 1u);
    EXPECT_EQ(DirectSoundEnumerateA(nullptr, nullptr), DSERR_INVALIDPARAM);
}

TEST(DirectSound_Create8, OpensTheDefaultAndKnownDevices) {
    TestWorld world;
    IDirectSound8* sound = nullptr;
    GUID unknown{};
    EXPECT_EQ(DirectSoundCreate8(&unknown, &sound, nullptr), DSERR_NODRIVER);
    EXPECT_EQ(sound, nullptr);
    EXPECT_EQ(DirectSoundCreate8(nullptr, nullptr, nullptr), DSERR_INVALIDPARAM);
    world.Device().SetDevices({{unknown, "A", ""}});
    EXPECT_EQ(DirectSoundCreate8(&unknown, &sound, nullptr), DS_OK);
    EXPECT_EQ(sound->Release(), 0u);
    EXPECT_EQ(DirectSoundCreate8(nullptr, &sound, nullptr), DS_OK);
    IDirectSound8* other = nullptr;
    EXPECT_EQ(DirectSoundCreate8(nullptr, &other, sound), DSERR_NOAGGREGATION);
    EXPECT_EQ(sound->AddRef(), 2u);
    EXPECT_EQ(world.SoundReferences(), 2u);
    EXPECT_EQ(sound->Release(), 1u);
    EXPECT_EQ(sound->Release(), 0u);
    EXPECT_EQ(world.SoundCount(), 2u);
    EXPECT_EQ(world.LiveSounds(), 0u);
}

TEST(DirectSound_Release, ReportsBuffersThatAreStillHeld) {
    TestWorld world;
    IDirectSound8* sound = nullptr;
    DirectSoundCreate8(nullptr, &sound, nullptr);
    sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY);
    WAVEFORMATEX format = MakeFormat();
    DSBUFFERDESC const description = MakeDescription(format);
    IDirectSoundBuffer* buffer = nullptr;
    ASSERT_EQ(sound->CreateSoundBuffer(&description, &buffer, nullptr), DS_OK);
    world.AllowMisuse();
    sound->AddRef();
    sound->Release();
    EXPECT_THAT(world.TakeMisuse(), testing::IsEmpty());
    sound->Release();
    EXPECT_THAT(world.TakeMisuse(),
                testing::ElementsAre("DirectSound object 1 released before its sound buffer 1"));
    buffer->Release();
}

TEST(DirectSound_Release, ReportsUseAfterTheLast) {
    TestWorld world;
    IDirectSound8* sound = nullptr;
    DirectSoundCreate8(nullptr, &sound, nullptr);
    sound->Release();
    world.AllowMisuse();
    EXPECT_EQ(sound->Compact(), E_FAIL);
    EXPECT_EQ(sound->AddRef(), 0u);
    EXPECT_EQ(sound->Release(), 0u);
    EXPECT_EQ(world.TakeMisuse().size(), 3u);
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
    EXPECT_EQ(buffer->Release(), 0u);
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
    EXPECT_EQ(world.TakeMisuse().size(), 1u);
    EXPECT_EQ(sound->CreateSoundBuffer(&description, nullptr, nullptr), DSERR_INVALIDPARAM);
}

TEST(DirectSound_Unused, OperationsAnswerSensibly) {
    TestWorld const world;
    Sound const sound;
    void* object = nullptr;
    EXPECT_EQ(sound->QueryInterface(IID_IDirectSound8, &object), S_OK);
    EXPECT_EQ(sound->Release(), 1u);
    EXPECT_EQ(sound->QueryInterface(IID_IDirectSoundBuffer8, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
    DSCAPS caps{};
    EXPECT_EQ(sound->GetCaps(&caps), DSERR_INVALIDPARAM);
    caps.dwSize = sizeof caps;
    EXPECT_EQ(sound->GetCaps(&caps), DS_OK);
    EXPECT_EQ(sound->Compact(), DS_OK);
    DWORD value = 0;
    EXPECT_EQ(sound->SetSpeakerConfig(DSSPEAKER_QUAD), DS_OK);
    EXPECT_EQ(sound->GetSpeakerConfig(&value), DS_OK);
    EXPECT_EQ(value, static_cast<DWORD>(DSSPEAKER_QUAD));
    EXPECT_EQ(sound->Initialize(nullptr), DSERR_ALREADYINITIALIZED);
    EXPECT_EQ(sound->VerifyCertification(&value), DS_OK);
    IDirectSoundBuffer* duplicate = nullptr;
    EXPECT_EQ(sound->DuplicateSoundBuffer(nullptr, &duplicate), DSERR_UNSUPPORTED);
}

} // namespace
} // namespace Simulation
