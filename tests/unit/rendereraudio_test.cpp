#include "rendereraudio.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include "pipeline/pipeline.h"
#include "simulation/testworld.h"
#include "support/deviceview.h"
#include "support/fakecodec.h"
#include "support/rendererview.h"

namespace Media {
namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::SizeIs;
using UnitTest::ConstantFrame;
using UnitTest::NanoSecPerMilliSec;
using UnitTest::OpenSession;
using UnitTest::RenderJob;
using Outcome_t = PipelineStageJob::Outcome_t;

constexpr std::int64_t FirstTimestampNanoSec = 1'000'000'000;
constexpr std::size_t FrameSamples = 960;

Kovra::JiffyTime InMilliSec(std::int64_t milliSec) {
    return Kovra::JiffyTime::Now().AddMilliSec(milliSec);
}

/// A state of another make that tells of its end.
class ForeignState : public PipelineState {
public:
    explicit ForeignState(int& destroyedCount) : destroyedCount_(destroyedCount) {}
    ~ForeignState() override { ++destroyedCount_; }

private:
    int& destroyedCount_;
};

/// A renderer of another make.
class ForeignRenderer : public IPipelineRenderer {
public:
    int Initialize() override { return 0; }
    void Shutdown() override {}
    bool IsEnabled() const override { return false; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }
    void RegisterSession(PipelineSessionParams_t&, boost::intrusive_ptr<PipelineState>&) override {}
    void Divide(boost::intrusive_ptr<PipelineStageRenderJob> const&) override {}
};

class RendererTest : public ::testing::Test {
protected:
    RendererTest() { world_.Journal().Enable(); }

    std::size_t CountOf(Call_t call) { return world_.Journal().Records({call}).size(); }

    /// Calls of the test's own thread since the last time, references left out.
    std::vector<std::string> TakeTexts() {
        auto texts = UnitTest::TextsOfThread(world_, "", UnitTest::CallsButReferences());
        world_.Journal().Clear();
        return texts;
    }

    Simulation::TestWorld world_;
};

class RendererAudio_Construction : public RendererTest {};
class RendererAudio_Instance : public RendererTest {};
class RendererAudio_Initialize : public RendererTest {};
class RendererAudio_Shutdown : public RendererTest {};
class RendererAudio_RegisterSession : public RendererTest {};

// --- construction and destruction

TEST_F(RendererAudio_Construction, MakesTheWakeEventsOfItsTwoDevicesAloneAndIsDisabled) {
    RendererAudio const renderer;
    EXPECT_FALSE(renderer.IsEnabled());
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)", "CreateEventA(0, 0)"));
}

TEST_F(RendererAudio_Construction, TypeAndSubTypeAreZero) {
    RendererAudio const renderer;
    EXPECT_EQ(static_cast<int>(renderer.GetType()), 0);
    EXPECT_EQ(static_cast<int>(renderer.GetSubType()), 0);
}

TEST_F(RendererAudio_Construction, IsAPipelineRendererThatAddsNoDevicesOfItsOwn) {
    RendererAudio renderer;
    IPipelineRenderer& base = renderer;
    PipelineDevices devices;
    base.GetDevices(devices);
    EXPECT_THAT(devices.names, IsEmpty());
    RendererHardwareDevices hardware;
    base.GetHardwareDevices(hardware);
    EXPECT_THAT(hardware.names, IsEmpty());
    static_assert(std::has_virtual_destructor_v<RendererAudio>);
}

TEST_F(RendererAudio_Construction, DestructionOfAnEnabledRendererShutsItDown) {
    {
        RendererAudio renderer;
        ASSERT_EQ(renderer.Initialize(), 0);
        world_.Journal().Clear();
    }
    // Event 1 wakes the playback device, event 2 the capture device, which goes first.
    EXPECT_THAT(UnitTest::TextsOfThread(
                    world_, "", {Call_t::Win32SetEvent, Call_t::SoundRelease, Call_t::Win32CloseHandle}),
                ElementsAre("SetEvent(1)", "Release()", "SetEvent(2)", "CloseHandle(2)", "CloseHandle(1)"));
}

TEST_F(RendererAudio_Construction, DestructionOfADisabledRendererClosesWhatASessionOpened) {
    {
        RendererAudio renderer;
        ASSERT_NE(OpenSession(renderer), nullptr);
        EXPECT_EQ(world_.LiveSounds(), 1U);
    }
    EXPECT_EQ(world_.LiveSounds(), 0U);
    EXPECT_EQ(world_.OpenHandles(), 0U);
}

