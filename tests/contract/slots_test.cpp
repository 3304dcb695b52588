// The virtual operations of the shipped library's objects, called by their places in the tables as a host's
// compiled code calls them.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <new>

#include "image.h"
#include "names.h"
#include "playbackstage.h"
#include "support/module/foreignrenderer.h"
#include "vtable.h"

namespace ContractTest {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

enum class RendererSlot_t : std::size_t {
    Initialize = FirstSlot,
    Shutdown,
    GetDevices,
    IsEnabled,
    GetType,
    GetSubType,
    RegisterSession,
    Divide,
    GetHardwareDevices,
};

enum class StateSlot_t : std::size_t {
    Unregister = FirstSlot,
    UpdateClientState,
    Acquire,
    Release,
};

template <class AnySlot>
std::size_t Place(AnySlot slot) {
    return static_cast<std::size_t>(slot);
}

/// The library's renderer with nothing but its address known.
class Library_RendererSlots : public PlaybackStage {
protected:
    /// What a caller calls an operation with.
    void* Self() { return &*renderer; }

    template <class Result, class... Arguments>
    Result Call(RendererSlot_t slot, Arguments... arguments) {
        return GetVirtual<Result(void*, Arguments...)>(*renderer, Place(slot))(Self(), arguments...);
    }

    boost::intrusive_ptr<Media::PipelineState> Register() {
        Media::PipelineSessionParams_t params;
        boost::intrusive_ptr<Media::PipelineState> state;
        Call<void>(RendererSlot_t::RegisterSession, &params, &state);
        return state;
    }

    static boost::intrusive_ptr<Media::PipelineStageRenderJob> Job(
        boost::intrusive_ptr<Media::PipelineState> state, std::shared_ptr<Media::FrameAud> frame) {
        return UnitTest::RenderJob(std::move(state), std::move(frame),
                                   Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec));
    }
};

TEST_F(Library_RendererSlots, InitializeShutdownAndIsEnabled) {
    EXPECT_FALSE(Call<bool>(RendererSlot_t::IsEnabled));
    EXPECT_EQ(Call<int>(RendererSlot_t::Initialize), 0);
    calls.LetThreadStart();
    EXPECT_TRUE(Call<bool>(RendererSlot_t::IsEnabled));
    EXPECT_EQ(world.LiveSounds(), 1U);
    Call<void>(RendererSlot_t::Shutdown);
    EXPECT_FALSE(Call<bool>(RendererSlot_t::IsEnabled));
    EXPECT_EQ(world.LiveSounds(), 0U);
}

TEST_F(Library_RendererSlots, InitializeTellsTheStatusOfAFailure) {
    world.Faults().Fail(Call_t::SoundCreate8, 1, DSERR_ALLOCATED);
    EXPECT_EQ(Call<int>(RendererSlot_t::Initialize), -200);
    EXPECT_FALSE(Call<bool>(RendererSlot_t::IsEnabled));
}

