#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_Service : public PlaybackBufferTest {
protected:
    /// Playing, the cursor 15000 samples behind the cleared end, no new frame since the last pass.
    PlaybackBuffer_Service() {
        Create();
        Soil(0, RingSamples);
        PutCursorAt(15000);
        Play();
        GetFields().active = 1;
        GetFields().writePos = 30000;
        GetFields().lastServicedWritePos = 30000;
    }

    void ServiceAfter(std::int64_t idleMilliSec) {
        GetFields().lastPresentTime = Ago(idleMilliSec);
        buffer->Service();
    }

    void ExpectNothingDone() {
        EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
        ExpectNotStopped();
    }

    void ExpectPlayedDataCleared() {
        EXPECT_THAT(TakeCalls(CallSet::All()),
                    ElementsAre("GetCurrentPosition()", "Lock(0, 29952)", "Unlock(29952, 0)"));
        EXPECT_TRUE(Sound().IsSilent(0, 14976));
        EXPECT_TRUE(IsSoiled(14976, RingSamples - 14976));
        EXPECT_EQ(GetFields().clearedEnd, 14976U);
        ExpectNotStopped();
    }

    void ExpectNotStopped() {
        EXPECT_THAT(TakeLog(), IsEmpty());
        EXPECT_TRUE(Sound().IsPlaying());
        EXPECT_EQ(GetFields().active, 1U);
        EXPECT_EQ(GetFields().baseTimestamp, Origin);
        EXPECT_EQ(GetFields().lastServicedWritePos, GetFields().writePos);
    }

    void ExpectStopped(std::string const& record) {
        EXPECT_THAT(TakeCalls(CallSet::All()),
                    ElementsAre("SetVolume(-10000)", "Stop()", "Lock(0, 480000)", "Unlock(480000, 0)"));
        EXPECT_THAT(TakeLog(), ElementsAre(Info(record)));
        EXPECT_FALSE(Sound().IsPlaying());
        EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
        EXPECT_EQ(GetFields().active, 0U);
        EXPECT_EQ(GetFields().baseTimestamp, 0);
        EXPECT_EQ(GetFields().clearedEnd, 0U);
        EXPECT_EQ(GetFields().lastServicedWritePos, GetFields().writePos);
    }
};

// --- nothing to do

TEST_F(PlaybackBuffer_Service, OfAnInactiveBufferOnlyRemembersTheWritePosition) {
    GetFields().active = 0;
    GetFields().lastServicedWritePos = 1;
    ServiceAfter(5000);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
    // Only the field shows it before the next frame.
    EXPECT_EQ(GetFields().lastServicedWritePos, 30000U);
}

TEST_F(PlaybackBuffer_Service, UpTo500MillisecondsAfterAPresentationDoesNothing) {
    for (std::int64_t const idleNanoSec : {0, 500'000'000, 501'000'000 - 1}) {
        GetFields().lastServicedWritePos = 29520;
        GetFields().lastPresentTime = Ahead(-idleNanoSec);
        buffer->Service();
        ExpectNothingDone();
    }
}

// --- clearing

struct Pass {
    char const* name;
    std::int64_t idleNanoSec;
    /// What the write position was at the previous pass; it is 30000 now.
    std::uint32_t previousWritePos;
};

class PlaybackBuffer_ServiceWhilePlayed : public PlaybackBuffer_Service,
                                          public testing::WithParamInterface<Pass> {};

TEST_P(PlaybackBuffer_ServiceWhilePlayed, ClearsWhatWasPlayedAndNoMore) {
    GetFields().lastServicedWritePos = GetParam().previousWritePos;
    GetFields().lastPresentTime = Ahead(-GetParam().idleNanoSec);
    buffer->Service();
    ExpectPlayedDataCleared();
}

INSTANTIATE_TEST_SUITE_P(Idle, PlaybackBuffer_ServiceWhilePlayed,
                         testing::Values(Pass{"501MilliSec", 501'000'000, 30000},
                                         Pass{"1000MilliSec", 1'000'000'000, 30000},
                                         Pass{"JustBelow1001MilliSec", 1'001'000'000 - 1, 30000},
                                         Pass{"1500MilliSecWithANewFrame", 1'500'000'000, 29520},
                                         Pass{"1500MilliSecWithAFramePutBack", 1'500'000'000, 30480}),
                         [](auto const& test) { return std::string(test.param.name); });

TEST_F(PlaybackBuffer_Service, PlayedDataOf14999SamplesIsNotClearedYet) {
    PutCursorAt(14999);
    ServiceAfter(600);
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("GetCurrentPosition()"));
    EXPECT_TRUE(IsSoiled(0, RingSamples));
    ExpectNotStopped();
}

TEST_F(PlaybackBuffer_Service, WhatLiesBetweenThePlayAndTheWriteCursorIsNotPlayedYet) {
    world.Device().SetWriteLead(960);
    PutCursorAt(14999);
    ServiceAfter(600);
    EXPECT_TRUE(IsSoiled(0, RingSamples));
}

TEST_F(PlaybackBuffer_Service, PlayedDataIsClearedRoundTheRing) {
    GetFields().clearedEnd = 239900;
    PutCursorAt(14901);
    ServiceAfter(600);
    // 14901 + 100 = 15001 samples are due, 14976 of them are cleared: 100 up to the end, 14876 behind.
    EXPECT_THAT(TakeCalls(CallSet::All()),
                ElementsAre("GetCurrentPosition()", "Lock(479800, 29952)", "Unlock(200, 29752)"));
}

TEST_F(PlaybackBuffer_Service, ClearsTheBufferThatPlaysOn) {
    GetFields().lastPresentTime = Ago(0);
    PutCursorAt(0);
    // 600 ms are 28800 samples, 225 * 128.
    world.Clock().AdvanceMilliSec(600);
    buffer->Service();
    EXPECT_THAT(TakeCalls(CallSet::All()),
                ElementsAre("GetCurrentPosition()", "Lock(0, 57600)", "Unlock(57600, 0)"));
}

TEST_F(PlaybackBuffer_Service, ClearsNothingWhenTheCursorCannotBeRead) {
    world.Faults().Fail(Call_t::BufferGetCurrentPosition, 1, DSERR_GENERIC);
    GetFields().lastServicedWritePos = 1;
    ServiceAfter(600);
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("GetCurrentPosition() = 0x80004005"));
    EXPECT_TRUE(IsSoiled(0, RingSamples));
    ExpectNotStopped();
}

TEST_F(PlaybackBuffer_Service, ClearingThatIsRefusedIsIgnored) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    ServiceAfter(600);
    ExpectNotStopped();
    TakeCalls();
    // The next pass tries it again.
    ServiceAfter(800);
    ExpectPlayedDataCleared();
}

TEST_F(PlaybackBuffer_Service, RestoresALostBufferToClearIt) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_BUFFERLOST);
    ServiceAfter(600);
    EXPECT_THAT(TakeCalls(), ElementsAre("GetCurrentPosition()", "Lock(0, 29952) = 0x88780096", "Restore()",
                                         "Lock(0, 29952)", "Unlock(29952, 0)"));
}

