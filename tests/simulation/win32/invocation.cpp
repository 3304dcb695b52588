#include "simulation/win32/invocation.h"

#include <utility>

#include "kovra/thread.h"

namespace Simulation {

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
