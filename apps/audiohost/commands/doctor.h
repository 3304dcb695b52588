#pragma once

#include "output/devicelist.h"
#include "output/silentsound.h"
#include "record/microphone.h"
#include "terminal/hosterror.h"
#include "terminal/options.h"
#include "terminal/surroundings.h"

namespace AudioHost {

/// Looks at the machine's sound for `options.seconds` and tells one page about it. Returns `Ok`; `NoOutput`
/// or `NoInput`; `OutputGlitch`; `WentBadly` for anything else that is not well; `Interrupted`. Throws
/// `HostError` when the page cannot be written.
ExitCode_t Doctor(DoctorOptions const& options, DeviceList const& devices, Surroundings const& surroundings,
                  CaptureAccess& capture, OutputAccess& output);

} // namespace AudioHost
