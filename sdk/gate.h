#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <type_traits>

namespace Sdk {

/// Lets callers in until it is shut, and tells when the last one has left. Nobody waits to come in: a
/// callback that comes while it is being shut is sent away, and so cannot hold up those whom the callback's
/// thread waits for.
///
/// **Threads:** all operations from any thread; `Shut` once.
class Gate {
public:
    /// A caller inside, for as long as this lives; false for one who was sent away.
    class Visit {
    public:
        explicit Visit(Gate& gate) : gate_(gate), isInside_(gate.Enter()) {}
        ~Visit() {
            if (isInside_) {
                gate_.Leave();
            }
        }
        Visit(Visit const&) = delete;
        Visit& operator=(Visit const&) = delete;

        explicit operator bool() const { return isInside_; }

    private:
        Gate& gate_;
        bool const isInside_;
    };

    /// Returns when nobody is inside, and nobody comes in any more.
    void Shut() {
        std::unique_lock<std::mutex> guard(lock_);
        isShut_ = true;
        emptied_.wait(guard, [this] { return inside_ == 0; });
    }

private:
    bool Enter() {
        std::lock_guard<std::mutex> const guard(lock_);
        inside_ += isShut_ ? 0 : 1;
        return !isShut_;
    }
    void Leave() {
        std::lock_guard<std::mutex> const guard(lock_);
        --inside_;
        // Under the lock: whoever shuts the gate may destroy it as soon as he has it.
        emptied_.notify_all();
    }

    std::mutex lock_;
    std::condition_variable emptied_;
    // --- guarded by lock
    std::size_t inside_ = 0;
    bool isShut_ = false;
};

/// While it lives, its thread is in a callback of the host: there it must not wait for the end of callbacks.
class CallbackScope {
public:
    CallbackScope() { ++depth; }
    ~CallbackScope() { --depth; }
    CallbackScope(CallbackScope const&) = delete;
    CallbackScope& operator=(CallbackScope const&) = delete;

    static bool IsOpen() { return depth > 0; }

private:
    static inline thread_local int depth = 0;
    static_assert(std::is_trivially_destructible_v<decltype(depth)>);
};

} // namespace Sdk
