// The registry by itself: so few points that all schedules with three preemptions can be run.

#include "directsound/registry.h"

#include <atomic>

#include "scenario.h"

namespace Schedules {
namespace {

/// The registry asks nothing of its buffers.
struct Buffer {};

using Registry = DirectSound::Registry<Buffer>;

/// A registry and a thread that waits on it as a device's does, and keeps the buffer whose event came last.
class Waiting {
public:
    Waiting() : thread_([this] { Wait(); }) {}

    ~Waiting() {
        ends_ = true;
        registry.Wake();
        thread_.join();
    }

    void ExpectWaitedFor(Buffer const& buffer, HANDLE event) {
        SetEvent(event);
        Scheduler::Get().Settle();
        Expect(last_ == &buffer, "the thread waits for the event of every buffer");
    }

    void ExpectBuffers(std::vector<Buffer*> const& expected) {
        Expect(registry.GetBuffers(boost::mutex::scoped_lock(lock_)) == expected,
               "the registered buffers are there");
        Expect(registry.GetEvents()->size() == expected.size(), "each has an event");
    }

private:
    Simulation::World world_{[](std::string const& complaint) { Scheduler::Get().Report(complaint); }};
    boost::mutex lock_;

public:
    Registry registry{lock_};

private:
    void Wait() {
        while (!ends_) {
            auto const events = registry.GetEvents();
            DWORD const index =
                WaitForMultipleObjects(static_cast<DWORD>(events->size()), events->data(), FALSE, INFINITE);
            boost::mutex::scoped_lock const guard(lock_);
            auto const& buffers = registry.GetBuffers(guard);
            if (index < buffers.size()) {
                last_ = buffers[index];
            }
        }
    }

    std::atomic<bool> ends_{false};
    Buffer const* last_ = nullptr;
    std::thread thread_;
};

SCHEDULES_TEST(Schedules_Registry, AnAddingBesideARemovalAndAWait) {
    Buffer first;
    Buffer second;
    Waiting stage;
    HANDLE event = nullptr;
    stage.registry.Add(first);
    Scheduler::Get().Settle();
    RunTogether({[&] { event = stage.registry.Add(second); }, [&] { stage.registry.Remove(first); }});
    stage.ExpectBuffers({nullptr, &second});
    stage.ExpectWaitedFor(second, event);
    EndsIn("the added one is waited for");
    stage.registry.Remove(second);
}

} // namespace
} // namespace Schedules
