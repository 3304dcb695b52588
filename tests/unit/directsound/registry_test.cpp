#include "directsound/registry.h"

#include <chrono>
#include <thread>

#include "simulation/testworld.h"
#include "support/module/deviceview.h"

namespace UnitTest {
namespace {

/// The registry asks nothing of its buffers.
struct Buffer {};

using Registry = DirectSound::Registry<Buffer>;

/// A registry closes the events of the buffers that it still has.
class RegistryTest : public testing::Test {
protected:
    RegistryTest() { world_.Journal().Enable(); }

    std::vector<std::string> TakeTexts() {
        auto texts = world_.Journal().Texts();
        world_.Journal().Clear();
        return texts;
    }

    std::vector<Buffer*> BuffersOf(Registry const& registry) {
        return registry.GetBuffers(boost::mutex::scoped_lock(lock_));
    }

    Simulation::TestWorld world_;
    boost::mutex lock_;
    Buffer first_;
    Buffer second_;
    Buffer third_;
};

class Registry_Construction : public RegistryTest {};
class Registry_Add : public RegistryTest {};
class Registry_Remove : public RegistryTest {};

// --- construction and destruction

TEST_F(Registry_Construction, MakesOneAutoResetUnsignalledWakeEventBesideNoBuffer) {
    Registry const registry(lock_);
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)"));
    ASSERT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_NE(registry.GetEvents()->front(), nullptr);
    EXPECT_FALSE(world_.IsSignalled(registry.GetEvents()->front()));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr));
}

TEST_F(Registry_Construction, DestructionClosesTheWakeEventAlone) {
    {
        Registry const registry(lock_);
        TakeTexts();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("CloseHandle(1)"));
}

TEST_F(Registry_Construction, WakeEventThatCannotBeMadeStandsAsNull) {
    world_.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    {
        Registry const registry(lock_);
        EXPECT_THAT(*registry.GetEvents(), ElementsAre(nullptr));
        TakeTexts();
        registry.Wake();
    }
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(Registry_Construction, WakeSignalsTheWakeEvent) {
    Registry const registry(lock_);
    registry.Wake();
    EXPECT_TRUE(world_.IsSignalled(registry.GetEvents()->front()));
}

// --- Add

TEST_F(Registry_Add, MakesAnAutoResetEventThenSignalsTheWakeEvent) {
    Registry registry(lock_);
    TakeTexts();
    HANDLE const event = registry.Add(first_);
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)", "SetEvent(1)"));
    EXPECT_EQ(world_.EventNumber(event), 2U);
    EXPECT_FALSE(world_.IsSignalled(event));
}

TEST_F(Registry_Add, AppendsEventAndBufferAtTheSamePlace) {
    Registry registry(lock_);
    HANDLE const wake = registry.GetEvents()->front();
    HANDLE const firstEvent = registry.Add(first_);
    HANDLE const secondEvent = registry.Add(second_);
    EXPECT_THAT(*registry.GetEvents(), ElementsAre(wake, firstEvent, secondEvent));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first_, &second_));
}

TEST_F(Registry_Add, LeavesSnapshotsTakenBeforeAsTheyAre) {
    Registry registry(lock_);
    auto const before = registry.GetEvents();
    registry.Add(first_);
    EXPECT_EQ(before->size(), 1U);
    EXPECT_EQ(registry.GetEvents()->size(), 2U);
}

TEST_F(Registry_Add, EventThatCannotBeMadeIsKeptAsNullBesideItsBuffer) {
    Registry registry(lock_);
    HANDLE const wake = registry.GetEvents()->front();
    world_.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(registry.Add(first_), nullptr);
    EXPECT_THAT(*registry.GetEvents(), ElementsAre(wake, nullptr));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first_));
    TakeTexts();
    registry.Remove(first_);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)"));
}

TEST_F(Registry_Add, WakeEventThatCannotBeSignalledDoesNotKeepTheBufferOut) {
    Registry registry(lock_);
    world_.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    HANDLE const event = registry.Add(first_);
    EXPECT_NE(event, nullptr);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first_));
    EXPECT_FALSE(world_.IsSignalled(registry.GetEvents()->front()));
}

TEST_F(Registry_Add, MakesTheEventBeforeItTakesTheLock) {
    Registry registry(lock_);
    TakeTexts();
    boost::mutex::scoped_lock guard(lock_);
    std::thread adder([&] { registry.Add(first_); });
    auto const deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(Simulation::World::WatchdogSeconds);
    while (world_.Journal().Texts().empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)"));
    guard.unlock();
    adder.join();
}

// --- Remove

TEST_F(Registry_Remove, SignalsTheWakeEventThenClosesTheBuffersEvent) {
    Registry registry(lock_);
    registry.Add(first_);
    TakeTexts();
    registry.Remove(first_);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)", "CloseHandle(2)"));
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr));
}

