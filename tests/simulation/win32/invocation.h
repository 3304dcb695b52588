#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <optional>

#include "simulation/calljournal.h"
#include "simulation/shaker.h"
#include "simulation/win32/dsoundheaders.h"
#include "simulation/win32/platformmutex.h"
#include "simulation/world.h"

namespace Simulation {

/// True while the calling thread is within a call into the platform.
bool IsInInvocation();

/// One call from the module into the platform: holds the platform's mutex from its start to its end, asks
/// the fault plan, and writes the journal.
class Invocation {
public:
    Invocation(World& world, Call_t call, std::uint32_t object, std::initializer_list<std::int64_t> arguments)
        : shaken_(world.Shaking()), lock_(PlatformMutex()), world_(world), call_(call), object_(object) {
        for (std::int64_t const argument : arguments) {
            arguments_[argumentCount_++] = argument;
        }
        if (auto const fault = world.Faults().Take(call)) {
            (fault->hasEffect ? lateFault_ : fault_) = fault->result;
        }
    }

    /// The result to return at once, if the call is planned to fail.
    std::optional<std::int64_t> const& Fault() const { return fault_; }
    HRESULT FaultResult() const { return static_cast<HRESULT>(*fault_); }
    /// True when the call is planned to fail although it has its effect.
    bool HasLateFault() const { return lateFault_.has_value(); }
    PlatformLock& Lock() { return lock_; }
    /// Names the object once it is known.
    void SetObject(std::uint32_t object) { object_ = object; }

    /// Journals the result of a COM call and gives it back, or the planned one of a late fault.
    HRESULT Return(HRESULT outcome) {
        HRESULT const result = lateFault_ ? static_cast<HRESULT>(*lateFault_) : outcome;
        return Return(result, static_cast<std::uint32_t>(result), FAILED(result));
    }

    /// Journals any other result.
    template <class Result>
    Result Return(Result result, std::int64_t recorded, bool hasFailed) {
        if (world_.Journal().IsEnabled()) {
            Record(recorded, hasFailed);
        }
        return result;
    }

private:
    /// What `IsInInvocation` tells of.
    struct Depth {
        Depth();
        ~Depth();
    };

    void Record(std::int64_t result, bool hasFailed);

    Depth const depth_;
    /// Before the mutex is taken and after it is given back.
    Shaken const shaken_;
    PlatformLock lock_;
    World& world_;
    Call_t const call_;
    std::uint32_t object_;
    std::array<std::int64_t, CallRecord::MaxArguments> arguments_{};
    std::uint32_t argumentCount_ = 0;
    std::optional<std::int64_t> fault_;
    std::optional<std::int64_t> lateFault_;
};

} // namespace Simulation
