#include <gmock/gmock.h>

#include <cstring>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

TEST(SoundBuffer_Lock, GivesTheRegionAskedFor) {
    TestWorld world;
    Playable playable;
    Locked const locked = LockOf(playable, 96, 1'920);
    ASSERT_EQ(locked.result, DS_OK);
    EXPECT_EQ(locked.bytes1, 1'920u);
    EXPECT_EQ(locked.address2, nullptr);
    EXPECT_EQ(locked.bytes2, 0u);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 1u);
    std::memset(locked.address1, 1, locked.bytes1);
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
    EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0u);
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 1u);
    EXPECT_EQ(world.OnlyBuffer().SampleAt(48), 0x0101);
    EXPECT_EQ(world.OnlyBuffer().SampleAt(48 + 959), 0x0101);
    // What was never written still holds what a new ring is filled with.
    EXPECT_EQ(static_cast<std::uint16_t>(world.OnlyBuffer().SampleAt(47)), 0xA5A5);
    EXPECT_EQ(static_cast<std::uint16_t>(world.OnlyBuffer().SampleAt(48 + 960)), 0xA5A5);
}

TEST(SoundBuffer_Lock, SplitsAtTheRingsEndAndNowhereElse) {
    TestWorld const world;
    Playable playable;
    Locked const upToEnd = LockOf(playable, RingBytes - 100, 100);
    EXPECT_EQ(upToEnd.bytes1, 100u);
    EXPECT_EQ(upToEnd.address2, nullptr);
    Unlock(playable, upToEnd);
    Locked const beyond = LockOf(playable, RingBytes - 100, 101);
    EXPECT_EQ(beyond.bytes1, 100u);
    EXPECT_EQ(beyond.bytes2, 1u);
    EXPECT_EQ(static_cast<char*>(beyond.address1) - static_cast<char*>(beyond.address2), RingBytes - 100);
    Unlock(playable, beyond);
}

TEST(SoundBuffer_Lock, EndsAtTheRingsEndWhenThereIsNoSecondPointer) {
    TestWorld const world;
    Playable playable;
    Locked locked;
    playable->Lock(RingBytes - 100, 200, &locked.address1, &locked.bytes1, nullptr, nullptr, 0);
    EXPECT_EQ(locked.bytes1, 100u);
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
}

TEST(SoundBuffer_Lock, RefusesWhatIsNotInTheRing) {
    TestWorld const world;
    Playable playable;
    EXPECT_EQ(LockOf(playable, 0, 0).result, DSERR_INVALIDPARAM);
    EXPECT_EQ(LockOf(playable, 0, RingBytes + 1).result, DSERR_INVALIDPARAM);
    EXPECT_EQ(LockOf(playable, RingBytes, 1).result, DSERR_INVALIDPARAM);
    EXPECT_EQ(LockOf(playable, RingBytes, 1).address1, nullptr);
    DWORD bytes = 0;
    EXPECT_EQ(playable->Lock(0, 1, nullptr, &bytes, nullptr, nullptr, 0), DSERR_INVALIDPARAM);
    Locked const last = LockOf(playable, RingBytes - 1, 1);
    EXPECT_EQ(last.result, DS_OK);
    Unlock(playable, last);
    Locked const all = LockOf(playable, 0, RingBytes);
    EXPECT_EQ(all.result, DS_OK);
    Unlock(playable, all);
}