TEST_F(Registry_Remove, KeepsTheOrderOfTheOthers) {
    Registry registry(lock_);
    HANDLE const wake = registry.GetEvents()->front();
    HANDLE const firstEvent = registry.Add(first_);
    registry.Add(second_);
    HANDLE const thirdEvent = registry.Add(third_);
    TakeTexts();
    registry.Remove(second_);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)", "CloseHandle(3)"));
    EXPECT_THAT(*registry.GetEvents(), ElementsAre(wake, firstEvent, thirdEvent));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first_, &third_));
}

TEST_F(Registry_Remove, LeavesSnapshotsTakenBeforeAsTheyAre) {
    Registry registry(lock_);
    HANDLE const event = registry.Add(first_);
    auto const before = registry.GetEvents();
    registry.Remove(first_);
    EXPECT_THAT(*before, ElementsAre(registry.GetEvents()->front(), event));
}

TEST_F(Registry_Remove, OfABufferAddedTwiceTakesTheFirstEntryAlone) {
    Registry registry(lock_);
    registry.Add(first_);
    registry.Add(second_);
    HANDLE const again = registry.Add(first_);
    registry.Remove(first_);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &second_, &first_));
    EXPECT_EQ(registry.GetEvents()->back(), again);
}

TEST_F(Registry_Remove, OfAnUnknownBufferBesideOthersChangesNothing) {
    Registry registry(lock_);
    registry.Add(first_);
    TakeTexts();
    registry.Remove(second_);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first_));
    EXPECT_EQ(world_.OpenHandles(), 2U);
}

TEST_F(Registry_Remove, WithTheWakeEntryAloneChangesNothing) {
    Registry registry(lock_);
    TakeTexts();
    registry.Remove(first_);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_EQ(world_.OpenHandles(), 1U);
}

TEST_F(Registry_Remove, WakeEventThatCannotBeSignalledDoesNotKeepTheBufferIn) {
    Registry registry(lock_);
    registry.Add(first_);
    world_.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    registry.Remove(first_);
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_EQ(world_.OpenHandles(), 1U);
}

TEST_F(Registry_Remove, EventThatCannotBeClosedIsForgottenAllTheSame) {
    Registry registry(lock_);
    HANDLE const event = registry.Add(first_);
    world_.Faults().Fail(Call_t::Win32CloseHandle, 1, FALSE);
    registry.Remove(first_);
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr));
    EXPECT_EQ(CloseHandle(event), TRUE);
}

// --- the moment of the wake signal, seen from inside the call

/// A registry whose wake event has been closed behind its back, so that the world complains within each
/// SetEvent and the test can look at the registry in that moment.
class Registry_WakeSignal : public testing::Test {
protected:
    Registry_WakeSignal() { CloseHandle(registry_.GetEvents()->front()); }

    struct Moment {
        bool isLocked;
        std::size_t eventCount;
        std::size_t bufferCount;
    };

    void Look() {
        bool const isLocked = !CanBeLockedElsewhere(lock_);
        // By the registry, on this thread.
        boost::mutex::scoped_lock held(lock_, boost::adopt_lock);
        moments_.push_back({isLocked, registry_.GetEvents()->size(), registry_.GetBuffers(held).size()});
        held.release();
    }

    std::size_t CountBuffers() { return registry_.GetBuffers(boost::mutex::scoped_lock(lock_)).size(); }

    std::vector<Moment> moments_;
    bool isLooking_ = false;
    Simulation::World world_{[this](std::string const&) {
        if (isLooking_) {
            Look();
        }
    }};
    boost::mutex lock_;
    Registry registry_{lock_};
    Buffer buffer_;
};

TEST_F(Registry_WakeSignal, OfAddComesUnderTheLockBeforeTheListsGrow) {
    isLooking_ = true;
    registry_.Add(buffer_);
    isLooking_ = false;
    ASSERT_EQ(moments_.size(), 1U);
    EXPECT_TRUE(moments_[0].isLocked);
    EXPECT_EQ(moments_[0].eventCount, 1U);
    EXPECT_EQ(moments_[0].bufferCount, 1U);
    EXPECT_EQ(CountBuffers(), 2U);
    EXPECT_TRUE(CanBeLockedElsewhere(lock_));
    registry_.Remove(buffer_);
}

TEST_F(Registry_WakeSignal, OfRemoveComesUnderTheLockBeforeTheListsShrink) {
    registry_.Add(buffer_);
    isLooking_ = true;
    registry_.Remove(buffer_);
    isLooking_ = false;
    ASSERT_EQ(moments_.size(), 1U);
    EXPECT_TRUE(moments_[0].isLocked);
    EXPECT_EQ(moments_[0].eventCount, 2U);
    EXPECT_EQ(moments_[0].bufferCount, 2U);
    EXPECT_EQ(CountBuffers(), 1U);
    EXPECT_TRUE(CanBeLockedElsewhere(lock_));
}

} // namespace
} // namespace UnitTest
