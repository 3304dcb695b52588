#include "directsound/regionlock.h"

#include <cstring>
#include <utility>

#include "directsound/creation.h"
#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

using DirectSound::PlaybackLock;

class RingLock_Acquire : public PlaybackBufferTest {
protected:
    RingLock_Acquire() {
        Create();
        sound = GetFields().soundBuffer.get();
    }

    IDirectSoundBuffer8* sound = nullptr;
};

TEST_F(RingLock_Acquire, GivesOneRegionAndUnlocksItAtTheEndOfTheScope) {
    {
        auto const lock = PlaybackLock::Acquire(sound, {1000, 1920});
        ASSERT_TRUE(lock);
        EXPECT_NE(lock->GetFirst(), nullptr);
        EXPECT_EQ(lock->GetFirstBytes(), 1920U);
        EXPECT_EQ(lock->GetSecond(), nullptr);
        EXPECT_EQ(lock->GetSecondBytes(), 0U);
        EXPECT_THAT(TakeCalls(), ElementsAre("Lock(1000, 1920)"));
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("Unlock(1920, 0)"));
    EXPECT_EQ(Sound().OpenLocks(), 0U);
}

TEST_F(RingLock_Acquire, GivesTheBytesAtTheStartByte) {
    {
        auto const lock = PlaybackLock::Acquire(sound, {1000, 2});
        ASSERT_TRUE(lock);
        std::memset(lock->GetFirst(), 0x11, 2);
    }
    // Byte 1000 is sample 500.
    EXPECT_EQ(Sound().SampleAt(500), 0x1111);
    EXPECT_TRUE(Sound().IsSilent(501, RingSamples - 1));
}

TEST_F(RingLock_Acquire, GivesASecondRegionBehindTheEndOfTheRing) {
    {
        auto const lock = PlaybackLock::Acquire(sound, {479998, 10});
        ASSERT_TRUE(lock);
        EXPECT_EQ(lock->GetFirstBytes(), 2U);
        ASSERT_NE(lock->GetSecond(), nullptr);
        EXPECT_EQ(lock->GetSecondBytes(), 8U);
        std::memset(lock->GetSecond(), 0x22, 8);
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479998, 10)", "Unlock(2, 8)"));
    EXPECT_EQ(Sound().Samples(239999, 6), (std::vector<std::int16_t>{0, 0x2222, 0x2222, 0x2222, 0x2222, 0}));
}

TEST_F(RingLock_Acquire, IsEmptyWithoutASoundBuffer) {
    EXPECT_FALSE(PlaybackLock::Acquire(nullptr, {0, 2}));
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(RingLock_Acquire, RestoresALostBufferAndTriesOnceMore) {
    Sound().Lose();
    {
        auto const lock = PlaybackLock::Acquire(sound, {1000, 1920});
        ASSERT_TRUE(lock);
        EXPECT_EQ(lock->GetFirstBytes(), 1920U);
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(1000, 1920) = 0x88780096", "Restore()", "Lock(1000, 1920)",
                                         "Unlock(1920, 0)"));
}

TEST_F(RingLock_Acquire, GivesUpWhenTheBufferIsLostAgain) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    world.Faults().Fail(Call_t::BufferLock, 2, DSERR_BUFFERLOST);
    EXPECT_FALSE(PlaybackLock::Acquire(sound, {1000, 1920}));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(1000, 1920) = 0x88780096", "Restore()", "Lock(1000, 1920) = 0x88780096"));
}

TEST_F(RingLock_Acquire, GivesUpWhenTheSecondLockFailsOtherwise) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    world.Faults().Fail(Call_t::BufferLock, 2, DSERR_INVALIDPARAM);
    EXPECT_FALSE(PlaybackLock::Acquire(sound, {1000, 1920}));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(1000, 1920) = 0x88780096", "Restore()", "Lock(1000, 1920) = 0x80070057"));
}

TEST_F(RingLock_Acquire, TriesOnceMoreEvenWhenRestoreFails) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    world.Faults().Fail(Call_t::BufferRestore, 1, DSERR_GENERIC);
    EXPECT_TRUE(PlaybackLock::Acquire(sound, {1000, 1920}));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(1000, 1920) = 0x88780096", "Restore() = 0x80004005",
                                         "Lock(1000, 1920)", "Unlock(1920, 0)"));
}

TEST_F(RingLock_Acquire, DoesNotRestoreAfterAnotherFailure) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_FALSE(PlaybackLock::Acquire(sound, {1000, 1920}));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(1000, 1920) = 0x80004005"));
}

TEST_F(RingLock_Acquire, UnlocksOnceHoweverOftenTheLockMoves) {
    {
        auto first = PlaybackLock::Acquire(sound, {479998, 10});
        ASSERT_TRUE(first);
        std::uint8_t* const firstRegion = first->GetFirst();
        std::uint8_t* const secondRegion = first->GetSecond();
        PlaybackLock const second(std::move(*first));
        first.reset();
        EXPECT_EQ(second.GetFirst(), firstRegion);
        EXPECT_EQ(second.GetFirstBytes(), 2U);
        EXPECT_EQ(second.GetSecond(), secondRegion);
        EXPECT_EQ(second.GetSecondBytes(), 8U);
        EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479998, 10)"));
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("Unlock(2, 8)"));
}

TEST_F(RingLock_Acquire, AFailureOfUnlockIsIgnored) {
    void* first = nullptr;
    {
        auto const lock = PlaybackLock::Acquire(sound, {1000, 1920});
        ASSERT_TRUE(lock);
        first = lock->GetFirst();
        world.Faults().Fail(Call_t::BufferUnlock, 1, DSERR_BUFFERLOST);
    }
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(1000, 1920)", "Unlock(1920, 0) = 0x88780096"));
    EXPECT_EQ(sound->Unlock(first, 1920, nullptr, 0), DS_OK);
}

} // namespace
} // namespace UnitTest