// --- Instance

TEST_F(RendererAudio_Instance, IsNullWhenThePipelineHasNoRenderer) {
    RendererAudio const renderer;
    Pipeline::SetAudioRenderer(nullptr);
    EXPECT_EQ(RendererAudio::Instance(), nullptr);
}

TEST_F(RendererAudio_Instance, IsNullWhenThePipelineHasARendererOfAnotherClass) {
    ForeignRenderer other;
    Pipeline::SetAudioRenderer(&other);
    EXPECT_EQ(RendererAudio::Instance(), nullptr);
    Pipeline::SetAudioRenderer(nullptr);
}

TEST_F(RendererAudio_Instance, IsTheRendererThatThePipelineHas) {
    RendererAudio renderer;
    RendererAudio const other;
    Pipeline::SetAudioRenderer(&renderer);
    EXPECT_EQ(RendererAudio::Instance(), &renderer);
    Pipeline::SetAudioRenderer(nullptr);
}

// --- Initialize

TEST_F(RendererAudio_Initialize, OpensThePlaybackDeviceThenTheCaptureDeviceAndEnables) {
    RendererAudio renderer;
    TakeTexts();
    EXPECT_EQ(renderer.Initialize(), 0);
    EXPECT_TRUE(renderer.IsEnabled());
    EXPECT_THAT(TakeTexts(),
                ElementsAre("DirectSoundEnumerateA()", "DirectSoundCreate8()", "GetDesktopWindow()",
                            "SetCooperativeLevel(2)", "DirectSoundCaptureEnumerateA()",
                            "DirectSoundCaptureCreate8()", "GetCaps()"));
}

