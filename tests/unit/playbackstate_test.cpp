#include "rendereraudioplaybackstate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "rendereraudioplaybackdevice.h"
#include "simulation/testworld.h"
#include "support/deviceview.h"
#include "support/fakecodec.h"
#include "support/runningdevice.h"

namespace Media {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::ConstantFrame;
using UnitTest::NanoSecPerMilliSec;

using State = boost::intrusive_ptr<RendererAudioPlaybackState>;

constexpr std::int64_t FirstTimestampNanoSec = 1'000'000'000;
constexpr std::size_t FrameSamples = 960;
constexpr float NoNumber = std::numeric_limits<float>::quiet_NaN();

PipelineClientState_t Client(float balance, float volume) {
    PipelineClientState_t client;
    client.balance = balance;
    client.volume = volume;
    return client;
}

Kovra::JiffyTime InMilliSec(std::int64_t milliSec) {
    return Kovra::JiffyTime::Now().AddMilliSec(milliSec);
}

/// A session on an open device without a playback thread.
class StateTest : public ::testing::Test {
protected:
    StateTest() {
        UnitTest::DevicePeer::OpenWithoutThread(device_);
        state_.reset(new RendererAudioPlaybackState(device_));
        world_.Journal().Enable();
    }

    /// Renders frame number `number` of 20 ms, to be heard in `leadMilliSec`.
    bool RenderFrame(std::int64_t number = 0, std::int64_t leadMilliSec = 100) {
        Kovra::JiffyTime presentation = InMilliSec(leadMilliSec);
        return state_->Render(
            ConstantFrame(FirstTimestampNanoSec + number * 20 * NanoSecPerMilliSec, FrameSamples, 5),
            presentation);
    }

    bool Update(float balance, float volume) {
        state_->SetClientState(Client(balance, volume));
        return state_->UpdateClientState();
    }

    /// Calls since the last time, references left out.
    std::vector<std::string> TakeTexts() {
        auto texts = world_.Journal().Texts(UnitTest::CallsButReferences());
        world_.Journal().Clear();
        return texts;
    }

    std::size_t CountOf(Call_t call) { return world_.Journal().Records({call}).size(); }

    RendererAudioPlaybackBufferPeer::Fields& GetFields() {
        return RendererAudioPlaybackBufferPeer::GetFields(RendererAudioPlaybackStatePeer::GetBuffer(*state_));
    }

