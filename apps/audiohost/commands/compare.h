#pragma once

#include <ostream>

#include "terminal/hosterror.h"
#include "terminal/options.h"

namespace AudioHost {

/// Tells on `out` what changed between two runs, from their reports. Returns `Ok`; throws `HostError` where
/// one cannot be read or is no report.
ExitCode_t Compare(CompareOptions const& options, std::ostream& out);

} // namespace AudioHost
