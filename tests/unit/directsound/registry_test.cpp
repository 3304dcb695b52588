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
    RegistryTest() { world.Journal().Enable(); }

    std::vector<std::string> TakeTexts() {
        auto texts = world.Journal().Texts();
        world.Journal().Clear();
        return texts;
    }

    std::vector<Buffer*> BuffersOf(Registry const& registry) {
        return registry.GetBuffers(boost::mutex::scoped_lock(lock));
    }

    Simulation::TestWorld world;
    boost::mutex lock;
    Buffer first;
    Buffer second;
    Buffer third;
};

class Registry_Construction : public RegistryTest {};
class Registry_Add : public RegistryTest {};
class Registry_Remove : public RegistryTest {};

// --- construction and destruction

TEST_F(Registry_Construction, MakesOneAutoResetUnsignalledWakeEventBesideNoBuffer) {
    Registry const registry(lock);
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)"));
    ASSERT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_NE(registry.GetEvents()->front(), nullptr);
    EXPECT_FALSE(world.IsSignalled(registry.GetEvents()->front()));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr));
}

TEST_F(Registry_Construction, DestructionClosesTheWakeEventAlone) {
    {
        Registry const registry(lock);
        TakeTexts();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("CloseHandle(1)"));
}

TEST_F(Registry_Construction, WakeEventThatCannotBeMadeStandsAsNull) {
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    {
        Registry const registry(lock);
        EXPECT_THAT(*registry.GetEvents(), ElementsAre(nullptr));
        TakeTexts();
        registry.Wake();
    }
    EXPECT_THAT(TakeTexts(), IsEmpty());
}

TEST_F(Registry_Construction, WakeSignalsTheWakeEvent) {
    Registry const registry(lock);
    registry.Wake();
    EXPECT_TRUE(world.IsSignalled(registry.GetEvents()->front()));
}

// --- Add

TEST_F(Registry_Add, MakesAnAutoResetEventThenSignalsTheWakeEvent) {
    Registry registry(lock);
    TakeTexts();
    HANDLE const event = registry.Add(first);
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)", "SetEvent(1)"));
    EXPECT_EQ(world.EventNumber(event), 2U);
    EXPECT_FALSE(world.IsSignalled(event));
}

TEST_F(Registry_Add, AppendsEventAndBufferAtTheSamePlace) {
    Registry registry(lock);
    HANDLE const wake = registry.GetEvents()->front();
    HANDLE const firstEvent = registry.Add(first);
    HANDLE const secondEvent = registry.Add(second);
    EXPECT_THAT(*registry.GetEvents(), ElementsAre(wake, firstEvent, secondEvent));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first, &second));
}

TEST_F(Registry_Add, LeavesSnapshotsTakenBeforeAsTheyAre) {
    Registry registry(lock);
    auto const before = registry.GetEvents();
    registry.Add(first);
    EXPECT_EQ(before->size(), 1U);
    EXPECT_EQ(registry.GetEvents()->size(), 2U);
}

TEST_F(Registry_Add, EventThatCannotBeMadeIsKeptAsNullBesideItsBuffer) {
    Registry registry(lock);
    HANDLE const wake = registry.GetEvents()->front();
    world.Faults().Fail(Call_t::Win32CreateEvent, 1, 0);
    EXPECT_EQ(registry.Add(first), nullptr);
    EXPECT_THAT(*registry.GetEvents(), ElementsAre(wake, nullptr));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first));
    TakeTexts();
    registry.Remove(first);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)"));
}

TEST_F(Registry_Add, WakeEventThatCannotBeSignalledDoesNotKeepTheBufferOut) {
    Registry registry(lock);
    world.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    HANDLE const event = registry.Add(first);
    EXPECT_NE(event, nullptr);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first));
    EXPECT_FALSE(world.IsSignalled(registry.GetEvents()->front()));
}

TEST_F(Registry_Add, MakesTheEventBeforeItTakesTheLock) {
    Registry registry(lock);
    TakeTexts();
    boost::mutex::scoped_lock guard(lock);
    std::thread adder([&] { registry.Add(first); });
    auto const deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(Simulation::World::WatchdogSeconds);
    while (world.Journal().Texts().empty() && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::yield();
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("CreateEventA(0, 0)"));
    guard.unlock();
    adder.join();
}

// --- Remove

TEST_F(Registry_Remove, SignalsTheWakeEventThenClosesTheBuffersEvent) {
    Registry registry(lock);
    registry.Add(first);
    TakeTexts();
    registry.Remove(first);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)", "CloseHandle(2)"));
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr));
}

