#include "rendereraudio.h"

#include <algorithm>
#include <thread>
#include <type_traits>
#include <vector>

#include "support/module/foreignrenderer.h"
#include "support/module/renderertest.h"

namespace UnitTest {
namespace {

/// A state of another make that tells of its end.
class ForeignState : public PipelineState {
public:
    explicit ForeignState(int& destroyedCount) : destroyedCount_(destroyedCount) {}
    ~ForeignState() override { ++destroyedCount_; }

private:
    int& destroyedCount_;
};

class RendererAudio_Construction : public RendererTest {};
class RendererAudio_Initialize : public RendererTest {};
class RendererAudio_Shutdown : public RendererTest {};
class RendererAudio_RegisterSession : public RendererTest {};

// --- construction and destruction

TEST_F(RendererAudio_Construction, TypeAndSubTypeAreZero) {
    EXPECT_EQ(static_cast<int>(renderer->GetType()), 0);
    EXPECT_EQ(static_cast<int>(renderer->GetSubType()), 0);
}

TEST_F(RendererAudio_Construction, IsAPipelineRendererThatAddsNoDevicesOfItsOwn) {
    IPipelineRenderer& base = *renderer;
    PipelineDevices devices;
    base.GetDevices(devices);
    EXPECT_THAT(devices.names, IsEmpty());
    RendererHardwareDevices hardware;
    base.GetHardwareDevices(hardware);
    EXPECT_THAT(hardware.names, IsEmpty());
    static_assert(std::has_virtual_destructor_v<RendererAudio>);
}

TEST_F(RendererAudio_Construction, DestructionOfADisabledRendererClosesWhatASessionOpened) {
    ASSERT_NE(OpenSession(*renderer), nullptr);
    EXPECT_EQ(world.LiveSounds(), 1U);
    renderer.reset();
    EXPECT_EQ(world.LiveSounds(), 0U);
    EXPECT_EQ(world.OpenHandles(), 0U);
}

TEST_F(RendererAudio_Construction, InstanceIsTheRendererOfThisClassThatThePipelineHas) {
    RendererAudio const other;
    EXPECT_EQ(RendererAudio::Instance(), renderer.get());
    ForeignRenderer foreign;
    Pipeline::SetAudioRenderer(&foreign);
    EXPECT_EQ(RendererAudio::Instance(), nullptr);
    Pipeline::SetAudioRenderer(nullptr);
    EXPECT_EQ(RendererAudio::Instance(), nullptr);
}

// --- Initialize

TEST_F(RendererAudio_Initialize, WhenEnabledDoesNotEvenTryAMissingDriver) {
    world.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_NODRIVER);
    ASSERT_EQ(renderer->Initialize(), 0);
    TakeTexts();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_Initialize, AfterASessionOpenedThePlaybackDeviceOpensTheCaptureDeviceAlone) {
    auto const session = OpenSession(*renderer);
    ASSERT_NE(session, nullptr);
    EXPECT_FALSE(renderer->IsEnabled());
    TakeTexts();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_TRUE(renderer->IsEnabled());
    EXPECT_THAT(TakeTexts(), ElementsAre(EnumerateText, CreateText, GetCapsText));
}

TEST_F(RendererAudio_Initialize, AfterShutdownOpensAgain) {
    ASSERT_EQ(renderer->Initialize(), 0);
    renderer->Shutdown();
    ASSERT_FALSE(renderer->IsEnabled());
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_TRUE(renderer->IsEnabled());
    EXPECT_EQ(world.SoundCount(), 2U);
    EXPECT_EQ(world.LiveSounds(), 1U);
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

class RendererAudio_OpenFailure : public RendererTest, public testing::WithParamInterface<OpenFailure> {
protected:
    RendererAudio_OpenFailure() {
        world.Faults().FailAlways(GetParam().call, static_cast<HRESULT>(GetParam().result));
    }
};

TEST_P(RendererAudio_OpenFailure, InitializeGivesItsStatusAndIsEnabledAndOpensCaptureOrNot) {
    EXPECT_EQ(renderer->Initialize(), GetParam().status);
    EXPECT_EQ(renderer->IsEnabled(), GetParam().isEnabledThen);
    EXPECT_EQ(world.LiveSounds(), 0U);
    std::vector<std::string> const opening{EnumerateText, CreateText, GetCapsText};
    EXPECT_EQ(TakeTexts({Call_t::CaptureEnumerate, Call_t::CaptureCreate8, Call_t::CaptureGetCaps}),
              GetParam().isEnabledThen ? opening : std::vector<std::string>());
}

TEST_P(RendererAudio_OpenFailure, RefusedInitializeIsTriedAgain) {
    renderer->Initialize();
    world.Faults().Clear();
    EXPECT_EQ(renderer->Initialize(), 0);
    EXPECT_TRUE(renderer->IsEnabled());
    // An enabled renderer takes its missing device for what it is.
    EXPECT_EQ(world.LiveSounds(), GetParam().isEnabledThen ? 0U : 1U);
}

TEST_P(RendererAudio_OpenFailure, RegisterSessionLeavesTheStateAsItIsOrReplacesIt) {
    EXPECT_EQ(OpenSession(*renderer) != nullptr, GetParam().isSessionAccepted);
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> state(new ForeignState(destroyedCount));
    PipelineState const* const before = state.get();
    PipelineSessionParams_t params;
    renderer->RegisterSession(params, state);
    EXPECT_EQ(state.get() != before, GetParam().isSessionAccepted);
    EXPECT_EQ(destroyedCount, GetParam().isSessionAccepted ? 1 : 0);
    EXPECT_EQ(dynamic_cast<RendererAudioPlaybackState*>(state.get()) != nullptr,
              GetParam().isSessionAccepted);
}

INSTANTIATE_TEST_SUITE_P(
    Results, RendererAudio_OpenFailure,
    testing::Values(OpenFailure{"Enumeration", Call_t::SoundEnumerate, 0x80004005, -26, false, false},
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

TEST_F(RendererAudio_Shutdown, OfADisabledRendererClosesWhatASessionOpened) {
    auto const session = OpenSession(*renderer);
    ASSERT_NE(session, nullptr);
    renderer->Shutdown();
    EXPECT_EQ(world.LiveSounds(), 0U);
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(RendererAudio_Shutdown, OfANewRendererDoesNothing) {
    TakeTexts();
    renderer->Shutdown();
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(RendererAudio_Shutdown, ASessionThatIsNotReleasedSoundsOnAndRepeatsEveryFiveSeconds) {
    auto session = OpenSession(*renderer);
    renderer->Divide(
        RenderJob(session, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100)));
    auto& sound = world.OnlyBuffer();
    sound.EnableSpeaker();
    renderer->Shutdown();
    EXPECT_EQ(world.LiveSounds(), 1U);
    // Nobody clears or stops it: the frame is heard at 0.1, 5.1 and 10.1 seconds.
    world.Clock().AdvanceMilliSec(10'200);
    EXPECT_TRUE(sound.IsPlaying());
    auto const& heard = sound.GetSpeaker().Samples();
    EXPECT_EQ(std::count(heard.begin(), heard.end(), 5), 3 * FrameSamples);
    session.reset();
    EXPECT_FALSE(sound.IsPlaying());
    EXPECT_EQ(world.LiveSounds(), 0U);
}

// --- RegisterSession

TEST_F(RendererAudio_RegisterSession, BeforeInitializeOpensTheDeviceItself) {
    TakeTexts();
    auto const session = OpenSession(*renderer);
    EXPECT_NE(session, nullptr);
    EXPECT_THAT(TakeTexts(),
                ElementsAre("DirectSound::DirectSoundEnumerateA()", "DirectSound::DirectSoundCreate8()",
                            "Win32::GetDesktopWindow()", "Sound::SetCooperativeLevel(2)"));
    EXPECT_FALSE(renderer->IsEnabled());
}

TEST_F(RendererAudio_RegisterSession, OnAnOpenDeviceMakesNoCall) {
    ASSERT_EQ(renderer->Initialize(), 0);
    TakeTexts();
    EXPECT_NE(OpenSession(*renderer), nullptr);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_RegisterSession, WithoutAudioLeavesEverythingAsItWas) {
    TakeTexts();
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> none;
    boost::intrusive_ptr<PipelineState> previous(new ForeignState(destroyedCount));
    PipelineState const* const before = previous.get();
    PipelineSessionParams_t params;
    params.renderAudio = false;
    params.renderVideo = true;
    renderer->RegisterSession(params, none);
    renderer->RegisterSession(params, previous);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(previous.get(), before);
    EXPECT_EQ(destroyedCount, 0);
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(RendererAudio_RegisterSession, PreviousStateWithAnotherHolderLivesOn) {
    int destroyedCount = 0;
    boost::intrusive_ptr<PipelineState> state(new ForeignState(destroyedCount));
    boost::intrusive_ptr<PipelineState> const other = state;
    PipelineSessionParams_t params;
    renderer->RegisterSession(params, state);
    EXPECT_EQ(destroyedCount, 0);
    EXPECT_NE(state, other);
}

TEST_F(RendererAudio_RegisterSession, StateIsDestroyedWithTheHoldersReference) {
    auto session = OpenSession(*renderer);
    renderer->Divide(
        RenderJob(session, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100)));
    ASSERT_THAT(world.LiveBuffers(), SizeIs(1));
    session.reset();
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
}

TEST_F(RendererAudio_RegisterSession, UnlistedFailureGivesASessionThatPlaysOnceTheDeviceIsThere) {
    world.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_GENERIC);
    auto const session = OpenSession(*renderer);
    ASSERT_NE(session, nullptr);
    auto const frame = ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5);
    auto const lost = RenderJob(session, frame, InMilliSec(100));
    renderer->Divide(lost);
    EXPECT_EQ(lost->GetOutcome(), Outcome_t::Uncompleted);

    ASSERT_EQ(renderer->Initialize(), 0);
    auto const heard = RenderJob(session, frame, InMilliSec(100));
    renderer->Divide(heard);
    EXPECT_EQ(heard->GetOutcome(), Outcome_t::Succeeded);
}

TEST_F(RendererAudio_RegisterSession, FromSeveralThreadsAtOnceOpensTheDeviceOnce) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([this] { EXPECT_NE(OpenSession(*renderer), nullptr); });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(CountOf(Call_t::SoundCreate8), 1U);
}

} // namespace
} // namespace UnitTest
