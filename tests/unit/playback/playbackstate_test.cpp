#include "rendereraudioplaybackstate.h"

#include <chrono>
#include <future>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include "rendereraudioplaybackdevice.h"
#include "simulation/testworld.h"
#include "support/module/deviceview.h"
#include "support/module/fakecodec.h"
#include "support/module/logcapture.h"
#include "support/module/runningdevice.h"

namespace UnitTest {
namespace {

using State = boost::intrusive_ptr<RendererAudioPlaybackState>;

constexpr float NoNumber = std::numeric_limits<float>::quiet_NaN();

PipelineClientState_t Client(float balance, float volume) {
    PipelineClientState_t client;
    client.balance = balance;
    client.volume = volume;
    return client;
}

/// A session on an open device without a playback thread.
class StateTest : public testing::Test {
protected:
    StateTest() {
        DevicePeer::OpenWithoutThread(device);
        state.reset(new RendererAudioPlaybackState(device));
        world.Journal().Enable();
    }

    /// Renders frame number `number` of 20 ms, to be heard in `leadMilliSec`.
    bool RenderFrame(std::int64_t number = 0, std::int64_t leadMilliSec = 100) {
        Kovra::JiffyTime presentation = InMilliSec(leadMilliSec);
        return state->Render(ConstantFrame(FirstTimestampNanoSec + number * FrameNanoSec, FrameSamples, 5),
                             presentation);
    }

    bool Update(float balance, float volume) {
        state->SetClientState(Client(balance, volume));
        return state->UpdateClientState();
    }

    /// Calls since the last time, references left out.
    std::vector<std::string> TakeTexts() {
        auto texts = world.Journal().Texts(CallsButReferences());
        world.Journal().Clear();
        return texts;
    }

