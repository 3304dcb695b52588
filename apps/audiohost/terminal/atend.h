#pragma once

#include <functional>
#include <utility>

namespace AudioHost {

/// Runs something when it goes out of scope, whatever the way.
class AtEnd {
public:
    explicit AtEnd(std::function<void()> action) : action_(std::move(action)) {}
    ~AtEnd() { action_(); }
    AtEnd(AtEnd const&) = delete;
    AtEnd& operator=(AtEnd const&) = delete;

private:
    std::function<void()> action_;
};

} // namespace AudioHost