TEST_F(Library_RendererSlots, GetDevicesAndGetHardwareDevicesAddNothing) {
    Media::PipelineDevices devices{{"a device"}};
    Call<void>(RendererSlot_t::GetDevices, &devices);
    EXPECT_THAT(devices.names, ElementsAre("a device"));
    Media::RendererHardwareDevices hardware{{"a processor"}};
    Call<void>(RendererSlot_t::GetHardwareDevices, &hardware);
    EXPECT_THAT(hardware.names, ElementsAre("a processor"));
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(Library_RendererSlots, GetTypeAndGetSubTypeAreZero) {
    EXPECT_EQ(Call<int>(RendererSlot_t::GetType), 0);
    EXPECT_EQ(Call<int>(RendererSlot_t::GetSubType), 0);
    // Both give the same, so their places are told by their names in the export table.
    auto const address = [this](RendererSlot_t slot) {
        return reinterpret_cast<void*>(GetVirtual<void()>(*renderer, Place(slot)));
    };
    EXPECT_EQ(address(RendererSlot_t::GetType), module.Find(Names::GetType));
    EXPECT_EQ(address(RendererSlot_t::GetSubType), module.Find(Names::GetSubType));
}

TEST_F(Library_RendererSlots, RegisterSessionFillsThePointerUnlessAudioIsNotWanted) {
    Initialize();
    Media::PipelineSessionParams_t params;
    params.renderAudio = false;
    boost::intrusive_ptr<Media::PipelineState> state;
    Call<void>(RendererSlot_t::RegisterSession, &params, &state);
    EXPECT_EQ(state, nullptr);
    params.renderAudio = true;
    Call<void>(RendererSlot_t::RegisterSession, &params, &state);
    EXPECT_NE(dynamic_cast<Media::PipelineStateExclusive*>(state.get()), nullptr);
}

TEST_F(Library_RendererSlots, DivideRendersSucceedsOrAborts) {
    Initialize();
    auto const rendered = Job(Register(), Frame(0));
    Call<void>(RendererSlot_t::Divide, &rendered);
    EXPECT_EQ(rendered->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());

    auto const stateless = Job(nullptr, Frame(0));
    Call<void>(RendererSlot_t::Divide, &stateless);
    EXPECT_EQ(stateless->GetOutcome(), Outcome_t::Aborted);

    auto const frameless = Job(rendered->State(), nullptr);
    Call<void>(RendererSlot_t::Divide, &frameless);
    EXPECT_EQ(frameless->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_EQ(frameless->GetPresentationTimestamp(), frameless->Params()->presentationTime);
}

// The libraries of Visual C++ free memory by functions of their own, which nobody sees.
#if !defined(_MSC_VER)
/// Where memory was given back that the library's deleting destructor asked to give back.
void* deletedObject = nullptr;
void DeleteHook(void* object, std::size_t size) {
    deletedObject = object;
    ::operator delete(object, size);
}

TEST_F(Library_RendererSlots, FirstDestructorEndsTheObjectAndTheSecondFreesItToo) {
    using Construct = void (*)(void*);
    auto const construct = reinterpret_cast<Construct>(module.Find(Names::RendererConstructor));
    void* const original =
        ReplaceImport(module.GetHandle(), "libstdc++-6.dll", "_ZdlPvy", reinterpret_cast<void*>(&DeleteHook));
    std::size_t const events = calls.OpenEvents();
    for (bool const isFreed : {false, true}) {
        void* const object = ::operator new(sizeof(Media::RendererAudio));
        construct(object);
        auto& built = *static_cast<Media::RendererAudio*>(object);
        EXPECT_EQ(GetVirtual<int(void*)>(built, Place(RendererSlot_t::Initialize))(object), 0);
        calls.LetThreadStart();
        EXPECT_EQ(world.LiveSounds(), 1U);
        deletedObject = nullptr;
        GetVirtual<void(void*)>(built, isFreed ? 1 : 0)(object);
        EXPECT_EQ(world.LiveSounds(), 0U);
        EXPECT_EQ(world.LiveCaptures(), 0U);
        EXPECT_EQ(calls.OpenEvents(), events);
        if (isFreed) {
            EXPECT_EQ(deletedObject, object);
        } else {
            EXPECT_NE(deletedObject, object);
            ::operator delete(object, sizeof(Media::RendererAudio));
        }
    }
    ReplaceImport(module.GetHandle(), "libstdc++-6.dll", "_ZdlPvy", original);
}
#endif

class Library_StateSlots : public Library_RendererSlots {
protected:
    template <class Result, class... Arguments>
    static Result CallState(Media::PipelineState& state, StateSlot_t slot, Arguments... arguments) {
        return GetVirtual<Result(void*, Arguments...)>(state, Place(slot))(&state, arguments...);
    }
};

TEST_F(Library_StateSlots, UpdateClientStateAppliesWhatTheClientHasSet) {
    Initialize();
    auto const state = Register();
    auto const job = Job(state, Frame(0));
    Call<void>(RendererSlot_t::Divide, &job);
    TakeCalls();
    EXPECT_FALSE(CallState<bool>(*state, StateSlot_t::UpdateClientState));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    Media::PipelineClientState_t client;
    client.volume = 0.0F;
    client.balance = 0.0F;
    state->SetClientState(client);
    EXPECT_TRUE(CallState<bool>(*state, StateSlot_t::UpdateClientState));
    EXPECT_THAT(TakeCalls(), ElementsAre("SetPan(-10000)", "SetVolume(-10000)"));
}

TEST_F(Library_StateSlots, UnregisterDoesNothing) {
    Initialize();
    auto const state = Register();
    auto const job = Job(state, Frame(0));
    Call<void>(RendererSlot_t::Divide, &job);
    TakeCalls();
    // What its neighbour would apply.
    Media::PipelineClientState_t client;
    client.volume = 0.0F;
    state->SetClientState(client);
    CallState<void>(*state, StateSlot_t::Unregister);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(Library_StateSlots, AcquireAndReleaseAreTheHostsOwn) {
    Initialize();
    auto const state = Register();
    auto const first = Job(state, nullptr);
    auto const second = Job(state, nullptr);
    using Holder = Media::PipelineJob const*;
    EXPECT_EQ(CallState<int>(*state, StateSlot_t::Acquire, Holder(first.get())), 0);
    EXPECT_EQ(CallState<int>(*state, StateSlot_t::Acquire, Holder(second.get())), -1);
    EXPECT_EQ(CallState<int>(*state, StateSlot_t::Release, Holder(second.get())), -1);
    EXPECT_EQ(CallState<int>(*state, StateSlot_t::Release, Holder(first.get())), 0);
    EXPECT_EQ(CallState<int>(*state, StateSlot_t::Acquire, Holder(second.get())), 0);
    EXPECT_EQ(CallState<int>(*state, StateSlot_t::Release, Holder(second.get())), 0);
}

class Library_Instance : public PlaybackStage {
protected:
    ~Library_Instance() override { Media::Pipeline::SetAudioRenderer(nullptr); }

    Media::RendererAudio const* Instance() {
        using Function = Media::RendererAudio const*();
        return reinterpret_cast<Function*>(module.Find(Names::Instance))();
    }
};

TEST_F(Library_Instance, IsThePipelinesRendererIfItIsOfTheLibrary) {
    EXPECT_EQ(Instance(), nullptr);
    Media::Pipeline::SetAudioRenderer(&*renderer);
    EXPECT_EQ(Instance(), &*renderer);
    UnitTest::ForeignRenderer foreign;
    Media::Pipeline::SetAudioRenderer(&foreign);
    EXPECT_EQ(Instance(), nullptr);
}

TEST_F(Library_Instance, TwoRenderersAreSeparate) {
    LoadedRenderer other(module);
    Initialize();
    EXPECT_FALSE(other->IsEnabled());
    EXPECT_EQ(other->Initialize(), 0);
    calls.LetThreadStart();
    EXPECT_EQ(world.LiveSounds(), 2U);
    Media::Pipeline::SetAudioRenderer(&*other);
    EXPECT_EQ(Instance(), &*other);
    other->Shutdown();
    EXPECT_TRUE(renderer->IsEnabled());
    EXPECT_EQ(world.LiveSounds(), 1U);
}

} // namespace
} // namespace ContractTest
