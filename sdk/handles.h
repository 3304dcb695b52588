#pragma once

#include <atomic>
#include <cstdint>
#include <iterator>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace Sdk {

/// Of all kinds together.
inline std::atomic<std::uintptr_t> lastHandle{0};

/// Numbers for objects, so that a handle that is void is found out and never followed. No number is given
/// twice, for objects of other kinds neither.
///
/// **Threads:** all operations from any thread.
template <class Object>
class Handles {
public:
    std::uintptr_t Add(std::shared_ptr<Object> object) {
        static_assert(sizeof(std::uintptr_t) >= 8, "numbers never come round");
        std::uintptr_t const handle = lastHandle.fetch_add(1) + 1;
        std::lock_guard<std::mutex> const guard(lock_);
        objects_.emplace(handle, std::move(object));
        return handle;
    }

    /// Null for a handle that is void.
    std::shared_ptr<Object> Find(std::uintptr_t handle) const {
        std::lock_guard<std::mutex> const guard(lock_);
        auto const found = objects_.find(handle);
        return found == objects_.end() ? nullptr : found->second;
    }

    /// As `Find`, and makes the handle void: of two who take it at once one gets null.
    std::shared_ptr<Object> Take(std::uintptr_t handle) {
        std::lock_guard<std::mutex> const guard(lock_);
        auto const found = objects_.find(handle);
        if (found == objects_.end()) {
            return nullptr;
        }
        std::shared_ptr<Object> object = std::move(found->second);
        objects_.erase(found);
        return object;
    }

    /// Makes the handles of all objects void for which `isGone` holds.
    template <class Predicate>
    void RemoveIf(Predicate isGone) {
        std::lock_guard<std::mutex> const guard(lock_);
        for (auto object = objects_.begin(); object != objects_.end();) {
            object = isGone(*object->second) ? objects_.erase(object) : std::next(object);
        }
    }

private:
    mutable std::mutex lock_;
    std::map<std::uintptr_t, std::shared_ptr<Object>> objects_;
};

} // namespace Sdk