TEST(SoundBuffer_Lock, HonoursItsFlags) {
    TestWorld const world;
    Playable playable;
    playable->SetCurrentPosition(1'000);
    Locked const locked = LockOf(playable, 7, 7, DSBLOCK_FROMWRITECURSOR | DSBLOCK_ENTIREBUFFER);
    EXPECT_EQ(locked.bytes1, RingBytes - 1'000);
    EXPECT_EQ(locked.bytes2, 1'000u);
    Unlock(playable, locked);
}

TEST(DeviceSettings_SetLockSplit, SplitsLongerLocksThatDoNotWrap) {
    TestWorld world;
    Playable playable;
    world.Device().SetLockSplit(100);
    Locked const atLimit = LockOf(playable, 10, 100);
    EXPECT_EQ(atLimit.bytes1, 100u);
    EXPECT_EQ(atLimit.bytes2, 0u);
    Unlock(playable, atLimit);
    Locked const beyond = LockOf(playable, 10, 101);
    EXPECT_EQ(beyond.bytes1, 100u);
    EXPECT_EQ(beyond.bytes2, 1u);
    EXPECT_EQ(static_cast<char*>(beyond.address2) - static_cast<char*>(beyond.address1), 100);
    Unlock(playable, beyond);
    Locked const wrapping = LockOf(playable, RingBytes - 200, 300);
    EXPECT_EQ(wrapping.bytes1, 200u);
    EXPECT_EQ(wrapping.bytes2, 100u);
    Unlock(playable, wrapping);
}

/// Each test provokes one misuse and sees it reported.
class SoundBuffer_Misuse : public testing::Test {
protected:
    SoundBuffer_Misuse() { world.AllowMisuse(); }
    void ExpectMisuse(char const* part) {
        EXPECT_THAT(world.TakeMisuse(), testing::ElementsAre(testing::HasSubstr(part)));
    }
    TestWorld world;
    Playable playable;
};

TEST_F(SoundBuffer_Misuse, UnlockOfWhatIsNotLocked) {
    Locked const locked = LockOf(playable, 0, 10);
    Unlock(playable, locked);
    EXPECT_EQ(Unlock(playable, locked), DSERR_INVALIDPARAM);
    ExpectMisuse("not locked");
}

TEST_F(SoundBuffer_Misuse, UnlockOfAnotherAddress) {
    Locked const locked = LockOf(playable, 0, 10);
    EXPECT_EQ(playable->Unlock(static_cast<char*>(locked.address1) + 1, 10, nullptr, 0), DSERR_INVALIDPARAM);
    ExpectMisuse("not locked");
    Unlock(playable, locked);
}

TEST_F(SoundBuffer_Misuse, UnlockOfAnotherLength) {
    for (DWORD const bytes : {9u, 11u}) {
        Locked locked = LockOf(playable, 0, 10);
        locked.bytes1 = bytes;
        EXPECT_EQ(Unlock(playable, locked), DSERR_INVALIDPARAM);
        ExpectMisuse("where the lock gave 10 and 0");
        EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 0u);
    }
}

TEST_F(SoundBuffer_Misuse, UnlockThatForgetsTheSecondRegion) {
    Locked const locked = LockOf(playable, RingBytes - 10, 20);
    EXPECT_EQ(playable->Unlock(locked.address1, 10, nullptr, 0), DSERR_INVALIDPARAM);
    ExpectMisuse("where the lock gave 10 and 10");
}

TEST_F(SoundBuffer_Misuse, TwoLocksOfOneThreadThatOverlap) {
    Locked const first = LockOf(playable, RingBytes - 10, 20);
    Locked const beside = LockOf(playable, 10, 10);
    EXPECT_TRUE(world.Misuse().empty());
    Locked const over = LockOf(playable, 9, 1);
    ExpectMisuse("overlaps");
    Unlock(playable, over);
    Unlock(playable, beside);
    Unlock(playable, first);
}

TEST_F(SoundBuffer_Misuse, LocksOfTwoThreadsMayOverlap) {
    Locked const mine = LockOf(playable, 0, 10);
    boost::thread([this] { Unlock(playable, LockOf(playable, 0, 10)); }).join();
    EXPECT_EQ(Unlock(playable, mine), DS_OK);
    EXPECT_TRUE(world.Misuse().empty());
}

TEST_F(SoundBuffer_Misuse, WriteOneByteOutsideTheLockedRegion) {
    for (int const offset : {-1, 10}) {
        Locked const locked = LockOf(playable, 100, 10);
        static_cast<char*>(locked.address1)[offset] ^= 1;
        Unlock(playable, locked);
        ExpectMisuse(offset < 0 ? "byte 99 " : "byte 110 ");
        static_cast<char*>(locked.address1)[offset] ^= 1;
    }
    Locked const locked = LockOf(playable, 100, 10);
    static_cast<char*>(locked.address1)[0] ^= 1;
    static_cast<char*>(locked.address1)[9] ^= 1;
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
}

TEST_F(SoundBuffer_Misuse, WriteOutsideTheLockedRegionPassesWithTheCheckOff) {
    world.Device().SetRingCheck(false);
    Locked locked = LockOf(playable, 100, 10);
    static_cast<char*>(locked.address1)[-1] ^= 1;
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
    // Turned on again it starts from what is there.
    world.Device().SetRingCheck(true);
    locked = LockOf(playable, 100, 10);
    EXPECT_EQ(Unlock(playable, locked), DS_OK);
    EXPECT_TRUE(world.Misuse().empty());
}

TEST_F(SoundBuffer_Misuse, WriteBesideTheRingIsSeenWithTheCheckOffToo) {
    world.Device().SetRingCheck(false);
    for (DWORD const offset : {DWORD{0}, RingBytes - 10}) {
        Locked const locked = LockOf(playable, offset, 10);
        char* const outside = static_cast<char*>(locked.address1) + (offset == 0 ? -1 : 10);
        *outside ^= 1;
        Unlock(playable, locked);
        ExpectMisuse("beside the ring");
        *outside ^= 1;
    }
}

TEST_F(SoundBuffer_Misuse, TestReadsTheRingWhileAnotherThreadHasItLocked) {
    Locked locked;
    boost::thread([&] { locked = LockOf(playable, 0, 10); }).join();
    world.OnlyBuffer().SampleAt(1'000);
    ExpectMisuse("while another thread");
    Unlock(playable, locked);
}

TEST(SoundBuffer_Lock, ThreadsOnRegionsOfTheirOwnNeverDisturbEachOther) {
    TestWorld world;
    Playable playable;
    world.OnlyBuffer().EnableSpeaker();
    playable->Play(0, 0, DSBPLAY_LOOPING);
    auto const write = [&playable](DWORD offset, std::int16_t value) {
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
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 400u);
}

} // namespace
} // namespace Simulation
