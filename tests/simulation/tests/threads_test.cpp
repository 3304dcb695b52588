#include <gmock/gmock.h>

#include <atomic>
#include <functional>
#include <vector>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

std::int64_t ElapsedMilliSec(World& world) {
    return world.Clock().ElapsedNanoSec() / NanoSecPerMilliSec;
}

/// A thread that notes what its waits gave and when, until `isDone` is set and it is released.
class WaitingThread {
public:
    WaitingThread(World& world, std::vector<HANDLE> handles, DWORD timeoutMilliSec,
                  char const* name = "waiter")
        : thread_([this, &world, handles, timeoutMilliSec, name] {
              Kovra::SetThreadName(name);
              while (!isDone) {
                  DWORD const result = WaitForMultipleObjects(static_cast<DWORD>(handles.size()),
                                                              handles.data(), FALSE, timeoutMilliSec);
                  results.push_back(result);
                  times.push_back(ElapsedMilliSec(world));
              }
          }) {}
    void Join() { thread_.join(); }

    std::atomic<bool> isDone{false};
    std::vector<DWORD> results;
    std::vector<std::int64_t> times;

private:
    boost::thread thread_;
};

TEST(ManualClock_Advance, ReleasesAThreadAtEachOfItsTimeoutsOnTheWay) {
    TestWorld world;
    TestEvent const event;
    WaitingThread thread(world, {event.handle}, 200);
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(1000);
    EXPECT_THAT(thread.times, testing::ElementsAre(200, 400, 600, 800, 1000));
    EXPECT_THAT(thread.results, testing::Each(static_cast<DWORD>(WAIT_TIMEOUT)));
    thread.isDone = true;
    SetEvent(event.handle);
    thread.Join();
    EXPECT_EQ(thread.results.back(), WAIT_OBJECT_0);
}

TEST(ManualClock_Advance, ReleasesATimeoutInItsNanosecondAndNotBefore) {
    TestWorld world;
    TestEvent const event;
    WaitingThread thread(world, {event.handle}, 200);
    world.WaitForBlockedThreads(1);
    world.Clock().Advance(200 * NanoSecPerMilliSec - 1);
    EXPECT_TRUE(thread.results.empty());
    thread.isDone = true;
    world.Clock().Advance(1);
    EXPECT_EQ(thread.results.size(), 1U);
    thread.Join();
}