    Simulation::TestWorld world_;
    RendererAudioPlaybackDevice device_;
    State state_;
};

class PlaybackState_Construction : public StateTest {};
class PlaybackState_Render : public StateTest {};
class PlaybackState_UpdateClientState : public StateTest {};

// --- construction and destruction

TEST_F(PlaybackState_Construction, MakesNoSoundBufferAndNoCall) {
    State const other(new RendererAudioPlaybackState(device_));
    EXPECT_FALSE(other->HasSoundBuffer());
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_THAT(UnitTest::BuffersOf(device_), SizeIs(1));
}

TEST_F(PlaybackState_Construction, LastReferenceReleasesTheSoundBufferAndItsPlaceOnTheDevice) {
    ASSERT_TRUE(RenderFrame());
    EXPECT_THAT(UnitTest::BuffersOf(device_), SizeIs(2));
    State other = state_;
    state_.reset();
    EXPECT_THAT(world_.LiveBuffers(), SizeIs(1));
    other.reset();
    EXPECT_THAT(world_.LiveBuffers(), IsEmpty());
    EXPECT_THAT(UnitTest::BuffersOf(device_), SizeIs(1));
    EXPECT_EQ(world_.OpenHandles(), 1U);
}

// --- Render

TEST_F(PlaybackState_Render, EmptyFrameIsRefusedWithoutTouchingAnything) {
    Kovra::JiffyTime presentation = InMilliSec(100);
    Kovra::JiffyTime const asked = presentation;
    EXPECT_FALSE(state_->Render(nullptr, presentation));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_FALSE(state_->HasSoundBuffer());
    EXPECT_EQ(presentation, asked);
}

TEST_F(PlaybackState_Render, EmptyFrameIsRefusedWhilePlaying) {
    ASSERT_TRUE(RenderFrame());
    TakeTexts();
    Kovra::JiffyTime presentation = InMilliSec(-100);
    EXPECT_FALSE(state_->Render(nullptr, presentation));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
}

TEST_F(PlaybackState_Render, FirstFrameCreatesTheSoundBufferIsWrittenAndPresented) {
    EXPECT_TRUE(RenderFrame());
    EXPECT_TRUE(state_->HasSoundBuffer());
    auto& buffer = world_.OnlyBuffer();
    EXPECT_THAT(buffer.Samples(0, 960), ::testing::Each(5));
    EXPECT_TRUE(buffer.IsSilent(960, 1000));
    EXPECT_TRUE(buffer.IsPlaying());
    // 100 ms are 100,000,000 / 20833 = 4800 samples before position 0.
    EXPECT_EQ(buffer.PlayFrame(), 235200U);
}

TEST_F(PlaybackState_Render, FrameIsWrittenBeforeItIsPresented) {
    ASSERT_TRUE(RenderFrame());
    // The first lock is the clearing of the new ring.
    EXPECT_THAT(world_.Journal().Texts({Call_t::BufferLock, Call_t::BufferGetStatus, Call_t::BufferPlay}),
                ElementsAre("Lock(0, 480000)", "Lock(0, 1920)", "GetStatus()", "Play(1)"));
}

TEST_F(PlaybackState_Render, SecondFrameUsesTheSoundBufferThatThereIs) {
    ASSERT_TRUE(RenderFrame(0, 0));
    EXPECT_TRUE(RenderFrame(1, 20));
    EXPECT_EQ(CountOf(Call_t::SoundCreateSoundBuffer), 1U);
    EXPECT_THAT(world_.OnlyBuffer().Samples(960, 960), ::testing::Each(5));
}

TEST_F(PlaybackState_Render, PresentationComesBackAsTheTimeAtWhichTheFrameWillBeHeard) {
    ASSERT_TRUE(RenderFrame(0));
    // The ring plays frame 1 at its position 960, 4800 + 960 samples from now on: 5760 x 20833 ns are
    // 119,998,080 ns, truncated to 119 ms. What was asked for, 150 ms, is near enough to be steered at.
    Kovra::JiffyTime presentation = InMilliSec(150);
    EXPECT_TRUE(state_->Render(
        ConstantFrame(FirstTimestampNanoSec + 20 * NanoSecPerMilliSec, FrameSamples, 5), presentation));
    EXPECT_EQ(presentation, InMilliSec(119));
}

TEST_F(PlaybackState_Render, PresentationOfAStartComesBackAsItWas) {
    Kovra::JiffyTime presentation = InMilliSec(100);
    EXPECT_TRUE(state_->Render(ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), presentation));
    EXPECT_EQ(presentation, InMilliSec(100));
}

TEST_F(PlaybackState_Render, WithoutASoundBufferNothingIsWrittenOrPresented) {
    world_.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    // A time in the past would be logged and stop the buffer, if it came to that.
    Kovra::JiffyTime presentation = InMilliSec(-1);
    EXPECT_FALSE(state_->Render(ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), presentation));
    EXPECT_FALSE(state_->HasSoundBuffer());
    EXPECT_THAT(world_.Journal().Records(CallSet::Buffer()), IsEmpty());
    EXPECT_EQ(GetFields().active.load(), 0);
}

TEST_F(PlaybackState_Render, FailedCreationIsTriedAgainByTheNextFrame) {
    world_.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    EXPECT_FALSE(RenderFrame(0));
    EXPECT_TRUE(RenderFrame(1));
    EXPECT_EQ(CountOf(Call_t::SoundCreateSoundBuffer), 2U);
    EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
}

TEST_F(PlaybackState_Render, OnAClosedDeviceFailsUntilTheDeviceIsOpen) {
    device_.Close();
    EXPECT_FALSE(RenderFrame(0));
    EXPECT_FALSE(state_->HasSoundBuffer());
    UnitTest::DevicePeer::OpenWithoutThread(device_);
    EXPECT_TRUE(RenderFrame(1));
}

