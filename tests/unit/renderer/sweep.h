#pragma once

#include <cstdint>

#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/fakecodec.h"
#include "support/module/unittest.h"

// What the lives of both fault sweeps have in common.

namespace UnitTest {

constexpr std::int64_t LeadMilliSec = 100;

inline Frames DecodeToConstantFrame(Frames const& frames) {
    return {ConstantFrame(frames.front()->GetTimestamp().NanoSec(), FrameSamples, 900)};
}

inline bool IsLineLevelThreadAsleep(Simulation::World& world) {
    Simulation::PlatformLock const lock(Simulation::PlatformMutex());
    return world.Threads().IsBlocked(LineLevelThreadName);
}

/// These have let go all the same when they fail: their callers can do nothing but ignore it.
inline bool HasEffectWhenItFails(Call_t call) {
    return CallSet{Call_t::BufferUnlock, Call_t::CaptureBufferUnlock, Call_t::Win32CloseHandle}.Contains(
        call);
}

} // namespace UnitTest
