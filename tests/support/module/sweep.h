#pragma once

#include <cstdint>
#include <cstdlib>

#include "simulation/call.h"

// What sweeps have in common: tests that live the same life many times, each time with something else
// failing.

namespace UnitTest {

/// Which of a sweep's lives are lived: all, or one of as many as RENDERERAUDIO_SWEEP_ONE_OF says. For builds
/// in which a life takes long, and in which another build lives them all.
class SweepSample {
public:
    bool TakesNext() { return next_++ % oneOf_ == 0; }
    /// How many of so many lives are taken.
    std::uint64_t ShareOf(std::uint64_t lives) const { return (lives + oneOf_ - 1) / oneOf_; }

private:
    static std::uint64_t OneOf() {
        char const* const text = std::getenv("RENDERERAUDIO_SWEEP_ONE_OF");
        std::uint64_t const number = text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
        return number == 0 ? 1 : number;
    }

    std::uint64_t const oneOf_ = OneOf();
    std::uint64_t next_ = 0;
};

/// These have let go all the same when they fail: their callers can do nothing but ignore it.
inline bool HasEffectWhenItFails(Simulation::Call_t call) {
    using Simulation::Call_t;
    return Simulation::CallSet{Call_t::BufferUnlock, Call_t::CaptureBufferUnlock, Call_t::Win32CloseHandle}
        .Contains(call);
}

} // namespace UnitTest
