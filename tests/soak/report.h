#pragma once

#include <string>
#include <vector>

#include "findings.h"
#include "page/reportmodel.h"
#include "runrecord.h"

namespace Soak {

/// What the report of a soak shows. `heard` is the recording from its first sample on.
AudioHost::ReportModel DescribeRun(Options const& options, RunRecord const& record, Findings const& findings,
                                   std::vector<std::string> const& failures, Listening::SampleView heard);

} // namespace Soak
