#include <gmock/gmock.h>

#include <vector>

#include "helpers.h"
#include "simulation/testworld.h"

// Events and waits that do not block; threads_test.cpp has those that do.

namespace Simulation {
namespace {

TEST(Win32_SetEvent, AutoResetEventSatisfiesOneWait) {
    TestWorld const world;
    TestEvent const event;
    EXPECT_FALSE(event.IsSignalled());
    EXPECT_TRUE(SetEvent(event.handle));
    EXPECT_TRUE(event.IsSignalled());
    EXPECT_FALSE(event.IsSignalled());
}

TEST(Win32_SetEvent, ManualResetEventSatisfiesEveryWait) {
    TestWorld const world;
    TestEvent const event(true);
    SetEvent(event.handle);
    EXPECT_TRUE(event.IsSignalled());
    EXPECT_TRUE(event.IsSignalled());
}

TEST(Win32_CreateEventA, TakesTheInitialState) {
    TestWorld const world;
    TestEvent const event(false, true);
    EXPECT_TRUE(event.IsSignalled());
    EXPECT_FALSE(event.IsSignalled());
}

TEST(Win32_WaitForMultipleObjects, TakesTheLowestIndexAndLeavesTheOthersSignalled) {
    TestWorld const world;
    TestEvent const a;
    TestEvent const b(false, true);
    TestEvent const c(false, true);
    HANDLE const handles[] = {a.handle, b.handle, c.handle};
    EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, INFINITE), WAIT_OBJECT_0 + 1);
    EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, INFINITE), WAIT_OBJECT_0 + 2);
    EXPECT_EQ(WaitForMultipleObjects(3, handles, FALSE, 0), static_cast<DWORD>(WAIT_TIMEOUT));
}

TEST(Win32_WaitForMultipleObjects, TakesOneToSixtyFourHandles) {
    TestWorld const world;
    TestEvent const event(true, true);
    std::vector<HANDLE> const handles(65, event.handle);
    EXPECT_EQ(WaitForMultipleObjects(0, handles.data(), FALSE, 0), WAIT_FAILED);
    EXPECT_EQ(WaitForMultipleObjects(1, handles.data(), FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(63, handles.data(), FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(64, handles.data(), FALSE, 0), WAIT_OBJECT_0);
    EXPECT_EQ(WaitForMultipleObjects(65, handles.data(), FALSE, 0), WAIT_FAILED);
}

TEST(Win32_WaitForMultipleObjects, FailsForAHandleThatIsNotOpen) {
    TestWorld const world;
    HANDLE const closed = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(closed);
    TestEvent const open(true, true);
    HANDLE const handles[] = {open.handle, closed};
    EXPECT_EQ(WaitForMultipleObjects(2, handles, FALSE, 0), WAIT_FAILED);
    HANDLE const none[] = {nullptr};
    EXPECT_EQ(WaitForMultipleObjects(1, none, FALSE, 0), WAIT_FAILED);
}

TEST(Win32_CreateEventA, NeverUsesAHandleTwice) {
    TestWorld const world;
    HANDLE const first = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    CloseHandle(first);
    TestEvent const second;
    EXPECT_NE(first, second.handle);
    EXPECT_EQ(world.EventNumber(first), 1U);
    EXPECT_EQ(world.EventNumber(second.handle), 2U);
    EXPECT_EQ(world.OpenHandles(), 1U);
}

TEST(Win32_SetEvent, OnWhatIsNoOpenHandleFailsAndIsMisuse) {
    TestWorld world;
    world.AllowMisuse();
    HANDLE const closed = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    EXPECT_TRUE(CloseHandle(closed));
    EXPECT_FALSE(SetEvent(closed));
    EXPECT_FALSE(SetEvent(nullptr));
    EXPECT_FALSE(CloseHandle(closed));
    EXPECT_THAT(world.TakeMisuse(), testing::ElementsAre("SetEvent on a handle that is not open",
                                                         "SetEvent on a handle that is not open",
                                                         "CloseHandle on a handle that is not open"));
}

} // namespace
} // namespace Simulation
