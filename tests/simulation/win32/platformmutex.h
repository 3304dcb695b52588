#pragma once

#include <mutex>

namespace Simulation {

/// The one lock of the simulated platform. It guards everything in it and lives for ever, so that a thread
/// that ends after its `World` can still ask whether there is one.
///
/// No code of a test or of the module runs with it held, but for the callbacks that say so.
inline std::mutex& PlatformMutex() {
    static auto* const mutex = new std::mutex;
    return *mutex;
}

using PlatformLock = std::unique_lock<std::mutex>;

} // namespace Simulation