    std::size_t CountOf(Call_t call) { return world.Journal().Records({call}).size(); }

    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
    State state;
};

class PlaybackState_Construction : public StateTest {};
class PlaybackState_Render : public StateTest {};
class PlaybackState_UpdateClientState : public StateTest {};

// --- construction and destruction

TEST_F(PlaybackState_Construction, MakesNoSoundBufferAndNoCall) {
    State const other(new RendererAudioPlaybackState(device));
    EXPECT_FALSE(other->HasSoundBuffer());
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_THAT(BuffersOf(device), SizeIs(1));
}

TEST_F(PlaybackState_Construction, LastReferenceReleasesTheSoundBufferAndItsPlaceOnTheDevice) {
    ASSERT_TRUE(RenderFrame());
    EXPECT_THAT(BuffersOf(device), SizeIs(2));
    State other = state;
    state.reset();
    EXPECT_THAT(world.LiveBuffers(), SizeIs(1));
    other.reset();
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_THAT(BuffersOf(device), SizeIs(1));
    EXPECT_EQ(world.OpenHandles(), 1U);
}

// --- Render

TEST_F(PlaybackState_Render, EmptyFrameIsRefusedWhilePlaying) {
    ASSERT_TRUE(RenderFrame());
    TakeTexts();
    Kovra::JiffyTime presentation = InMilliSec(-100);
    EXPECT_FALSE(state->Render(nullptr, presentation));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(PlaybackState_Render, FrameIsWrittenBeforeItIsPresented) {
    ASSERT_TRUE(RenderFrame());
    // The first lock is the clearing of the new ring.
    EXPECT_THAT(world.Journal().Texts({Call_t::BufferLock, Call_t::BufferGetStatus, Call_t::BufferPlay}),
                ElementsAre("Lock(0, 480000)", "Lock(0, 1920)", "GetStatus()", "Play(1)"));
}

TEST_F(PlaybackState_Render, SecondFrameUsesTheSoundBufferThatThereIs) {
    ASSERT_TRUE(RenderFrame(0, 0));
    EXPECT_TRUE(RenderFrame(1, 20));
    EXPECT_EQ(CountOf(Call_t::SoundCreateSoundBuffer), 1U);
    EXPECT_THAT(world.OnlyBuffer().Samples(960, 960), testing::Each(5));
}

TEST_F(PlaybackState_Render, WithoutASoundBufferNothingIsWrittenOrPresented) {
    LogCapture const log;
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    // A time in the past would be logged and stop the buffer, if it came to that.
    Kovra::JiffyTime presentation = InMilliSec(-1);
    EXPECT_FALSE(state->Render(ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), presentation));
    EXPECT_FALSE(state->HasSoundBuffer());
    EXPECT_THAT(world.Journal().Records(CallSet::Buffer()), IsEmpty());
    EXPECT_THAT(log.GetTexts(), IsEmpty());
}

TEST_F(PlaybackState_Render, FailedCreationIsTriedAgainByTheNextFrame) {
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    EXPECT_FALSE(RenderFrame(0));
    EXPECT_TRUE(RenderFrame(1));
    EXPECT_EQ(CountOf(Call_t::SoundCreateSoundBuffer), 2U);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(PlaybackState_Render, OnAClosedDeviceFailsUntilTheDeviceIsOpen) {
    device.Close();
    EXPECT_FALSE(RenderFrame(0));
    EXPECT_FALSE(state->HasSoundBuffer());
    DevicePeer::OpenWithoutThread(device);
    EXPECT_TRUE(RenderFrame(1));
}

TEST_F(PlaybackState_Render, FailureOfThePresentationDoesNotChangeTheResult) {
    world.Faults().Fail(Call_t::BufferGetStatus, 1, DSERR_GENERIC);
    EXPECT_TRUE(RenderFrame());
    EXPECT_FALSE(world.OnlyBuffer().IsPlaying());
}

TEST_F(PlaybackState_Render, ExceptionOfTheCodecCountsAsAFailedDecodeAndThePresentationIsStillMade) {
    FakeCodec codec;
    codec.decode = [](Frames const&) -> Frames { throw std::bad_alloc(); };
    ASSERT_TRUE(RenderFrame(0));
    ASSERT_TRUE(world.OnlyBuffer().IsPlaying());
    // A presentation in the past stops the sound: a sign that it was looked at.
    Kovra::JiffyTime presentation = InMilliSec(-1);
    EXPECT_FALSE(state->Render(CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec), presentation));
    EXPECT_FALSE(world.OnlyBuffer().IsPlaying());
    EXPECT_TRUE(RenderFrame(1));
}

// --- UpdateClientState

TEST_F(PlaybackState_UpdateClientState, WithoutAClientStateIsFalseAndMakesNoCall) {
    ASSERT_TRUE(RenderFrame());
    TakeTexts();
    EXPECT_FALSE(state->UpdateClientState());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackState_UpdateClientState, WithoutAClientStateDoesNotWaitForARenderStep) {
    FakeCodec codec;
    std::promise<bool> promise;
    std::future<bool> result = promise.get_future();
    std::thread updater;
    bool hasReturned = false;
    codec.decode = [&](Frames const&) {
        // The render step holds the mutex here.
        updater = std::thread([&] { promise.set_value(state->UpdateClientState()); });
        hasReturned = result.wait_for(std::chrono::seconds(Simulation::World::WatchdogSeconds)) ==
                      std::future_status::ready;
        return Frames();
    };
    Kovra::JiffyTime presentation = InMilliSec(100);
    state->Render(CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec), presentation);
    updater.join();
    EXPECT_TRUE(hasReturned);
    EXPECT_FALSE(result.get());
}

TEST_F(PlaybackState_UpdateClientState, RememberedValuesAreAppliedToTheSoundBufferToCome) {
    ASSERT_TRUE(Update(0.25F, 0.5F));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_FALSE(state->HasSoundBuffer());
    ASSERT_TRUE(RenderFrame());
    // 0.25 x -20000 = -5000. 0.5^0.34375 = 0.78799, x -10000 = -7879.9.
    EXPECT_EQ(world.OnlyBuffer().Pan(), -5000);
    EXPECT_EQ(world.OnlyBuffer().Volume(), -2121);
    TakeTexts();
    EXPECT_TRUE(Update(0.25F, 0.5F));
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackState_UpdateClientState, AppliesBalanceThenVolumeAndNothingElse) {
    ASSERT_TRUE(RenderFrame());
    TakeTexts();
    EXPECT_TRUE(Update(0.75F, 0.0F));
    EXPECT_THAT(TakeTexts(), ElementsAre("SetPan(5000)", "SetVolume(-10000)"));
}

TEST_F(PlaybackState_UpdateClientState, DefaultsOfTheClientAreThoseOfTheBuffer) {
    ASSERT_TRUE(RenderFrame());
    TakeTexts();
    state->SetClientState(PipelineClientState_t());
    EXPECT_TRUE(state->UpdateClientState());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackState_UpdateClientState, OnlyWhatChangedIsApplied) {
    ASSERT_TRUE(RenderFrame());
    ASSERT_TRUE(Update(0.25F, 0.5F));
    TakeTexts();
    EXPECT_TRUE(Update(0.25F, 1.0F));
    EXPECT_THAT(TakeTexts(), ElementsAre("SetVolume(0)"));
    EXPECT_TRUE(Update(0.5F, 1.0F));
    EXPECT_THAT(TakeTexts(), ElementsAre("SetPan(0)"));
}

TEST_F(PlaybackState_UpdateClientState, WhatIsNoNumberIsAppliedEveryTime) {
    ASSERT_TRUE(RenderFrame());
    for (int i = 0; i < 2; ++i) {
        TakeTexts();
        EXPECT_TRUE(Update(NoNumber, NoNumber));
        EXPECT_EQ(CountOf(Call_t::BufferSetPan), 1U);
        EXPECT_EQ(CountOf(Call_t::BufferSetVolume), 1U);
    }
}

// --- threads

TEST(PlaybackState_Threads, RendersAndUpdatesAtOnceWhileThePlaybackThreadServices) {
    constexpr int Rounds = 200;
    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
    ASSERT_TRUE(OpenWithRunningThread(device, world));
    State const state(new RendererAudioPlaybackState(device));

    std::thread renderer([&] {
        for (int i = 0; i < Rounds; ++i) {
            Kovra::JiffyTime presentation = InMilliSec(100);
            EXPECT_TRUE(state->Render(
                ConstantFrame(FirstTimestampNanoSec + i * FrameNanoSec, FrameSamples, 5), presentation));
        }
    });
    std::thread client([&] {
        for (int i = 0; i < Rounds; ++i) {
            state->SetClientState(Client(static_cast<float>(i % 3) / 2.0F, static_cast<float>(i % 2)));
            EXPECT_TRUE(state->UpdateClientState());
        }
    });
    std::thread watcher([&] {
        for (int i = 0; i < Rounds; ++i) {
            state->HasSoundBuffer();
        }
    });
    renderer.join();
    client.join();
    watcher.join();
    // The last round: 199 % 3 = 1, so the centre; 199 % 2 = 1, so full.
    EXPECT_EQ(world.OnlyBuffer().Pan(), 0);
    EXPECT_EQ(world.OnlyBuffer().Volume(), 0);
}

} // namespace
} // namespace UnitTest