TEST_F(PlaybackState_Render, FrameThatCannotBeWrittenIsPresentedAllTheSame) {
    // Lock 1 clears the new ring, lock 2 is the frame's.
    world_.Faults().Fail(Call_t::BufferLock, 2, DSERR_GENERIC);
    EXPECT_FALSE(RenderFrame());
    EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
    EXPECT_EQ(world_.OnlyBuffer().PlayFrame(), 235200U);
    EXPECT_TRUE(world_.OnlyBuffer().IsSilent(0, 960));
}

TEST_F(PlaybackState_Render, FailureOfThePresentationDoesNotChangeTheResult) {
    world_.Faults().Fail(Call_t::BufferGetStatus, 1, DSERR_GENERIC);
    EXPECT_TRUE(RenderFrame());
    EXPECT_FALSE(world_.OnlyBuffer().IsPlaying());
}

TEST_F(PlaybackState_Render, ExceptionOfTheCodecCountsAsAFailedDecodeAndThePresentationIsStillMade) {
    UnitTest::FakeCodec codec;
    codec.decode = [](UnitTest::Frames const&) -> UnitTest::Frames { throw std::bad_alloc(); };
    ASSERT_TRUE(RenderFrame(0));
    ASSERT_TRUE(world_.OnlyBuffer().IsPlaying());
    // A presentation in the past stops the sound: a sign that it was looked at.
    Kovra::JiffyTime presentation = InMilliSec(-1);
    EXPECT_FALSE(
        state_->Render(UnitTest::CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec), presentation));
    EXPECT_FALSE(world_.OnlyBuffer().IsPlaying());
    EXPECT_TRUE(RenderFrame(1));
}

// --- UpdateClientState

TEST_F(PlaybackState_UpdateClientState, WithoutAClientStateIsFalseAndMakesNoCall) {
    ASSERT_TRUE(RenderFrame());
    TakeTexts();
    EXPECT_FALSE(state_->UpdateClientState());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackState_UpdateClientState, WithoutAClientStateDoesNotWaitForARenderStep) {
    UnitTest::FakeCodec codec;
    std::promise<bool> promise;
    std::future<bool> result = promise.get_future();
    std::thread updater;
    bool hasReturned = false;
    codec.decode = [&](UnitTest::Frames const&) {
        // The render step holds the mutex here.
        updater = std::thread([&] { promise.set_value(state_->UpdateClientState()); });
        hasReturned = result.wait_for(std::chrono::seconds(Simulation::World::WatchdogSeconds)) ==
                      std::future_status::ready;
        return UnitTest::Frames();
    };
    Kovra::JiffyTime presentation = InMilliSec(100);
    state_->Render(UnitTest::CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec), presentation);
    updater.join();
    EXPECT_TRUE(hasReturned);
    EXPECT_FALSE(result.get());
}

TEST_F(PlaybackState_UpdateClientState, WithoutASoundBufferRemembersAndMakesNoCall) {
    EXPECT_TRUE(Update(0.25F, 0.5F));
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_FALSE(state_->HasSoundBuffer());
    EXPECT_EQ(GetFields().pan, 0.25F);
    EXPECT_EQ(GetFields().volume, 0.5F);
}

