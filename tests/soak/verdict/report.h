#pragma once

#include <string>
#include <vector>

#include "page/reportmodel.h"
#include "run/runrecord.h"
#include "verdict/findings.h"

namespace Soak {

/// What the report of a soak shows. `heard` is the recording from its first sample on.
AudioHost::ReportModel DescribeRun(Options const& options, RunRecord const& record, Findings const& findings,
                                   std::vector<std::string> const& failures, Listening::SampleView heard);

} // namespace Soak
