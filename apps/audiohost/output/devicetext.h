#pragma once

#include <string>

#include "output/devicelist.h"

namespace AudioHost {

/// As indented lines under two headings, with driver and GUID if wanted.
std::string FormatDevices(DeviceList const& list, bool hasDrivers);

} // namespace AudioHost
