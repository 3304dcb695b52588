#include <gmock/gmock.h>

#include <cstring>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

using SoundBuffer_Lock = PlayableTest;
using SoundBuffer_Samples = PlayableTest;

TEST_F(SoundBuffer_Lock, GivesTheRegionAskedFor) {
    Locked const locked = LockOf(playable, 96, 1'920);
    ASSERT_EQ(locked.result, DS_OK);
    EXPECT_EQ(locked.bytes1, 1'920U);
    EXPECT_EQ(locked.address2, nullptr);
    EXPECT_EQ(locked.bytes2, 0U);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 1U);
    std::memset(locked.address1, 1, locked.bytes1);
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0U);
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 1U);
    EXPECT_EQ(world.OnlyBuffer().SampleAt(48), 0x0101);
    EXPECT_EQ(world.OnlyBuffer().SampleAt(48 + 959), 0x0101);
    // What was never written still holds what a new ring is filled with.
    EXPECT_EQ(static_cast<std::uint16_t>(world.OnlyBuffer().SampleAt(47)), 0xA5A5);
    EXPECT_EQ(static_cast<std::uint16_t>(world.OnlyBuffer().SampleAt(48 + 960)), 0xA5A5);
}

TEST_F(SoundBuffer_Lock, HonoursItsFlags) {
    playable->SetCurrentPosition(1'000);
    Locked const locked = LockOf(playable, 7, 7, DSBLOCK_FROMWRITECURSOR | DSBLOCK_ENTIREBUFFER);
    EXPECT_EQ(locked.bytes1, RingBytes - 1'000);
    EXPECT_EQ(locked.bytes2, 1'000U);
    Unlock(playable, locked);
}

TEST_F(SoundBuffer_Lock, MayBeWrittenFromItsFirstByteToItsLast) {
    Locked const locked = LockOf(playable, 100, 10);
    static_cast<char*>(locked.address1)[0] ^= 1;
    static_cast<char*>(locked.address1)[9] ^= 1;
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
}

TEST_F(SoundBuffer_Samples, AreNotReadWhileAnotherThreadHasTheRingLocked) {
    world.AllowMisuse();
    Locked locked;
    boost::thread([&] { locked = LockOf(playable, 0, 10); }).join();
    world.OnlyBuffer().SampleAt(1'000);
    EXPECT_THAT(world.TakeMisuse(), testing::ElementsAre(testing::HasSubstr("while another thread")));
    Unlock(playable, locked);
}

TEST_F(SoundBuffer_Lock, ThreadsOnRegionsOfTheirOwnNeverDisturbEachOther) {
    world.OnlyBuffer().EnableSpeaker();
    playable->Play(0, 0, DSBPLAY_LOOPING);
    auto const write = [this](DWORD offset, std::int16_t value) {
        for (int i = 0; i < 200; ++i) {
            playable.Fill(offset, 1'920, value);
            playable->SetVolume(-i);
        }
    };
    boost::thread other([&] { write(1'920, 2); });
    write(0, 1);
    other.join();
    EXPECT_EQ(world.OnlyBuffer().SampleAt(959), 1);
    EXPECT_EQ(world.OnlyBuffer().SampleAt(960), 2);
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 400U);
}

} // namespace
} // namespace Simulation
