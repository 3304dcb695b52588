#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "simulation/call.h"

namespace Simulation {

/// Which calls fail, and how. A call that is made to fail is written into the journal and has no effect:
/// it returns the planned result, and what it would have handed out is null or zero.
///
///     world.Faults().Fail(Call_t::BufferLock, 2, DSERR_BUFFERLOST);     // the second lock from now
///     world.Faults().FailAlways(Call_t::SoundCreate8, DSERR_NODRIVER);
///     world.Faults().Fail(Call_t::SoundCreate8, 1, DS_OK);              // "succeeds" with a null object
///     world.Faults().Fail(Call_t::BufferQueryNotify, 1, E_NOINTERFACE);
///     world.Faults().Fail(Call_t::Win32Wait, 3, WAIT_FAILED);           // or any result of a wait
///
/// `CreateEventA` and `GetDesktopWindow` made to fail return null, `SetEvent` and `CloseHandle` false,
/// whatever the result says. `AddRef`, `Release` and `Sleep` have no way to fail and cannot be planned.
///
/// **Threads:** all operations from any thread.
class FaultPlan {
public:
    /// Makes the `nth` call (1 is the next one) of `call` return `result`.
    void Fail(Call_t call, std::uint64_t nth, std::int64_t result);
    /// Makes the `nth` call of `call`, which is an Unlock or a CloseHandle, return `result` although it has
    /// its effect: a caller that ignores the failure, as it must, leaves nothing open.
    void FailAllTheSame(Call_t call, std::uint64_t nth, std::int64_t result);
    /// Makes every call of `call` return `result`, as far as no single one is planned otherwise.
    void FailAlways(Call_t call, std::int64_t result);
    /// Forgets what is planned for `call`.
    void Clear(Call_t call);
    /// Forgets everything planned.
    void Clear();

    struct Fault {
        std::int64_t result;
        /// The call does what it does, and only its result is this one.
        bool hasEffect;
    };
    /// For the platform, its mutex held: counts one call; how it fails, if it is to fail.
    std::optional<Fault> Take(Call_t call);

private:
    struct Single {
        std::uint64_t countDown;
        Fault fault;
    };
    struct Plan {
        bool isPlanned = false;
        std::optional<std::int64_t> always;
        std::vector<Single> singles;
    };

    Plan& PlanOf(Call_t call);
    void Add(Call_t call, std::uint64_t nth, Fault fault);

    std::array<Plan, CallCount> plans_;
};

} // namespace Simulation
