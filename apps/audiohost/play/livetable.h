#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"

namespace AudioHost {

/// What sessions are called, in UTF-8.
using SessionNames = std::map<Media::Pipeline::SessionId_t, std::string>;

/// The sessions as a table, one line each under one of headings, with all of them together in the last line
/// when they are several: no line longer than `columns` - 1 places (it is cut), no more than `rows` - 1
/// lines, but three at least. Where they do not fit, the sessions furthest out of time are shown.
///
/// Errors are in milliseconds, above zero late: the latest, and what 95 of 100 frames keep within; the trend
/// is in parts per million; then the playback frequency, starts, jobs that failed, late frames, jumps, losses
/// and small gaps (as episodes), and the mean time in the renderer in microseconds.
std::vector<std::string> FormatLiveTable(Media::PipelineStatistics_t const& statistics,
                                         SessionNames const& names, std::size_t columns, std::size_t rows);

/// What is told of a stream besides.
struct StreamRow {
    std::string name;
    std::string figures;
};

/// A line each, the figures below each other: no line longer than `columns` - 1 places. What is too long is
/// cut in its name, which keeps twelve places.
std::vector<std::string> FormatStreamTable(std::vector<StreamRow> const& streams, std::size_t columns);

/// All sessions together in one plain line of at most 79 characters.
std::string FormatLiveLine(Media::PipelineStatistics_t const& statistics);

} // namespace AudioHost