TEST_F(Registry_Remove, KeepsTheOrderOfTheOthers) {
    Registry registry(lock);
    HANDLE const wake = registry.GetEvents()->front();
    HANDLE const firstEvent = registry.Add(first);
    registry.Add(second);
    HANDLE const thirdEvent = registry.Add(third);
    TakeTexts();
    registry.Remove(second);
    EXPECT_THAT(TakeTexts(), ElementsAre("SetEvent(1)", "CloseHandle(3)"));
    EXPECT_THAT(*registry.GetEvents(), ElementsAre(wake, firstEvent, thirdEvent));
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first, &third));
}

TEST_F(Registry_Remove, LeavesSnapshotsTakenBeforeAsTheyAre) {
    Registry registry(lock);
    HANDLE const event = registry.Add(first);
    auto const before = registry.GetEvents();
    registry.Remove(first);
    EXPECT_THAT(*before, ElementsAre(registry.GetEvents()->front(), event));
}

TEST_F(Registry_Remove, OfABufferAddedTwiceTakesTheFirstEntryAlone) {
    Registry registry(lock);
    registry.Add(first);
    registry.Add(second);
    HANDLE const again = registry.Add(first);
    registry.Remove(first);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &second, &first));
    EXPECT_EQ(registry.GetEvents()->back(), again);
}

TEST_F(Registry_Remove, OfAnUnknownBufferBesideOthersChangesNothing) {
    Registry registry(lock);
    registry.Add(first);
    TakeTexts();
    registry.Remove(second);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr, &first));
    EXPECT_EQ(world.OpenHandles(), 2U);
}

TEST_F(Registry_Remove, WithTheWakeEntryAloneChangesNothing) {
    Registry registry(lock);
    TakeTexts();
    registry.Remove(first);
    EXPECT_THAT(TakeTexts(), IsEmpty());
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST_F(Registry_Remove, WakeEventThatCannotBeSignalledDoesNotKeepTheBufferIn) {
    Registry registry(lock);
    registry.Add(first);
    world.Faults().Fail(Call_t::Win32SetEvent, 1, FALSE);
    registry.Remove(first);
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST_F(Registry_Remove, EventThatCannotBeClosedIsForgottenAllTheSame) {
    Registry registry(lock);
    HANDLE const event = registry.Add(first);
    world.Faults().Fail(Call_t::Win32CloseHandle, 1, FALSE);
    registry.Remove(first);
    EXPECT_EQ(registry.GetEvents()->size(), 1U);
    EXPECT_THAT(BuffersOf(registry), ElementsAre(nullptr));
    EXPECT_EQ(CloseHandle(event), TRUE);
}

// --- the moment of the wake signal, seen from inside the call

/// A registry whose wake event has been closed behind its back, so that the world complains within each
/// SetEvent and the test can look at the registry in that moment.
class Registry_WakeSignal : public testing::Test {
protected:
    Registry_WakeSignal() { CloseHandle(registry.GetEvents()->front()); }

    struct Moment {
        bool isLocked;
        std::size_t eventCount;
        std::size_t bufferCount;
    };

    void Look() {
        bool const isLocked = !CanBeLockedElsewhere(lock);
        // By the registry, on this thread.
        boost::mutex::scoped_lock held(lock, boost::adopt_lock);
        moments.push_back({isLocked, registry.GetEvents()->size(), registry.GetBuffers(held).size()});
        held.release();
    }

    std::size_t CountBuffers() { return registry.GetBuffers(boost::mutex::scoped_lock(lock)).size(); }

    /// It came once, under the lock, while both lists had so many entries.
    void ExpectOneLookAt(std::size_t entries) {
        ASSERT_EQ(moments.size(), 1U);
        EXPECT_TRUE(moments[0].isLocked);
        EXPECT_EQ(moments[0].eventCount, entries);
        EXPECT_EQ(moments[0].bufferCount, entries);
        EXPECT_TRUE(CanBeLockedElsewhere(lock));
    }

    std::vector<Moment> moments;
    bool isLooking = false;
    Simulation::World world{[this](std::string const&) {
        if (isLooking) {
            Look();
        }
    }};
    boost::mutex lock;
    Registry registry{lock};
    Buffer buffer;
};

TEST_F(Registry_WakeSignal, OfAddComesUnderTheLockBeforeTheListsGrow) {
    isLooking = true;
    registry.Add(buffer);
    isLooking = false;
    ExpectOneLookAt(1);
    EXPECT_EQ(CountBuffers(), 2U);
    registry.Remove(buffer);
}

TEST_F(Registry_WakeSignal, OfRemoveComesUnderTheLockBeforeTheListsShrink) {
    registry.Add(buffer);
    isLooking = true;
    registry.Remove(buffer);
    isLooking = false;
    ExpectOneLookAt(2);
    EXPECT_EQ(CountBuffers(), 1U);
}

} // namespace
} // namespace UnitTest
