#include "simulation/faultplan.h"

#include <gtest/gtest.h>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

TEST(FaultPlan_Fail, FailsTheNthCallFromNowAlone) {
    TestWorld world;
    Playable playable;
    playable->SetVolume(-1);
    world.Faults().Fail(Call_t::BufferSetVolume, 2, DSERR_GENERIC);
    EXPECT_EQ(playable->SetVolume(-2), DS_OK);
    EXPECT_EQ(playable->SetVolume(-3), DSERR_GENERIC);
    EXPECT_EQ(world.OnlyBuffer().Volume(), -2);
    EXPECT_EQ(playable->SetVolume(-4), DS_OK);
}

TEST(FaultPlan_FailAlways, HoldsUntilCleared) {
    TestWorld world;
    Playable playable;
    world.Faults().FailAlways(Call_t::BufferStop, DSERR_GENERIC);
    world.Faults().Fail(Call_t::BufferStop, 2, DSERR_INVALIDCALL);
    EXPECT_EQ(playable->Stop(), DSERR_GENERIC);
    EXPECT_EQ(playable->Stop(), DSERR_INVALIDCALL);
    EXPECT_EQ(playable->Stop(), DSERR_GENERIC);
    world.Faults().Clear(Call_t::BufferStop);
    EXPECT_EQ(playable->Stop(), DS_OK);
    world.Faults().FailAlways(Call_t::BufferStop, DSERR_GENERIC);
    world.Faults().Clear();
    EXPECT_EQ(playable->Stop(), DS_OK);
}

TEST(FaultPlan_Fail, LeavesOutPointersNull) {
    TestWorld world;
    world.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_ALLOCATED);
    auto* sound = reinterpret_cast<IDirectSound8*>(&world);
    EXPECT_EQ(DirectSoundCreate8(nullptr, &sound, nullptr), DSERR_ALLOCATED);
    EXPECT_EQ(sound, nullptr);

    Playable playable;
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    void* address = &world;
    DWORD bytes = 1;
    EXPECT_EQ(playable->Lock(0, 4, &address, &bytes, nullptr, nullptr, 0), DSERR_BUFFERLOST);
    EXPECT_EQ(address, nullptr);
    EXPECT_EQ(bytes, 0u);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0u);
}

TEST(FaultPlan_Fail, WithASuccessGivesANullObject) {
    TestWorld world;
    world.Faults().Fail(Call_t::SoundCreate8, 1, DS_OK);
    auto* sound = reinterpret_cast<IDirectSound8*>(&world);
    EXPECT_EQ(DirectSoundCreate8(nullptr, &sound, nullptr), DS_OK);
    EXPECT_EQ(sound, nullptr);
    EXPECT_EQ(world.SoundCount(), 0u);
}

TEST(FaultPlan_Fail, TellsTheInterfacesAskedForApart) {
    TestWorld world;
    Playable playable;
    world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
    void* object = nullptr;
    EXPECT_EQ(playable->QueryInterface(IID_IDirectSoundBuffer8, &object), S_OK);
    playable->Release();
    EXPECT_EQ(playable->QueryInterface(IID_IDirectSoundNotify, &object), E_NOINTERFACE);
    EXPECT_EQ(object, nullptr);
}

TEST(FaultPlan_Fail, CoversEnumerationAndWin32) {
    TestWorld world;
    world.Faults().Fail(Call_t::SoundEnumerate, 1, DSERR_GENERIC);
    EXPECT_EQ(DirectSoundEnumerateA(nullptr, nullptr), DSERR_GENERIC);
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(CreateEventA(nullptr, FALSE, FALSE, nullptr), nullptr);
    TestEvent const event;
    world.Faults().Fail(Call_t::Win32SetEvent, 1, 0);
    EXPECT_FALSE(SetEvent(event.handle));
    EXPECT_FALSE(world.IsSignalled(event.handle));
    EXPECT_TRUE(SetEvent(event.handle));
    EXPECT_TRUE(world.IsSignalled(event.handle));
    world.Faults().Fail(Call_t::Win32CloseHandle, 1, 0);
    EXPECT_FALSE(CloseHandle(event.handle));
    world.Faults().Fail(Call_t::Win32DesktopWindow, 1, 0);
    EXPECT_EQ(GetDesktopWindow(), nullptr);
    EXPECT_EQ(GetDesktopWindow(), World::DesktopWindow());
}

TEST(FaultPlanDeathTest, RefusesWhatCannotFail) {
    TestWorld world;
    EXPECT_DEATH(world.Faults().Fail(Call_t::BufferRelease, 1, E_FAIL), "no way to fail");
    EXPECT_DEATH(world.Faults().Fail(Call_t::BufferLock, 0, E_FAIL), "number 1");
}

} // namespace
} // namespace Simulation
