#include "pipeline/pipelinestate.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "pipeline/pipelinejob.h"
#include "vtable.h"

using boost::intrusive_ptr;
using Media::PipelineClientState_t;
using Media::PipelineJob;
using Media::PipelineState;
using Media::PipelineStateAccess;
using Media::PipelineStateExclusive;

namespace {

class WatchedState : public PipelineState {
public:
    explicit WatchedState(bool& hasEnded) : hasEnded_(hasEnded) {}
    ~WatchedState() override { hasEnded_ = true; }

private:
    bool& hasEnded_;
};

/// Remembers the operation called last.
class TellingState : public PipelineStateExclusive {
public:
    void Unregister() override { called = "Unregister"; }
    bool UpdateClientState() override {
        called = "UpdateClientState";
        return true;
    }

    std::string called;

private:
    int Acquire(PipelineJob const*) override {
        called = "Acquire";
        return 5;
    }
    int Release(PipelineJob const*) override {
        called = "Release";
        return 6;
    }
};

} // namespace

TEST(PipelineClientState, DefaultIsFullVolumeInTheCentreOfTheWholePicture) {
    PipelineClientState_t const state;
    EXPECT_EQ(state.balance, 0.5F);
    EXPECT_EQ(state.volume, 1.0F);
    for (Media::ViewGeometry const& view : {state.view, state.source}) {
        EXPECT_EQ(view.width, 0);
        EXPECT_EQ(view.height, 0);
        EXPECT_EQ(view.left, 0.0);
        EXPECT_EQ(view.top, 0.0);
        EXPECT_EQ(view.right, 1.0);
        EXPECT_EQ(view.bottom, 1.0);
        EXPECT_FALSE(view.mirrored);
        EXPECT_FALSE(view.flipped);
    }
    EXPECT_EQ(state.lens.radial[0], 0.0);
    EXPECT_EQ(state.lens.radial[1], 0.0);
    EXPECT_EQ(state.lens.fieldOfViewDegrees, 0.0);
}

TEST(PipelineState, EndsWithItsLastHolder) {
    bool hasEnded = false;
    intrusive_ptr<PipelineState> first(new WatchedState(hasEnded));
    intrusive_ptr<PipelineState> second = first;
    first.reset();
    EXPECT_FALSE(hasEnded);
    second.reset();
    EXPECT_TRUE(hasEnded);
}

TEST(PipelineState, UnregisterDoesNothingUnlessOverridden) {
    bool hasEnded = false;
    intrusive_ptr<PipelineState> const state(new WatchedState(hasEnded));
    state->Unregister();
    EXPECT_FALSE(hasEnded);
}

TEST(PipelineState_GetClientState, LeavesItsArgumentAloneBeforeAnyWasSet) {
    PipelineState const state;
    PipelineClientState_t read = MakeClientState(0.25F);
    EXPECT_FALSE(state.GetClientState(read));
    EXPECT_EQ(read.volume, 0.25F);
}

TEST(PipelineState_GetClientState, CopiesWhatWasSetLast) {
    PipelineState state;
    PipelineClientState_t set = MakeClientState(0.75F);
    set.balance = 0.125F;
    set.view.width = 640;
    set.lens.fieldOfViewDegrees = 90.0;
    state.SetClientState(MakeClientState(0.0F));
    state.SetClientState(set);
    PipelineClientState_t read;
    ASSERT_TRUE(state.GetClientState(read));
    EXPECT_EQ(read.volume, 0.75F);
    EXPECT_EQ(read.balance, 0.125F);
    EXPECT_EQ(read.view.width, 640);
    EXPECT_EQ(read.lens.fieldOfViewDegrees, 90.0);
}

TEST(PipelineState_GetClientState, NeverShowsHalfOfAnUpdate) {
    constexpr int Updates = 2000;
    PipelineState state;
    std::thread setter([&] {
        for (int update = 1; update <= Updates; ++update) {
            PipelineClientState_t set = MakeClientState(static_cast<float>(update));
            set.balance = static_cast<float>(update);
            state.SetClientState(set);
        }
    });
    PipelineClientState_t read = MakeClientState(0.0F);
    while (read.volume < static_cast<float>(Updates)) {
        if (state.GetClientState(read)) {
            EXPECT_EQ(read.volume, read.balance);
        }
    }
    setter.join();
}