TEST(ManualClock_Advance, LeavesAnInfiniteWaitAlone) {
    TestWorld world;
    TestEvent const event;
    WaitingThread thread(world, {event.handle}, INFINITE);
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(1'000'000'000);
    EXPECT_TRUE(thread.results.empty());
    thread.isDone = true;
    SetEvent(event.handle);
    thread.Join();
    EXPECT_THAT(thread.results, testing::ElementsAre(WAIT_OBJECT_0));
}

TEST(ManualClock_Advance, WaitsForAReleasedThreadToComeBackBeforeTimeGoesOn) {
    TestWorld world;
    TestEvent const event;
    WaitingThread thread(world, {event.handle}, INFINITE);
    world.WaitForBlockedThreads(1);
    for (int i = 0; i < 100; ++i) {
        SetEvent(event.handle);
        world.Clock().AdvanceMilliSec(1);
    }
    world.WaitForBlockedThreads(1);
    std::vector<std::int64_t> expected;
    for (int i = 0; i < 100; ++i) {
        expected.push_back(i);
    }
    EXPECT_EQ(thread.times, expected);
    thread.isDone = true;
    SetEvent(event.handle);
    thread.Join();
}

TEST(ManualClock_Advance, GoesOnWhenAReleasedThreadHasEnded) {
    TestWorld world;
    TestEvent const event;
    WaitingThread thread(world, {event.handle}, 10);
    world.WaitForBlockedThreads(1);
    thread.isDone = true;
    world.Clock().AdvanceMilliSec(1000);
    EXPECT_THAT(thread.times, testing::ElementsAre(10));
    thread.Join();
    EXPECT_EQ(world.BlockedThreads(), 0U);
}

TEST(ManualClock_Advance, ReleasesThreadsDueAtOnceInTheOrderOfTheirWaits) {
    TestWorld world;
    TestEvent const event;
    std::atomic<int> turn{0};
    int first = 0;
    int second = 0;
    boost::thread a([&] {
        Sleep(10);
        first = ++turn;
    });
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(3);
    boost::thread b([&] {
        Sleep(7);
        second = ++turn;
    });
    world.WaitForBlockedThreads(2);
    world.Clock().AdvanceMilliSec(7);
    a.join();
    b.join();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

TEST(Win32_Sleep, EndsWhenTheClockHasMovedOn) {
    TestWorld world;
    std::atomic<std::int64_t> wokeMilliSec{-1};
    boost::thread thread([&] {
        Sleep(20);
        wokeMilliSec = ElapsedMilliSec(world);
    });
    world.WaitForBlockedThreads(1);
    world.Clock().Advance(20 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(wokeMilliSec, -1);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(wokeMilliSec, 20);
    thread.join();
}

TEST(Win32_Sleep, OfNothingReturnsAtOnce) {
    TestWorld world;
    Sleep(0);
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 0);
}

TEST(Win32_SetEvent, AutoResetReleasesOneThreadAndManualResetAll) {
    for (bool const isManualReset : {false, true}) {
        TestWorld world;
        TestEvent const event(isManualReset);
        WaitingThread a(world, {event.handle}, INFINITE, "a");
        world.WaitForBlockedThread("a");
        WaitingThread b(world, {event.handle}, INFINITE, "b");
        world.WaitForBlockedThread("b");
        a.isDone = true;
        b.isDone = true;
        SetEvent(event.handle);
        a.Join();
        if (!isManualReset) {
            EXPECT_EQ(world.BlockedThreads(), 1U);
            SetEvent(event.handle);
        }
        b.Join();
    }
}

TEST(Win32_CloseHandle, LeavesARunningWaitAlone) {
    TestWorld world;
    TestEvent const wake;
    HANDLE const closing = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    WaitingThread thread(world, {wake.handle, closing}, INFINITE);
    world.WaitForBlockedThreads(1);
    EXPECT_TRUE(CloseHandle(closing));
    EXPECT_EQ(world.BlockedThreads(), 1U);
    thread.isDone = true;
    SetEvent(wake.handle);
    thread.Join();
    EXPECT_THAT(thread.results, testing::ElementsAre(WAIT_OBJECT_0));
}

TEST(World_WaitForBlockedThreads, CountsThreadsWhoseWaitNothingSatisfies) {
    TestWorld world;
    TestEvent const a;
    TestEvent const b;
    WaitingThread first(world, {a.handle}, INFINITE);
    WaitingThread second(world, {b.handle}, INFINITE);
    world.WaitForBlockedThreads(2);
    first.isDone = true;
    SetEvent(a.handle);
    world.WaitForBlockedThreads(1);
    EXPECT_EQ(first.results.size(), 1U);
    second.isDone = true;
    SetEvent(b.handle);
    world.WaitForBlockedThreads(0);
    EXPECT_EQ(second.results.size(), 1U);
    first.Join();
    second.Join();
}

TEST(FaultPlan_Fail, GivesAWaitAnyResultInItsTurn) {
    TestWorld world;
    TestEvent const event(true, true);
    world.Faults().Fail(Call_t::Win32Wait, 2, WAIT_FAILED);
    world.Faults().Fail(Call_t::Win32Wait, 3, WAIT_ABANDONED_0 + 5);
    EXPECT_EQ(WaitForMultipleObjects(1, &event.handle, FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(1, &event.handle, FALSE, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForMultipleObjects(1, &event.handle, FALSE, 0), static_cast<DWORD>(WAIT_ABANDONED_0 + 5));
    EXPECT_EQ(WaitForMultipleObjects(1, &event.handle, FALSE, 0), WAIT_OBJECT_0);
}

TEST(World_WaitForWaitCalls, SeesAThreadWhoseWaitsAllFail) {
    TestWorld world;
    TestEvent const event;
    world.Faults().FailAlways(Call_t::Win32Wait, WAIT_FAILED);
    std::atomic<bool> isDone{false};
    boost::thread thread([&] {
        while (!isDone) {
            WaitForMultipleObjects(1, &event.handle, FALSE, INFINITE);
        }
    });
    world.WaitForWaitCalls(100);
    EXPECT_GE(world.WaitCalls(), 100U);
    isDone = true;
    thread.join();
}

TEST(ManualClock_Advance, DoesNotStandStillForAThreadWhoseWaitsFail) {
    TestWorld world;
    TestEvent const event;
    std::atomic<bool> isDone{false};
    boost::thread thread([&] {
        // Known to the clock from here on.
        WaitForMultipleObjects(1, &event.handle, FALSE, 10);
        HANDLE const none = nullptr;
        while (!isDone) {
            WaitForMultipleObjects(1, &none, FALSE, INFINITE);
        }
    });
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(10);
    world.WaitForWaitCalls(10);
    world.Clock().AdvanceMilliSec(1000);
    EXPECT_EQ(world.Clock().ElapsedNanoSec(), 1'010'000'000);
    isDone = true;
    thread.join();
}

} // namespace
} // namespace Simulation
