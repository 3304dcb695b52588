#pragma once

#include "output/devicelist.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// Tells what enumeration found, as text or as an object. Returns `Ok`, or `NoOutput` or `NoInput` when there
/// is none.
ExitCode_t Devices(DeviceList const& list, Telling const& telling, Surroundings const& surroundings);

} // namespace AudioHost
