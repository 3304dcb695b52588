#include <gmock/gmock.h>

#include <atomic>
#include <vector>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

class SoundNotify_Point : public testing::Test {
protected:
    TestWorld world;
    TestEvent const event;
    Playable playable;
};

using SoundNotify_SetNotificationPositions = SoundNotify_Point;

HRESULT SetPoint(Playable& playable, DWORD offset, HANDLE event) {
    DSBPOSITIONNOTIFY point{};
    point.dwOffset = offset;
    point.hEventNotify = event;
    return playable.notify->SetNotificationPositions(1, &point);
}

TEST_F(SoundNotify_Point, FiresInTheNanosecondInWhichTheCursorReachesIt) {
    ASSERT_EQ(SetPoint(playable, 9'600, event.handle), DS_OK);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    // Frame 4800 begins after 100 ms.
    world.Clock().Advance(100 * NanoSecPerMilliSec - 1);
    EXPECT_FALSE(event.IsSignalled());
    world.Clock().Advance(1);
    EXPECT_TRUE(event.IsSignalled());
    EXPECT_EQ(world.OnlyBuffer().FiredNotifications(), 1U);
}

TEST_F(SoundNotify_Point, FiresOnceInEveryRound) {
    SetPoint(playable, 9'600, event.handle);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(5'100 * NanoSecPerMilliSec - 1);
    EXPECT_EQ(world.OnlyBuffer().FiredNotifications(), 1U);
    world.Clock().Advance(1);
    EXPECT_EQ(world.OnlyBuffer().FiredNotifications(), 2U);
    // 12 h are 8640 rounds, the point lies in each.
    world.Clock().AdvanceTo(ManualClock::StartMonotonicNanoSec + 12 * NanoSecPerHour);
    EXPECT_EQ(world.OnlyBuffer().FiredNotifications(), 8'640U);
}

TEST_F(SoundNotify_Point, AtTheStartOfPlayingFiresOnlyAfterARound) {
    SetPoint(playable, 0, event.handle);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().Advance(5 * NanoSecPerSec - 1);
    EXPECT_FALSE(event.IsSignalled());
    world.Clock().Advance(1);
    EXPECT_TRUE(event.IsSignalled());
}

TEST_F(SoundNotify_Point, FollowsFrequencyAndJumps) {
    SetPoint(playable, 9'600, event.handle);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(50);
    playable->SetFrequency(24'000);
    // The 2400 frames left take 100 ms.
    world.Clock().Advance(100 * NanoSecPerMilliSec - 1);
    EXPECT_FALSE(event.IsSignalled());
    world.Clock().Advance(1);
    EXPECT_TRUE(event.IsSignalled());
    // A jump over the point does not fire it.
    playable->SetCurrentPosition(0);
    playable->SetCurrentPosition(20'000);
    world.Clock().AdvanceMilliSec(1'000);
    EXPECT_FALSE(event.IsSignalled());
}

TEST_F(SoundNotify_Point, IsSilentWhileStopped) {
    SetPoint(playable, 9'600, event.handle);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(50);
    playable->Stop();
    world.Clock().AdvanceMilliSec(10'000);
    EXPECT_FALSE(event.IsSignalled());
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(50);
    EXPECT_TRUE(event.IsSignalled());
}

TEST_F(SoundNotify_Point, OfTheStopFiresOnStopAndAtTheEnd) {
    SetPoint(playable, static_cast<DWORD>(DSBPN_OFFSETSTOP), event.handle);
    playable->Stop();
    EXPECT_FALSE(event.IsSignalled());
    playable->Play(0, 0, DSBPLAY_LOOPING);
    world.Clock().AdvanceMilliSec(6'000);
    EXPECT_FALSE(event.IsSignalled());
    playable->Stop();
    EXPECT_TRUE(event.IsSignalled());
    playable->SetCurrentPosition(0);
    playable->Play(0, 0, 0);
    world.Clock().AdvanceMilliSec(5'000);
    EXPECT_TRUE(event.IsSignalled());
}

TEST_F(SoundNotify_Point, ReleasesAWaitingThreadAtItsTimeAmongTheTimeouts) {
    SetPoint(playable, 9'600, event.handle);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    std::vector<std::int64_t> times;
    std::vector<DWORD> results;
    boost::thread thread([&] {
        for (int i = 0; i < 4; ++i) {
            results.push_back(WaitForMultipleObjects(1, &event.handle, FALSE, 200));
            times.push_back(world.Clock().ElapsedNanoSec() / NanoSecPerMilliSec);
        }
    });
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(1'000);
    thread.join();
    auto const timeout = static_cast<DWORD>(WAIT_TIMEOUT);
    EXPECT_THAT(times, testing::ElementsAre(100, 300, 500, 700));
    EXPECT_THAT(results, testing::ElementsAre(WAIT_OBJECT_0, timeout, timeout, timeout));
}

TEST_F(SoundNotify_Point, ComesBeforeATimeoutOfTheSameInstant) {
    SetPoint(playable, 19'200, event.handle);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    std::atomic<DWORD> result{WAIT_FAILED};
    boost::thread thread([&] { result = WaitForMultipleObjects(1, &event.handle, FALSE, 200); });
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(200);
    thread.join();
    EXPECT_EQ(result, WAIT_OBJECT_0);
}

TEST_F(SoundNotify_Point, OfTwoBuffersFireInOrderOfTime) {
    TestEvent const early;
    TestEvent const late;
    Playable a;
    Playable b;
    SetPoint(a, 9'602, late.handle);
    SetPoint(b, 9'600, early.handle);
    a->Play(0, 0, DSBPLAY_LOOPING);
    b->Play(0, 0, DSBPLAY_LOOPING);
    HANDLE const handles[] = {late.handle, early.handle};
    std::vector<DWORD> results;
    boost::thread thread([&] {
        results.push_back(WaitForMultipleObjects(2, handles, FALSE, INFINITE));
        results.push_back(WaitForMultipleObjects(2, handles, FALSE, INFINITE));
    });
    world.WaitForBlockedThreads(1);
    world.Clock().AdvanceMilliSec(1'000);
    thread.join();
    EXPECT_THAT(results, testing::ElementsAre(WAIT_OBJECT_0 + 1, WAIT_OBJECT_0));
}

TEST_F(SoundNotify_Point, WhoseHandleWasClosedIsDropped) {
    HANDLE const closing = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    SetPoint(playable, 9'600, closing);
    playable->Play(0, 0, DSBPLAY_LOOPING);
    CloseHandle(closing);
    world.Clock().AdvanceMilliSec(100);
    EXPECT_EQ(world.OnlyBuffer().FiredNotifications(), 0U);
    EXPECT_EQ(world.OnlyBuffer().DroppedNotifications(), 1U);
}

TEST_F(SoundNotify_SetNotificationPositions, IsRefusedWhilePlaying) {
    playable->Play(0, 0, DSBPLAY_LOOPING);
    EXPECT_EQ(SetPoint(playable, 9'600, event.handle), DSERR_INVALIDCALL);
    EXPECT_TRUE(world.OnlyBuffer().NotificationPoints().empty());
    EXPECT_TRUE(world.Misuse().empty());
}

TEST_F(SoundNotify_SetNotificationPositions, TakesOffsetsInTheRing) {
    EXPECT_EQ(SetPoint(playable, RingBytes, event.handle), DSERR_INVALIDPARAM);
    EXPECT_EQ(SetPoint(playable, RingBytes - 1, event.handle), DS_OK);
    EXPECT_EQ(world.OnlyBuffer().NotificationPoints().at(0).dwOffset, RingBytes - 1);
    EXPECT_EQ(world.OnlyBuffer().NotificationPoints().at(0).hEventNotify, event.handle);
    EXPECT_EQ(playable.notify->SetNotificationPositions(1, nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(playable.notify->SetNotificationPositions(0, nullptr), DS_OK);
    EXPECT_TRUE(world.OnlyBuffer().NotificationPoints().empty());
}

TEST_F(SoundNotify_SetNotificationPositions, WithAHandleThatIsNoneIsMisuse) {
    world.AllowMisuse();
    EXPECT_EQ(SetPoint(playable, 0, nullptr), DSERR_INVALIDPARAM);
    EXPECT_EQ(world.TakeMisuse().size(), 1U);
}

} // namespace
} // namespace Simulation