TEST_F(RendererAudio_Initialize, WhenEnabledOpensNothingAgain) {
    RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    TakeTexts();
    EXPECT_EQ(renderer.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_Initialize, WhenEnabledDoesNotEvenTryAMissingDriver) {
    world_.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_NODRIVER);
    RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    TakeTexts();
    EXPECT_EQ(renderer.Initialize(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_Initialize, AfterASessionOpenedThePlaybackDeviceOpensTheCaptureDeviceAlone) {
    RendererAudio renderer;
    auto const session = OpenSession(renderer);
    ASSERT_NE(session, nullptr);
    EXPECT_FALSE(renderer.IsEnabled());
    TakeTexts();
    EXPECT_EQ(renderer.Initialize(), 0);
    EXPECT_TRUE(renderer.IsEnabled());
    EXPECT_THAT(TakeTexts(),
                ElementsAre("DirectSoundCaptureEnumerateA()", "DirectSoundCaptureCreate8()", "GetCaps()"));
}

TEST_F(RendererAudio_Initialize, AfterShutdownOpensAgain) {
    RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    renderer.Shutdown();
    ASSERT_FALSE(renderer.IsEnabled());
    EXPECT_EQ(renderer.Initialize(), 0);
    EXPECT_TRUE(renderer.IsEnabled());
    EXPECT_EQ(world_.SoundCount(), 2U);
    EXPECT_EQ(world_.LiveSounds(), 1U);
}

/// A way in which the playback device fails to open.
struct OpenFailure {
    char const* name;
    Call_t call;
    std::uint32_t result;
    /// What `Initialize` gives.
    int status;
    bool isEnabledThen;
    bool isSessionAccepted;
};

class RendererAudio_OpenFailure : public RendererTest, public ::testing::WithParamInterface<OpenFailure> {
protected:
    RendererAudio_OpenFailure() {
        world_.Faults().FailAlways(GetParam().call, static_cast<HRESULT>(GetParam().result));
    }
};

TEST_P(RendererAudio_OpenFailure, InitializeGivesItsStatusAndIsEnabledOrNot) {
    RendererAudio renderer;
    EXPECT_EQ(renderer.Initialize(), GetParam().status);
    EXPECT_EQ(renderer.IsEnabled(), GetParam().isEnabledThen);
    EXPECT_EQ(world_.LiveSounds(), 0U);
}

TEST_P(RendererAudio_OpenFailure, RefusedInitializeIsTriedAgain) {
    RendererAudio renderer;
    renderer.Initialize();
    world_.Faults().Clear();
    EXPECT_EQ(renderer.Initialize(), 0);
    EXPECT_TRUE(renderer.IsEnabled());
    // An enabled renderer takes its missing device for what it is.
    EXPECT_EQ(world_.LiveSounds(), GetParam().isEnabledThen ? 0U : 1U);
}

TEST_P(RendererAudio_OpenFailure, RegisterSessionLeavesAnEmptyPointerEmptyOrFillsIt) {
    RendererAudio renderer;
    EXPECT_EQ(OpenSession(renderer) != nullptr, GetParam().isSessionAccepted);
}

TEST_P(RendererAudio_OpenFailure, RegisterSessionLeavesAPreviousStateInPlaceOrReplacesIt) {
    RendererAudio renderer;
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> state(new ForeignState(destroyedCount));
    PipelineState const* const before = state.get();
    PipelineSessionParams_t params;
    renderer.RegisterSession(params, state);
    EXPECT_EQ(state.get() != before, GetParam().isSessionAccepted);
    EXPECT_EQ(destroyedCount, GetParam().isSessionAccepted ? 1 : 0);
}

INSTANTIATE_TEST_SUITE_P(
    Results, RendererAudio_OpenFailure,
    ::testing::Values(OpenFailure{"Enumeration", Call_t::SoundEnumerate, 0x80004005, -26, false, false},
                      OpenFailure{"NoAggregation", Call_t::SoundCreate8, 0x80040110, -26, false, false},
                      OpenFailure{"OutOfMemory", Call_t::SoundCreate8, 0x8007000E, -202, false, false},
                      OpenFailure{"InvalidArgument", Call_t::SoundCreate8, 0x80070057, -41, false, false},
                      OpenFailure{"Allocated", Call_t::SoundCreate8, 0x8878000A, -200, false, false},
                      OpenFailure{"CooperativeLevel", Call_t::SoundSetCooperativeLevel, 0x8878000A, -1, false,
                                  false},
                      // No sound driver: the renderer starts, and plays nothing.
                      OpenFailure{"NoDriver", Call_t::SoundCreate8, 0x88780078, 0, true, false},
                      // A failure without a status of its own counts as success.
                      OpenFailure{"Unlisted", Call_t::SoundCreate8, 0x80004005, 0, true, true},
                      OpenFailure{"NullObject", Call_t::SoundCreate8, 0, 0, true, true}),
    [](auto const& test) { return test.param.name; });

// --- Shutdown

TEST_F(RendererAudio_Shutdown, ClosesTheDeviceAndDisables) {
    RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    renderer.Shutdown();
    EXPECT_FALSE(renderer.IsEnabled());
    EXPECT_EQ(world_.LiveSounds(), 0U);
}

TEST_F(RendererAudio_Shutdown, OfADisabledRendererClosesWhatASessionOpened) {
    RendererAudio renderer;
    auto const session = OpenSession(renderer);
    ASSERT_NE(session, nullptr);
    renderer.Shutdown();
    EXPECT_EQ(world_.LiveSounds(), 0U);
    EXPECT_FALSE(renderer.IsEnabled());
}

TEST_F(RendererAudio_Shutdown, OfANewRendererDoesNothing) {
    RendererAudio renderer;
    TakeTexts();
    renderer.Shutdown();
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_FALSE(renderer.IsEnabled());
}

TEST_F(RendererAudio_Shutdown, WithoutADriverDisables) {
    world_.Faults().FailAlways(Call_t::SoundCreate8, DSERR_NODRIVER);
    RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    renderer.Shutdown();
    EXPECT_FALSE(renderer.IsEnabled());
}

// --- RegisterSession

TEST_F(RendererAudio_RegisterSession, BeforeInitializeOpensTheDeviceItself) {
    RendererAudio renderer;
    TakeTexts();
    auto const session = OpenSession(renderer);
    EXPECT_NE(session, nullptr);
    EXPECT_THAT(TakeTexts(), ElementsAre("DirectSoundEnumerateA()", "DirectSoundCreate8()",
                                         "GetDesktopWindow()", "SetCooperativeLevel(2)"));
    EXPECT_FALSE(renderer.IsEnabled());
}

TEST_F(RendererAudio_RegisterSession, OnAnOpenDeviceMakesNoCall) {
    RendererAudio renderer;
    ASSERT_EQ(renderer.Initialize(), 0);
    TakeTexts();
    EXPECT_NE(OpenSession(renderer), nullptr);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_RegisterSession, WithoutAudioLeavesEverythingAsItWas) {
    RendererAudio renderer;
    TakeTexts();
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> none;
    boost::intrusive_ptr<PipelineState> previous(new ForeignState(destroyedCount));
    PipelineState const* const before = previous.get();
    PipelineSessionParams_t params;
    params.renderAudio = false;
    params.renderVideo = true;
    renderer.RegisterSession(params, none);
    renderer.RegisterSession(params, previous);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(previous.get(), before);
    EXPECT_EQ(destroyedCount, 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_RegisterSession, ReplacesAndReleasesThePreviousState) {
    RendererAudio renderer;
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> state(new ForeignState(destroyedCount));
    PipelineSessionParams_t params;
    renderer.RegisterSession(params, state);
    EXPECT_EQ(destroyedCount, 1);
    EXPECT_NE(dynamic_cast<RendererAudioPlaybackState*>(state.get()), nullptr);
}

TEST_F(RendererAudio_RegisterSession, PreviousStateWithAnotherHolderLivesOn) {
    RendererAudio renderer;
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> state(new ForeignState(destroyedCount));
    boost::intrusive_ptr<PipelineState> const other = state;
    PipelineSessionParams_t params;
    renderer.RegisterSession(params, state);
    EXPECT_EQ(destroyedCount, 0);
    EXPECT_NE(state, other);
}

TEST_F(RendererAudio_RegisterSession, EachSessionHasAStateOfItsOwn) {
    RendererAudio renderer;
    auto const first = OpenSession(renderer);
    auto const second = OpenSession(renderer);
    EXPECT_NE(first, second);
}

TEST_F(RendererAudio_RegisterSession, StateIsDestroyedWithTheHoldersReference) {
    RendererAudio renderer;
    auto session = OpenSession(renderer);
    renderer.Divide(
        RenderJob(session, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100)));
    ASSERT_THAT(world_.LiveBuffers(), SizeIs(1));
    session.reset();
    EXPECT_THAT(world_.LiveBuffers(), IsEmpty());
}

TEST_F(RendererAudio_RegisterSession, UnlistedFailureGivesASessionThatPlaysOnceTheDeviceIsThere) {
    world_.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_GENERIC);
    RendererAudio renderer;
    auto const session = OpenSession(renderer);
    ASSERT_NE(session, nullptr);
    auto const frame = ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5);
    auto const lost = RenderJob(session, frame, InMilliSec(100));
    renderer.Divide(lost);
    EXPECT_EQ(lost->GetOutcome(), Outcome_t::Uncompleted);

    ASSERT_EQ(renderer.Initialize(), 0);
    auto const heard = RenderJob(session, frame, InMilliSec(100));
    renderer.Divide(heard);
    EXPECT_EQ(heard->GetOutcome(), Outcome_t::Succeeded);
}

