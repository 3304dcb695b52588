#pragma once

#include <string>

#include "pipeline/statistics.h"
#include "play/livetable.h"

namespace AudioHost {

/// The version of what `FormatStatistics` writes: another one when a member goes or means something else.
constexpr int StatisticsVersion = 1;

/// All statistics as one JSON object (docs/statistics.md). Counts are integers; times are in the unit that
/// their names tell.
std::string FormatStatistics(Media::PipelineStatistics_t const& statistics, SessionNames const& names);

} // namespace AudioHost