TEST(PipelineState_UpdateClientState, TellsWhetherThereIsOneToApply) {
    PipelineState state;
    EXPECT_FALSE(state.UpdateClientState());
    state.SetClientState(PipelineClientState_t());
    EXPECT_TRUE(state.UpdateClientState());
}

TEST(PipelineStateExclusive, OneJobAtATimeHasIt) {
    PipelineStateExclusive state;
    PipelineJob const first;
    PipelineJob const second;
    EXPECT_EQ(PipelineStateAccess::Acquire(state, &first), 0);
    EXPECT_EQ(PipelineStateAccess::Acquire(state, &second), -1);
    EXPECT_EQ(PipelineStateAccess::Acquire(state, &first), 0) << "it has it already";
    EXPECT_EQ(PipelineStateAccess::Release(state, &first), 0);
    EXPECT_EQ(PipelineStateAccess::Acquire(state, &second), 0);
    EXPECT_EQ(PipelineStateAccess::Release(state, &second), 0);
}

TEST(PipelineStateExclusive, OnlyTheJobThatHasItCanGiveItBack) {
    PipelineStateExclusive state;
    PipelineJob const first;
    PipelineJob const second;
    EXPECT_EQ(PipelineStateAccess::Release(state, &first), -1);
    ASSERT_EQ(PipelineStateAccess::Acquire(state, &first), 0);
    EXPECT_EQ(PipelineStateAccess::Release(state, &second), -1);
    EXPECT_EQ(PipelineStateAccess::Release(state, nullptr), -1);
    EXPECT_EQ(PipelineStateAccess::Acquire(state, &second), -1) << "the first still has it";
    EXPECT_EQ(PipelineStateAccess::Release(state, &first), 0);
    EXPECT_EQ(PipelineStateAccess::Release(state, &first), -1);
}

TEST(PipelineStateExclusive, NoJobCannotHaveIt) {
    PipelineStateExclusive state;
    EXPECT_EQ(PipelineStateAccess::Acquire(state, nullptr), -1);
    EXPECT_EQ(PipelineStateAccess::Release(state, nullptr), -1);
}

TEST(PipelineStateExclusive, GuardsWhatItsHolderWrites) {
    constexpr int Threads = 4;
    constexpr int Rounds = 200;
    PipelineStateExclusive state;
    // Not atomic: only the holder touches it.
    int count = 0;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&] {
            PipelineJob const job;
            for (int round = 0; round < Rounds; ++round) {
                while (PipelineStateAccess::Acquire(state, &job) != 0) {
                    std::this_thread::yield();
                }
                ++count;
                ASSERT_EQ(PipelineStateAccess::Release(state, &job), 0);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, Threads * Rounds);
}

TEST(PipelineStateExclusive, AccessGoesThroughItsVirtualOperations) {
    TellingState state;
    EXPECT_EQ(PipelineStateAccess::Acquire(state, nullptr), 5);
    EXPECT_EQ(PipelineStateAccess::Release(state, nullptr), 6);
}

TEST(PipelineStateExclusive, VirtualOperationsKeepTheirSlots) {
    TellingState state;
    void* const self = static_cast<PipelineState*>(&state);
    void const* const noJob = nullptr;
    GetVirtual<void(void*)>(state, FirstSlot)(self);
    EXPECT_EQ(state.called, "Unregister");
    EXPECT_TRUE(GetVirtual<bool(void*)>(state, FirstSlot + 1)(self));
    EXPECT_EQ(state.called, "UpdateClientState");
    EXPECT_EQ(GetVirtual<int(void*, void const*)>(state, FirstSlot + 2)(self, noJob), 5);
    EXPECT_EQ(state.called, "Acquire");
    EXPECT_EQ(GetVirtual<int(void*, void const*)>(state, FirstSlot + 3)(self, noJob), 6);
    EXPECT_EQ(state.called, "Release");
}