TEST_F(RendererAudio_RegisterSession, FromSeveralThreadsAtOnceOpensTheDeviceOnce) {
    RendererAudio renderer;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&renderer] { EXPECT_NE(OpenSession(renderer), nullptr); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(CountOf(Call_t::SoundCreate8), 1U);
}

// --- Divide

class RendererAudio_Divide : public RendererTest {
protected:
    RendererAudio_Divide() : session_(OpenSession(renderer_)) {}

    RendererAudio renderer_;
    boost::intrusive_ptr<PipelineState> session_;
};

TEST_F(RendererAudio_Divide, NullJobIsIgnored) {
    renderer_.Divide(nullptr);
}

TEST_F(RendererAudio_Divide, JobWithoutStateIsAbortedWithItsTimestampUntouched) {
    auto const job =
        RenderJob(nullptr, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    Kovra::JiffyTime const before(42);
    job->GetPresentationTimestamp() = before;
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Aborted);
    EXPECT_EQ(job->GetPresentationTimestamp(), before);
    EXPECT_THAT(world_.Buffers(), IsEmpty());
}

TEST_F(RendererAudio_Divide, WrittenFrameSucceeds) {
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_THAT(world_.OnlyBuffer().Samples(0, 960), Each(5));
}

TEST_F(RendererAudio_Divide, JobWithoutFrameStaysUncompletedYetGetsItsTimestamp) {
    auto const job = RenderJob(session_, nullptr, InMilliSec(70));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(70));
    EXPECT_THAT(world_.Buffers(), IsEmpty());
}

TEST_F(RendererAudio_Divide, TimestampIsThatOfTheRenderParametersWhateverItWas) {
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    job->GetPresentationTimestamp() = InMilliSec(-1000);
    renderer_.Divide(job);
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(100));
    EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
    EXPECT_EQ(world_.OnlyBuffer().PlayFrame(), 235200U);
}

