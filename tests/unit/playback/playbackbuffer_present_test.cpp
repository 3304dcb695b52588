#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_Present : public PlaybackBufferTest {
protected:
    /// The buffer stands still, the newest frame at position 10000, the last presentation a second ago.
    PlaybackBuffer_Present() {
        Create();
        GetFields().writePos = 10000;
        GetFields().writeEnd = 10480;
        GetFields().notifyPosition->dwOffset = 20960;
        GetFields().lastPresentTime = longAgo;
        GetFields().driftWindowStart = longAgo;
        GetFields().measuredLagSum = 11;
        GetFields().expectedLagSum = 13;
    }

    void PresentAhead(std::int64_t nanoSec) {
        presentation = Ahead(nanoSec);
        buffer->Present(presentation);
    }

    void ExpectSumsUntouched() {
        EXPECT_EQ(GetFields().measuredLagSum, 11U);
        EXPECT_EQ(GetFields().expectedLagSum, 13U);
        EXPECT_EQ(GetFields().driftWindowStart, longAgo);
    }

    bool IsPresentedNow() { return GetFields().lastPresentTime.load() == Kovra::JiffyTime::Now(); }
    bool IsPresentationUntouched() { return GetFields().lastPresentTime.load() == longAgo; }

    Kovra::JiffyTime const longAgo = Ago(1000);
    Kovra::JiffyTime presentation;
};

class PlaybackBuffer_PresentWhilePlaying : public PlaybackBuffer_Present {
protected:
    /// The play cursor at 5200, 4800 samples before the newest frame; cleared up to there.
    PlaybackBuffer_PresentWhilePlaying() {
        PutCursorAt(5200);
        Play();
        GetFields().clearedEnd = 5200;
        GetFields().playFrequency = 48000;
    }
};

// --- in the past