// --- idle stop

TEST_F(PlaybackBuffer_Service, At1001MillisecondsWithoutANewFrameStopsTheBuffer) {
    ServiceAfter(1001);
    ExpectStopped("Idle AudioBuffer playback stopped (1001 ms)");
}

TEST_F(PlaybackBuffer_Service, StopsAtTheSecondPassAfterTheLastFrame) {
    GetFields().lastServicedWritePos = 29520;
    ServiceAfter(1500);
    ExpectPlayedDataCleared();
    ServiceAfter(1700);
    ExpectStopped("Idle AudioBuffer playback stopped (1700 ms)");
}

TEST_F(PlaybackBuffer_Service, StoppedBufferIsNotStoppedAgain) {
    ServiceAfter(1001);
    TakeCalls();
    TakeLog();
    ServiceAfter(1201);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_Service, KeepsTheClientsVolumeForTheNextStart) {
    buffer->SetVolume(0.5F, false);
    ServiceAfter(1001);
    EXPECT_EQ(Sound().Volume(), -10000);
    // The next frame is the new origin, and the next presentation starts at the client's volume.
    EXPECT_TRUE(Write(3'000'000'000, 480, 7));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
    auto presentation = Ahead(0);
    buffer->Present(presentation);
    EXPECT_TRUE(Sound().IsPlaying());
    EXPECT_EQ(Sound().Volume(), -2121);
}

TEST_F(PlaybackBuffer_Service, TheIdleTimeIsA32BitDifference) {
    // 2^32 + 500 and 2^32 + 1001 ms are 500 and 1001, 2^31 ms are -2^31.
    ServiceAfter(4'294'967'796);
    ExpectNothingDone();
    ServiceAfter(2'147'483'648);
    ExpectNothingDone();
    ServiceAfter(4'294'968'297);
    ExpectStopped("Idle AudioBuffer playback stopped (1001 ms)");
}

TEST_F(PlaybackBuffer_Service, TheGreatestIdleTimeStopsTheBuffer) {
    ServiceAfter(2'147'483'647);
    ExpectStopped("Idle AudioBuffer playback stopped (2147483647 ms)");
}

TEST_F(PlaybackBuffer_Service, IdleStopGoesOnWhateverIsRefused) {
    for (Call_t const call : {Call_t::BufferSetVolume, Call_t::BufferStop, Call_t::BufferLock}) {
        world.Faults().Fail(call, 1, DSERR_GENERIC);
    }
    ServiceAfter(1001);
    EXPECT_THAT(TakeCalls(), ElementsAre("SetVolume(-10000) = 0x80004005", "Stop() = 0x80004005",
                                         "Lock(0, 480000) = 0x80004005"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("Idle AudioBuffer playback stopped (1001 ms)")));
    ServiceAfter(1201);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
}

TEST_F(PlaybackBuffer_Service, ABufferThatWasNeverPresentedGoesIdleASecondAfterItsMaking) {
    RendererAudioPlaybackBuffer fresh(device);
    EXPECT_TRUE(fresh.WriteFrame(ConstantFrame(Origin, 480, 7)));
    world.Clock().AdvanceMilliSec(1000);
    TakeLog();
    fresh.Service();
    EXPECT_THAT(TakeLog(), IsEmpty());
    world.Clock().AdvanceMilliSec(1);
    fresh.Service();
    EXPECT_THAT(TakeLog(), ElementsAre(Info("Idle AudioBuffer playback stopped (1001 ms)")));
}

TEST_F(PlaybackBuffer_Service, DoesNotNeedASoundBuffer) {
    RendererAudioPlaybackBuffer fresh(device);
    Peer::GetFields(fresh).active = 1;
    Peer::GetFields(fresh).writePos = 5;
    Peer::GetFields(fresh).lastPresentTime = Ago(600);
    fresh.Service();
    EXPECT_EQ(Peer::GetFields(fresh).lastServicedWritePos, 5U);
    EXPECT_THAT(TakeLog(), IsEmpty());
    Peer::GetFields(fresh).lastPresentTime = Ago(1001);
    fresh.Service();
    EXPECT_EQ(Peer::GetFields(fresh).active, 0U);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), ElementsAre(Info("Idle AudioBuffer playback stopped (1001 ms)")));
}

} // namespace
} // namespace UnitTest
