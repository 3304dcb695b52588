#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "helpers.h"
#include "simulation/testworld.h"

namespace Simulation {
namespace {

using SoundBuffer_LocksExclude = PlayableTest;

/// Locks on a thread of its own, unlocks, and ends.
class OtherThread {
public:
    OtherThread(Playable& playable, DWORD offset, DWORD bytes)
        : thread_([this, &playable, offset, bytes] {
              Locked const locked = LockOf(playable, offset, bytes);
              hasLocked_ = true;
              Unlock(playable, locked);
          }) {}
    ~OtherThread() { Join(); }
    OtherThread(OtherThread const&) = delete;
    OtherThread& operator=(OtherThread const&) = delete;

    bool HasLocked() const { return hasLocked_; }
    void Join() {
        if (thread_.joinable()) {
            thread_.join();
        }
    }

private:
    std::atomic<bool> hasLocked_{false};
    std::thread thread_;
};

TEST_F(SoundBuffer_LocksExclude, ALockOfBytesThatAnotherThreadHasWaitsForItsUnlock) {
    world.Device().SetLocksExclude(true);
    // The last byte of the one is the first of the other; both wrap.
    Locked const mine = LockOf(playable, RingBytes - 100, 200);
    OtherThread other(playable, 99, 100);
    for (int i = 0; i < 100; ++i) {
        std::this_thread::yield();
        EXPECT_FALSE(other.HasLocked());
        EXPECT_EQ(world.OnlyBuffer().OpenLocks(), 1U);
    }
    Unlock(playable, mine);
    other.Join();
    EXPECT_TRUE(other.HasLocked());
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 2U);
}

TEST_F(SoundBuffer_LocksExclude, LocksSideBySideDoNotWait) {
    world.Device().SetLocksExclude(true);
    Locked const mine = LockOf(playable, RingBytes - 100, 200);
    OtherThread(playable, 100, RingBytes - 200).Join();
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 2U);
    Unlock(playable, mine);
}

TEST_F(SoundBuffer_LocksExclude, OffAtFirst) {
    Locked const mine = LockOf(playable, 0, 200);
    OtherThread(playable, 0, 200).Join();
    EXPECT_EQ(world.OnlyBuffer().LockCount(), 2U);
    Unlock(playable, mine);
}

} // namespace
} // namespace Simulation
