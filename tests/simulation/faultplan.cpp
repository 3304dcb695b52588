#include "simulation/faultplan.h"

#include <algorithm>
#include <string>

#include "simulation/win32/fatal.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

FaultPlan::Plan& FaultPlan::PlanOf(Call_t call) {
    static CallSet const unfailing{
        Call_t::Win32Sleep,          Call_t::SoundAddRef,         Call_t::SoundRelease,
        Call_t::BufferAddRef,        Call_t::BufferRelease,       Call_t::NotifyAddRef,
        Call_t::NotifyRelease,       Call_t::CaptureAddRef,       Call_t::CaptureRelease,
        Call_t::CaptureBufferAddRef, Call_t::CaptureBufferRelease};
    if (unfailing.Contains(call)) {
        Fatal(std::string(ToString(call)) + " has no way to fail");
    }
    return plans_[static_cast<std::size_t>(call)];
}

void FaultPlan::Fail(Call_t call, std::uint64_t nth, std::int64_t result) {
    Add(call, nth, {result, false});
}

void FaultPlan::FailAllTheSame(Call_t call, std::uint64_t nth, std::int64_t result) {
    static CallSet const closing{Call_t::BufferUnlock, Call_t::CaptureBufferUnlock, Call_t::Win32CloseHandle};
    if (!closing.Contains(call)) {
        Fatal(std::string(ToString(call)) + " has no effect when it fails");
    }
    Add(call, nth, {result, true});
}

void FaultPlan::Add(Call_t call, std::uint64_t nth, Fault fault) {
    PlatformLock const lock(PlatformMutex());
    if (nth == 0) {
        Fatal("the next call is number 1");
    }
    Plan& plan = PlanOf(call);
    plan.isPlanned = true;
    plan.singles.push_back({nth, fault});
}

void FaultPlan::FailAlways(Call_t call, std::int64_t result) {
    PlatformLock const lock(PlatformMutex());
    Plan& plan = PlanOf(call);
    plan.isPlanned = true;
    plan.always = result;
}

void FaultPlan::Clear(Call_t call) {
    PlatformLock const lock(PlatformMutex());
    PlanOf(call) = Plan();
}

void FaultPlan::Clear() {
    PlatformLock const lock(PlatformMutex());
    plans_.fill(Plan());
}

std::optional<FaultPlan::Fault> FaultPlan::Take(Call_t call) {
    Plan& plan = plans_[static_cast<std::size_t>(call)];
    if (!plan.isPlanned) {
        return std::nullopt;
    }
    std::optional<Fault> fault;
    if (plan.always) {
        fault = Fault{*plan.always, false};
    }
    for (Single& single : plan.singles) {
        if (--single.countDown == 0) {
            fault = single.fault;
        }
    }
    plan.singles.erase(std::remove_if(plan.singles.begin(), plan.singles.end(),
                                      [](Single const& single) { return single.countDown == 0; }),
                       plan.singles.end());
    plan.isPlanned = plan.always.has_value() || !plan.singles.empty();
    return fault;
}

} // namespace Simulation
