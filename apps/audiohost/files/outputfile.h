#pragma once

#include <ostream>
#include <string>

namespace AudioHost {

/// Throws `HostError` (`Usage`) when a path is given and nothing can be written there. What stands there
/// stays.
void RequireWritable(std::string const& path);

/// Sends the renderer's log records to the file at `path`, unless that is empty. Throws `HostError` (`Usage`)
/// when it cannot be written.
void LogTo(std::string const& path);

/// Writes a report and says so on `out`. Throws `HostError` (`Internal`) when it
/// could not be written.
void WriteReport(std::string const& path, std::string const& html, std::ostream& out);

} // namespace AudioHost