TEST_F(PlaybackState_UpdateClientState, RememberedValuesAreAppliedToTheSoundBufferToCome) {
    ASSERT_TRUE(Update(0.25F, 0.5F));
    ASSERT_TRUE(RenderFrame());
    // 0.25 x -20000 = -5000. 0.5^0.34375 = 0.78799, x -10000 = -7879.9.
    EXPECT_EQ(world_.OnlyBuffer().Pan(), -5000);
    EXPECT_EQ(world_.OnlyBuffer().Volume(), -2121);
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
    state_->SetClientState(PipelineClientState_t());
    EXPECT_TRUE(state_->UpdateClientState());
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackState_UpdateClientState, SameValuesAreAppliedOnce) {
    ASSERT_TRUE(RenderFrame());
    ASSERT_TRUE(Update(0.25F, 0.5F));
    TakeTexts();
    EXPECT_TRUE(Update(0.25F, 0.5F));
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

TEST_F(PlaybackState_UpdateClientState, RefusalsOfDirectSoundAreIgnoredAndNotTriedAgain) {
    ASSERT_TRUE(RenderFrame());
    world_.Faults().Fail(Call_t::BufferSetPan, 1, DSERR_GENERIC);
    world_.Faults().Fail(Call_t::BufferSetVolume, 1, DSERR_GENERIC);
    TakeTexts();
    EXPECT_TRUE(Update(0.25F, 0.5F));
    EXPECT_EQ(CountOf(Call_t::BufferSetPan), 1U);
    EXPECT_EQ(CountOf(Call_t::BufferSetVolume), 1U);
    TakeTexts();
    EXPECT_TRUE(Update(0.25F, 0.5F));
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(PlaybackState_UpdateClientState, AppliedVolumeSurvivesAStopAndANewStart) {
    ASSERT_TRUE(RenderFrame(0));
    ASSERT_TRUE(Update(0.5F, 0.5F));
    Kovra::JiffyTime past = InMilliSec(-1);
    state_->Render(ConstantFrame(FirstTimestampNanoSec + 20 * NanoSecPerMilliSec, FrameSamples, 5), past);
    ASSERT_FALSE(world_.OnlyBuffer().IsPlaying());
    TakeTexts();
    ASSERT_TRUE(RenderFrame(2));
    EXPECT_THAT(world_.Journal().Texts({Call_t::BufferSetVolume}), ElementsAre("SetVolume(-2121)"));
}

// --- the mapping, through the operation

struct Mapping {
    char const* name;
    float value;
    LONG expected;
};

class PlaybackState_Balance : public StateTest, public ::testing::WithParamInterface<Mapping> {};

TEST_P(PlaybackState_Balance, IsAppliedAsPan) {
    ASSERT_TRUE(RenderFrame());
    EXPECT_TRUE(Update(GetParam().value, 1.0F));
    EXPECT_EQ(world_.OnlyBuffer().Pan(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Values, PlaybackState_Balance,
                         ::testing::Values(Mapping{"FullLeft", 0.0F, -10000}, Mapping{"Centre", 0.5F, 0},
                                           Mapping{"FullRight", 1.0F, 10000},
                                           Mapping{"AboveIsClamped", 2.0F, 10000},
                                           Mapping{"BelowIsClamped", -1.0F, -10000},
                                           // 0.7F is 0.69999999: x -20000 = -13999.9998, truncated.
                                           Mapping{"IsTruncatedTowardsZero", 0.7F, 3999},
                                           // 0.1F is 0.1000000015: x -20000 = -2000.00003, truncated.
                                           Mapping{"OfTenthIsExact", 0.1F, -8000}),
                         [](auto const& test) { return test.param.name; });

class PlaybackState_Volume : public StateTest, public ::testing::WithParamInterface<Mapping> {};

TEST_P(PlaybackState_Volume, IsAppliedAsAttenuation) {
    ASSERT_TRUE(RenderFrame());
    ASSERT_TRUE(Update(0.5F, 0.9F));
    EXPECT_TRUE(Update(0.5F, GetParam().value));
    EXPECT_EQ(world_.OnlyBuffer().Volume(), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Values, PlaybackState_Volume,
                         ::testing::Values(Mapping{"Full", 1.0F, 0}, Mapping{"Silent", 0.0F, -10000},
                                           Mapping{"AboveIsClamped", 2.0F, 0},
                                           // 2^-0.34375 = 0.78799
                                           Mapping{"Half", 0.5F, -2121},
                                           // 2^-0.6875 = 0.62093
                                           Mapping{"Quarter", 0.25F, -3791}),
                         [](auto const& test) { return test.param.name; });

// --- threads

TEST(PlaybackState_Threads, RendersAndUpdatesAtOnceWhileThePlaybackThreadServices) {
    constexpr int Rounds = 200;
    Simulation::TestWorld world;
    RendererAudioPlaybackDevice device;
    ASSERT_TRUE(UnitTest::OpenWithRunningThread(device, world));
    State const state(new RendererAudioPlaybackState(device));

    std::thread renderer([&] {
        for (int i = 0; i < Rounds; ++i) {
            Kovra::JiffyTime presentation = InMilliSec(100);
            EXPECT_TRUE(state->Render(
                ConstantFrame(FirstTimestampNanoSec + i * 20 * NanoSecPerMilliSec, FrameSamples, 5),
                presentation));
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
} // namespace Media