TEST_F(RendererAudio_Divide, TimestampComesBackAsAchievedWhilePlaying) {
    renderer_.Divide(
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100)));
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec + 20 * NanoSecPerMilliSec, FrameSamples, 5),
                  InMilliSec(150));
    renderer_.Divide(job);
    // 4800 + 960 samples lie ahead: 5760 x 20833 ns = 119,998,080 ns, truncated.
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(119));
    EXPECT_EQ(job->Params()->presentationTime, InMilliSec(150));
}

TEST_F(RendererAudio_Divide, RawFrameWinsOverACodedOne) {
    UnitTest::FakeCodec codec;
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    job->Registers().set(UnitTest::CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_THAT(codec.decodeCalls, IsEmpty());
    EXPECT_THAT(world_.OnlyBuffer().Samples(0, 960), Each(5));
}

TEST_F(RendererAudio_Divide, CodedFrameIsRenderedWhenThereIsNoRawOne) {
    UnitTest::FakeCodec codec;
    codec.decode = [](UnitTest::Frames const&) {
        return UnitTest::Frames{ConstantFrame(FirstTimestampNanoSec, 160, 9)};
    };
    auto const coded = UnitTest::CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec);
    auto const job = RenderJob(session_, coded, InMilliSec(100));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    ASSERT_THAT(codec.decodeCalls, SizeIs(1));
    EXPECT_THAT(codec.decodeCalls[0], ElementsAre(coded));
    EXPECT_THAT(world_.OnlyBuffer().Samples(0, 160), Each(9));
}

TEST_F(RendererAudio_Divide, FailedCreationOfTheSoundBufferLeavesTheJobUncompleted) {
    world_.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(100));
}

TEST_F(RendererAudio_Divide, FailedWriteLeavesTheJobUncompletedAndPlays) {
    // Lock 1 clears the new ring, lock 2 is the frame's.
    world_.Faults().Fail(Call_t::BufferLock, 2, DSERR_GENERIC);
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
}

TEST_F(RendererAudio_Divide, PresentationInThePastStopsAndStillSucceeds) {
    renderer_.Divide(
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100)));
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec + 20 * NanoSecPerMilliSec, FrameSamples, 5),
                  InMilliSec(-1));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_FALSE(world_.OnlyBuffer().IsPlaying());
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(-1));
}

TEST_F(RendererAudio_Divide, ExceptionOfTheCodecLeavesTheJobUncompletedAndTheSessionUsable) {
    UnitTest::FakeCodec codec;
    codec.decode = [](UnitTest::Frames const&) -> UnitTest::Frames { throw std::bad_alloc(); };
    auto const lost = RenderJob(session_, UnitTest::CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec),
                                InMilliSec(100));
    EXPECT_NO_THROW(renderer_.Divide(lost));
    EXPECT_EQ(lost->GetOutcome(), Outcome_t::Uncompleted);

    auto const next =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    renderer_.Divide(next);
    EXPECT_EQ(next->GetOutcome(), Outcome_t::Succeeded);
}

TEST_F(RendererAudio_Divide, OnADisabledRendererPlays) {
    ASSERT_FALSE(renderer_.IsEnabled());
    auto const job =
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    renderer_.Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
}

TEST_F(RendererAudio_Divide, SessionsHaveSoundBuffersOfTheirOwn) {
    auto const other = OpenSession(renderer_);
    renderer_.Divide(
        RenderJob(session_, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100)));
    renderer_.Divide(
        RenderJob(other, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 6), InMilliSec(200)));
    ASSERT_THAT(world_.LiveBuffers(), SizeIs(2));
    EXPECT_THAT(world_.LiveBuffers()[0]->Samples(0, 960), Each(5));
    EXPECT_THAT(world_.LiveBuffers()[1]->Samples(0, 960), Each(6));
}

TEST_F(RendererAudio_Divide, OfSeveralSessionsRunsOnSeveralThreadsAtOnce) {
    constexpr int Rounds = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([this] {
            auto const session = OpenSession(renderer_);
            for (int round = 0; round < Rounds; ++round) {
                auto const job = RenderJob(
                    session,
                    ConstantFrame(FirstTimestampNanoSec + round * 20 * NanoSecPerMilliSec, FrameSamples, 5),
                    InMilliSec(100));
                renderer_.Divide(job);
                EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(world_.LiveBuffers(), IsEmpty());
    EXPECT_THAT(world_.Buffers(), SizeIs(3));
}

} // namespace
} // namespace Media