TEST_F(PlaybackBuffer_Present, OneNanosecondInThePastStopsTheBuffer) {
    Play();
    PresentAhead(-1);
    EXPECT_FALSE(Sound().IsPlaying());
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("Stop()"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer presentation requested in the past, stopping")));
    EXPECT_TRUE(IsPresentationUntouched());
    EXPECT_EQ(presentation, Ahead(-1));
    ExpectSumsUntouched();
}

TEST_F(PlaybackBuffer_Present, InThePastARefusalToStopIsIgnored) {
    world.Faults().Fail(Call_t::BufferStop, 1, DSERR_PRIOLEVELNEEDED);
    PresentAhead(-1);
    EXPECT_THAT(TakeCalls(), ElementsAre("Stop() = 0x88780046"));
    EXPECT_TRUE(IsPresentationUntouched());
}

TEST_F(PlaybackBuffer_Present, PlaysAgainFromTheNextTimeThatIsNotInThePast) {
    Play();
    PresentAhead(-1);
    TakeCalls();
    PresentAhead(0);
    EXPECT_TRUE(Sound().IsPlaying());
}

// --- start

TEST_F(PlaybackBuffer_Present, StartsSoThatTheNewestFrameIsHeardInTime) {
    PresentAhead(100 * NanoSecPerMilliSec);
    // 100 ms are 4800.08 samples: 10000 - 4800 = 5200, byte 10400. The buffer's event is number 2.
    EXPECT_THAT(TakeCalls(CallSet::All()),
                ElementsAre("GetStatus()", "SetCurrentPosition(10400)", "SetFrequency(48000)",
                            "SetNotificationPositions(1, 20960, 2)", "SetVolume(0)", "Play(1)"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer playback started")));
    EXPECT_TRUE(Sound().IsPlaying());
    EXPECT_TRUE(Sound().IsLooping());
    EXPECT_EQ(Sound().PlayFrame(), 5200U);
    EXPECT_TRUE(IsPresentedNow());
    EXPECT_EQ(presentation, Ahead(100 * NanoSecPerMilliSec));
    ExpectSumsUntouched();
}

TEST_F(PlaybackBuffer_Present, TheNewestFramePassesUnderTheCursorAtThePresentationTime) {
    auto& speaker = Sound().EnableSpeaker();
    Sound().Write(10000, {4711});
    auto const due = Ahead(100 * NanoSecPerMilliSec);
    PresentAhead(100 * NanoSecPerMilliSec);
    world.Clock().AdvanceMilliSec(200);
    auto const heard = Sound().GetSpeaker().TimeOfValue(4711);
    ASSERT_TRUE(heard);
    // 4800 samples at 48000 Hz.
    EXPECT_EQ(*heard, due.NanoSec());
    EXPECT_GT(speaker.HeardFrames(), 4800U);
}

TEST_F(PlaybackBuffer_Present, AtOnceStartsAtTheFrameItself) {
    PresentAhead(0);
    EXPECT_THAT(TakeCalls({Call_t::BufferSetCurrentPosition}), ElementsAre("SetCurrentPosition(20000)"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer playback started")));
}

TEST_F(PlaybackBuffer_Present, StartsBeforeTheStartOfTheRingNearItsEnd) {
    GetFields().writePos = 100;
    PresentAhead(100 * NanoSecPerMilliSec);
    // 100 - 4800 + 240000 = 235300.
    EXPECT_THAT(TakeCalls({Call_t::BufferSetCurrentPosition}), ElementsAre("SetCurrentPosition(470600)"));
}

TEST_F(PlaybackBuffer_Present, RestoresTheClientsVolumeAtTheStart) {
    buffer->SetVolume(0.5F, false);
    GetFields().soundBuffer->SetVolume(-10000);
    PresentAhead(0);
    EXPECT_EQ(Sound().Volume(), -2121);
}

TEST_F(PlaybackBuffer_Present, StartsAtTheNominalFrequencyAgain) {
    GetFields().playFrequency = 47960;
    GetFields().soundBuffer->SetFrequency(47960);
    PresentAhead(0);
    EXPECT_EQ(Sound().Frequency(), 48000U);
}

TEST_F(PlaybackBuffer_Present, TheNotificationPointStaysWhereTheStartPutIt) {
    for (std::int64_t number = 0; number < 5; ++number) {
        EXPECT_TRUE(Write(number * 10'000'000, 480, 7));
        PresentAhead(100 * NanoSecPerMilliSec);
        world.Clock().AdvanceMilliSec(10);
    }
    // Behind the first frame; the record follows the frames, and DirectSound is not told.
    EXPECT_THAT(TakeCalls({Call_t::NotifySetNotificationPositions}),
                ElementsAre("SetNotificationPositions(1, 960, 2)"));
    ASSERT_THAT(Sound().NotificationPoints(), SizeIs(1));
    EXPECT_EQ(Sound().NotificationPoints()[0].dwOffset, 960U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 5 * 960U);
}

TEST_F(PlaybackBuffer_Present, StartsWithoutTheNotifyInterface) {
    GetFields().notify.reset();
    PresentAhead(100 * NanoSecPerMilliSec);
    EXPECT_THAT(TakeCalls(), ElementsAre("GetStatus()", "SetCurrentPosition(10400)", "SetFrequency(48000)",
                                         "SetVolume(0)", "Play(1)"));
    EXPECT_TRUE(IsPresentedNow());
}

TEST_F(PlaybackBuffer_Present, StartsABufferWhoseMemoryIsLost) {
    Sound().Lose();
    PresentAhead(0);
    EXPECT_THAT(TakeCalls({Call_t::BufferPlay}), ElementsAre("Play(1) = 0x88780096"));
    EXPECT_TRUE(IsPresentedNow());
}

/// One refused call of those that start playback: all the others are made and the step ends as usual.
class PlaybackBuffer_PresentRefused : public PlaybackBuffer_Present,
                                      public testing::WithParamInterface<Call_t> {};

TEST_P(PlaybackBuffer_PresentRefused, StartsAllTheSame) {
    world.Faults().Fail(GetParam(), 1, DSERR_GENERIC);
    PresentAhead(100 * NanoSecPerMilliSec);
    EXPECT_THAT(
        TakeFullNames(CallSet::Buffer()),
        ElementsAre("SoundBuffer::GetStatus", "SoundBuffer::SetCurrentPosition", "SoundBuffer::SetFrequency",
                    "SoundNotify::SetNotificationPositions", "SoundBuffer::SetVolume", "SoundBuffer::Play"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer playback started")));
    EXPECT_TRUE(IsPresentedNow());
    EXPECT_EQ(presentation, Ahead(100 * NanoSecPerMilliSec));
}

INSTANTIATE_TEST_SUITE_P(Calls, PlaybackBuffer_PresentRefused,
                         testing::Values(Call_t::BufferSetCurrentPosition, Call_t::BufferSetFrequency,
                                         Call_t::NotifySetNotificationPositions, Call_t::BufferSetVolume,
                                         Call_t::BufferPlay),
                         [](auto const& planned) { return std::string(ToShortString(planned.param)); });

// --- states that cannot be read

TEST_F(PlaybackBuffer_Present, EndsWhenTheStatusCannotBeRead) {
    world.Faults().Fail(Call_t::BufferGetStatus, 1, DSERR_GENERIC);
    PresentAhead(100 * NanoSecPerMilliSec);
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("GetStatus() = 0x80004005"));
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_TRUE(IsPresentationUntouched());
    EXPECT_EQ(presentation, Ahead(100 * NanoSecPerMilliSec));
    ExpectSumsUntouched();
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, EndsWhenTheCursorCannotBeReadButCountsAsPresented) {
    world.Faults().Fail(Call_t::BufferGetCurrentPosition, 1, DSERR_GENERIC);
    PresentAhead(100 * NanoSecPerMilliSec);
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("GetStatus()", "GetCurrentPosition() = 0x80004005"));
    EXPECT_THAT(TakeLog(), IsEmpty());
    EXPECT_TRUE(IsPresentedNow());
    EXPECT_EQ(presentation, Ahead(100 * NanoSecPerMilliSec));
    ExpectSumsUntouched();
}

TEST_F(PlaybackBuffer_Present, DoesNothingWithoutASoundBuffer) {
    RendererAudioPlaybackBuffer fresh(device);
    presentation = Ahead(100 * NanoSecPerMilliSec);
    fresh.Present(presentation);
    EXPECT_EQ(presentation, Ahead(100 * NanoSecPerMilliSec));
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_Present, InThePastWithoutASoundBufferIsLoggedAlike) {
    RendererAudioPlaybackBuffer fresh(device);
    presentation = Ahead(-1);
    fresh.Present(presentation);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer presentation requested in the past, stopping")));
}

// --- the lag, and what was played

TEST_F(PlaybackBuffer_PresentWhilePlaying, GivesBackWhenTheNewestFrameWillBeHeard) {
    PresentAhead(90 * NanoSecPerMilliSec);
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("GetStatus()", "GetCurrentPosition()"));
    // 4800 * 20833 = 99'998'400 ns: 99 whole milliseconds.
    EXPECT_EQ(presentation, Ahead(99 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsPresentedNow());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, TheLagIsCountedFromThePlayCursorNotTheWriteCursor) {
    world.Device().SetWriteLead(960);
    PresentAhead(90 * NanoSecPerMilliSec);
    EXPECT_EQ(presentation, Ahead(99 * NanoSecPerMilliSec));
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, TheLagIsCountedRoundTheRing) {
    PutCursorAt(239000);
    GetFields().clearedEnd = 239000;
    GetFields().writePos = 1000;
    PresentAhead(0);
    // 2000 * 20833 = 41'666'000 ns.
    EXPECT_EQ(presentation, Ahead(41 * NanoSecPerMilliSec));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, LagOf14999And15000SamplesIsLeftToDriftControl) {
    GetFields().driftWindowStart = Kovra::JiffyTime::Now();
    GetFields().writePos = 5200 + 14999;
    PresentAhead(300 * NanoSecPerMilliSec);
    EXPECT_EQ(GetFields().measuredLagSum, 11U + 14999U);
    GetFields().writePos = 5200 + 15000;
    PresentAhead(300 * NanoSecPerMilliSec);
    EXPECT_EQ(GetFields().measuredLagSum, 11U + 14999U + 15000U);
    EXPECT_THAT(TakeLog(), IsEmpty());
    // 15000 * 20833 = 312'495'000 ns.
    EXPECT_EQ(presentation, Ahead(312 * NanoSecPerMilliSec));
    EXPECT_EQ(Sound().PlayFrame(), 5200U);
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, LagOf15001SamplesResetsTheCursor) {
    GetFields().writePos = 5200 + 15001;
    GetFields().playFrequency = 48040;
    PresentAhead(100 * NanoSecPerMilliSec);
    // 20201 - 4800 = 15401.
    EXPECT_THAT(TakeCalls(CallSet::All()), ElementsAre("GetStatus()", "GetCurrentPosition()",
                                                       "SetCurrentPosition(30802)", "SetFrequency(48000)"));
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer timestamp drift too high, resetting")));
    EXPECT_EQ(Sound().PlayFrame(), 15401U);
    EXPECT_TRUE(Sound().IsPlaying());
    ExpectSumsUntouched();
    // The lag before the reset: 15001 * 20833 = 312'515'833 ns.
    EXPECT_EQ(presentation, Ahead(312 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsPresentedNow());
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, AResetThatIsRefusedIsIgnored) {
    GetFields().writePos = 5200 + 15001;
    world.Faults().Fail(Call_t::BufferSetCurrentPosition, 1, DSERR_GENERIC);
    world.Faults().Fail(Call_t::BufferSetFrequency, 1, DSERR_GENERIC);
    PresentAhead(100 * NanoSecPerMilliSec);
    EXPECT_THAT(TakeFullNames(CallSet::Buffer()),
                ElementsAre("SoundBuffer::GetStatus", "SoundBuffer::GetCurrentPosition",
                            "SoundBuffer::SetCurrentPosition", "SoundBuffer::SetFrequency"));
    EXPECT_TRUE(IsPresentedNow());
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, PlayedDataIsNotClearedBelow15000Samples) {
    GetFields().clearedEnd = 5200U - 14999U + RingSamples;
    PresentAhead(0);
    EXPECT_THAT(TakeCalls(), ElementsAre("GetStatus()", "GetCurrentPosition()"));
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, PlayedDataOf15000SamplesIsClearedInWholeGranules) {
    GetFields().clearedEnd = 5200U - 15000U + RingSamples;
    Soil(0, RingSamples);
    PresentAhead(0);
    // From 230200 on 117 * 128 = 14976 samples: 9800 up to the end of the ring, 5176 behind.
    EXPECT_THAT(TakeCalls(), ElementsAre("GetStatus()", "GetCurrentPosition()", "Lock(460400, 29952)",
                                         "Unlock(19600, 10352)"));
    EXPECT_TRUE(Sound().IsSilent(230200, 14976));
    EXPECT_TRUE(IsSoiled(5176, RingSamples - 14976));
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, ClearingThatIsRefusedIsIgnored) {
    GetFields().clearedEnd = 5200U - 15000U + RingSamples;
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    PresentAhead(0);
    EXPECT_EQ(presentation, Ahead(99 * NanoSecPerMilliSec));
    EXPECT_TRUE(IsPresentedNow());
}

TEST_F(PlaybackBuffer_PresentWhilePlaying, InAStereoBufferTheCursorBehindTheRingIsFoldedIntoIt) {
    buffer = std::make_unique<RendererAudioPlaybackBuffer>(device);
    Create(2);
    Play();
    GetFields().driftWindowStart = Kovra::JiffyTime::Now();
    GetFields().writePos = 10000;
    // Byte 490000 is position 245000, which is 5000 in the ring: 5000 samples before the frame.
    PutCursorAt(245000);
    PresentAhead(0);
    EXPECT_EQ(GetFields().measuredLagSum, 5000U);
    // 5000 * 20833 = 104'165'000 ns.
    EXPECT_EQ(presentation, Ahead(104 * NanoSecPerMilliSec));
    EXPECT_THAT(TakeCalls(), ElementsAre("GetStatus()", "GetCurrentPosition()"));
}

} // namespace
} // namespace UnitTest
