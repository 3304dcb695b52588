#include <limits>

#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

constexpr float NoNumber = std::numeric_limits<float>::quiet_NaN();

class PlaybackBuffer_SetVolume : public PlaybackBufferTest {};
class PlaybackBuffer_SetPan : public PlaybackBufferTest {};

TEST_F(PlaybackBuffer_SetVolume, FullVolumeOnAFreshBufferChangesNothing) {
    Create();
    buffer->SetVolume(1.0F, false);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PlaybackBuffer_SetVolume, ZeroIsSilence) {
    Create();
    buffer->SetVolume(0.0F, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(-10000)"));
}

TEST_F(PlaybackBuffer_SetVolume, HalfIsAppliedByThePower) {
    Create();
    buffer->SetVolume(0.5F, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(-2121)"));
}

TEST_F(PlaybackBuffer_SetVolume, StoredVolumeIsAppliedAgainOnlyByForce) {
    Create();
    buffer->SetVolume(0.5F, false);
    TakeCalls();
    buffer->SetVolume(0.5F, false);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    buffer->SetVolume(0.5F, true);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(-2121)"));
}

TEST_F(PlaybackBuffer_SetVolume, OutOfRangeIsStoredAsGivenAndAppliedClamped) {
    Create();
    buffer->SetVolume(3.0F, false);
    buffer->SetVolume(1.0F, false);
    buffer->SetVolume(-3.0F, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(0)", "SetVolume(0)", "SetVolume(-10000)"));
}

TEST_F(PlaybackBuffer_SetVolume, WhatIsNoNumberIsSilence) {
    Create();
    buffer->SetVolume(NoNumber, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(-10000)"));
}

TEST_F(PlaybackBuffer_SetVolume, ARefusalIsIgnoredAndTheVolumeStored) {
    Create();
    world.Faults().Fail(Call_t::BufferSetVolume, 1, DSERR_CONTROLUNAVAIL);
    buffer->SetVolume(0.5F, false);
    buffer->SetVolume(0.5F, false);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(-2121) = 0x8878001e"));
}

TEST_F(PlaybackBuffer_SetPan, CentreOnAFreshBufferChangesNothing) {
    Create();
    buffer->SetPan(0.5F);
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PlaybackBuffer_SetPan, EveryChangeIsStoredAndApplied) {
    Create();
    buffer->SetPan(0.0F);
    buffer->SetPan(0.75F);
    buffer->SetPan(0.75F);
    buffer->SetPan(1.0F);
    buffer->SetPan(1.0F);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetPan(-10000)", "SetPan(5000)", "SetPan(10000)"));
}

TEST_F(PlaybackBuffer_SetPan, OutOfRangeIsStoredAsGivenAndAppliedClamped) {
    Create();
    buffer->SetPan(7.0F);
    buffer->SetPan(1.0F);
    buffer->SetPan(-7.0F);
    buffer->SetPan(NoNumber);
    EXPECT_THAT(TakeCalls(),
                ElementsAre("SetPan(10000)", "SetPan(10000)", "SetPan(-10000)", "SetPan(-10000)"));
}

TEST_F(PlaybackBuffer_SetPan, ARefusalIsIgnoredAndTheBalanceStored) {
    Create();
    world.Faults().Fail(Call_t::BufferSetPan, 1, DSERR_CONTROLUNAVAIL);
    buffer->SetPan(1.0F);
    buffer->SetPan(1.0F);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetPan(10000) = 0x8878001e"));
}

} // namespace
} // namespace UnitTest
