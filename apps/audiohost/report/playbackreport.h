#pragma once

#include <vector>

#include "files/outputfile.h"
#include "page/reportmodel.h"
#include "play/playbacklog.h"

namespace AudioHost {

/// What the report of a playback shows; what is too long for the page goes to `files`.
ReportModel DescribeRun(PlaybackLog const& log, std::vector<SideFile>& files);

Report FormatReport(PlaybackLog const& log);

} // namespace AudioHost
