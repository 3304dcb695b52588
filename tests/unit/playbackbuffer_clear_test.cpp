#include "support/playbackbuffertest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class PlaybackBuffer_ClearRange : public UnitTest::PlaybackBufferTest {
protected:
    PlaybackBuffer_ClearRange() {
        Create();
        Soil(0, RingSamples);
        GetFields().clearedEnd = 777;
    }

    bool Clear(std::uint32_t startPos, std::uint32_t count) {
        return Peer::Clear(*buffer, {startPos, count});
    }
};

TEST_F(PlaybackBuffer_ClearRange, ZeroesTheRangeAndNothingElse) {
    EXPECT_TRUE(Clear(1000, 128));
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("Lock(2000, 256)", "Unlock(256, 0)"));
    EXPECT_TRUE(Sound().IsSilent(1000, 128));
    EXPECT_TRUE(IsSoiled(1128, RingSamples - 128));
    EXPECT_EQ(GetFields().clearedEnd, 1128U);
}

TEST_F(PlaybackBuffer_ClearRange, GoesOnAtTheStartOfTheRing) {
    EXPECT_TRUE(Clear(239936, 128));
    // 239936 * 2 = 479872: 128 bytes up to the end.
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479872, 256)", "Unlock(128, 128)"));
    EXPECT_TRUE(Sound().IsSilent(239936, 128));
    EXPECT_TRUE(IsSoiled(64, RingSamples - 128));
    EXPECT_EQ(GetFields().clearedEnd, 64U);
}

TEST_F(PlaybackBuffer_ClearRange, UpToTheEndOfTheRingEndsAtItsStart) {
    EXPECT_TRUE(Clear(239872, 128));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479744, 256)", "Unlock(256, 0)"));
    EXPECT_EQ(GetFields().clearedEnd, 0U);
}

TEST_F(PlaybackBuffer_ClearRange, ClearsTheWholeRing) {
    EXPECT_TRUE(Clear(0, RingSamples));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 480000)", "Unlock(480000, 0)"));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_EQ(GetFields().clearedEnd, 0U);
}

TEST_F(PlaybackBuffer_ClearRange, ClearsBothPartsOfALockSplitWithinTheRing) {
    world.Device().SetLockSplit(100);
    EXPECT_TRUE(Clear(1000, 128));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(2000, 256)", "Unlock(100, 156)"));
    EXPECT_TRUE(Sound().IsSilent(1000, 128));
    EXPECT_TRUE(IsSoiled(1128, RingSamples - 128));
}

TEST_F(PlaybackBuffer_ClearRange, RefusedLockLeavesAllAsItIs) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_FALSE(Clear(1000, 128));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(2000, 256) = 0x80004005"));
    EXPECT_TRUE(IsSoiled(0, RingSamples));
    EXPECT_EQ(GetFields().clearedEnd, 777U);
}

TEST_F(PlaybackBuffer_ClearRange, LostBufferIsRestoredAndCleared) {
    Sound().Lose();
    EXPECT_TRUE(Clear(1000, 128));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(2000, 256) = 0x88780096", "Restore()", "Lock(2000, 256)",
                                         "Unlock(256, 0)"));
    EXPECT_EQ(GetFields().clearedEnd, 1128U);
}

TEST_F(PlaybackBuffer_ClearRange, BufferLostAgainLeavesAllAsItIs) {
    world.Faults().FailAlways(Call_t::BufferLock, DSERR_BUFFERLOST);
    EXPECT_FALSE(Clear(1000, 128));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(2000, 256) = 0x88780096", "Restore()", "Lock(2000, 256) = 0x88780096"));
    EXPECT_TRUE(IsSoiled(0, RingSamples));
    EXPECT_EQ(GetFields().clearedEnd, 777U);
}

TEST_F(PlaybackBuffer_ClearRange, RefusedRestoreIsFollowedByASecondLock) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    world.Faults().Fail(Call_t::BufferRestore, 1, DSERR_GENERIC);
    EXPECT_TRUE(Clear(1000, 128));
    EXPECT_TRUE(Sound().IsSilent(1000, 128));
    EXPECT_EQ(GetFields().clearedEnd, 1128U);
}

TEST_F(PlaybackBuffer_ClearRange, FailedUnlockIsIgnored) {
    void* first = nullptr;
    DWORD bytes = 0;
    auto* const sound = GetFields().soundBuffer.get();
    ASSERT_EQ(sound->Lock(2000, 256, &first, &bytes, nullptr, nullptr, 0), DS_OK);
    ASSERT_EQ(sound->Unlock(first, bytes, nullptr, 0), DS_OK);
    world.Faults().Fail(Call_t::BufferUnlock, 1, DSERR_GENERIC);
    EXPECT_TRUE(Clear(1000, 128));
    EXPECT_EQ(GetFields().clearedEnd, 1128U);
    // The fault has left the region locked.
    EXPECT_EQ(sound->Unlock(first, bytes, nullptr, 0), DS_OK);
    EXPECT_TRUE(Sound().IsSilent(1000, 128));
}

TEST_F(PlaybackBuffer_ClearRange, RefusesWithoutASoundBuffer) {
    Media::RendererAudioPlaybackBuffer fresh(device);
    EXPECT_FALSE(Peer::Clear(fresh, {0, 128}));
    EXPECT_EQ(Peer::GetFields(fresh).clearedEnd, 0U);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
}

} // namespace
