#pragma once

#include <vector>

#include "listening/samples.h"
#include "listening/search/windowmatch.h"

namespace Listening {

/// Whether what should be loudest is fainter in `heard` than the rest makes one expect: its peaks were cut
/// off. A mixer cuts off at full scale, which is no fault.
bool IsCutOff(SampleView sent, SampleView heard, std::vector<WindowMatch> const& windows);

} // namespace Listening
