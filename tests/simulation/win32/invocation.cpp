#include "simulation/win32/invocation.h"

#include <type_traits>
#include <utility>

#include "kovra/thread.h"

namespace Simulation {

namespace {

thread_local int invocations = 0;
static_assert(std::is_trivially_destructible_v<decltype(invocations)>);

} // namespace

bool IsInInvocation() {
    return invocations > 0;
}

Invocation::Depth::Depth() {
    ++invocations;
}

Invocation::Depth::~Depth() {
    --invocations;
}

void Invocation::Record(std::int64_t result, bool hasFailed) {
    CallRecord record;
    record.call = call_;
    record.object = object_;
    record.arguments = arguments_;
    record.argumentCount = argumentCount_;
    record.result = result;
    record.hasFailed = hasFailed;
    record.nanoSec = world_.Clock().NowNanoSec();
    record.threadName = Kovra::GetThreadName();
    world_.Journal().Add(std::move(record));
}

} // namespace Simulation
