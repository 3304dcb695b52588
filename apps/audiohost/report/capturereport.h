#pragma once

#include <vector>

#include "files/outputfile.h"
#include "page/reportmodel.h"
#include "record/capturelog.h"

namespace AudioHost {

/// What the report of a recording shows; what is too long for the page goes to `files`.
ReportModel DescribeRun(CaptureLog const& log, std::vector<SideFile>& files);

Report FormatReport(CaptureLog const& log);

} // namespace AudioHost
