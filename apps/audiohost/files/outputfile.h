#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace AudioHost {

/// Throws `HostError` (`Usage`) when a path is given and nothing can be written there. What stands there
/// stays.
void RequireWritable(std::string const& path);

/// Sends the renderer's log records to the file at `path`, unless that is empty. Throws `HostError` (`Usage`)
/// when it cannot be written.
void LogTo(std::string const& path);

/// A file that lies beside a report.
struct SideFile {
    std::string name;
    std::string bytes;
};

/// A page, and the sounds that are too long for it.
struct Report {
    std::string html;
    std::vector<SideFile> files;
};

/// Writes a report with the files beside it and says so on `out`. Throws `HostError` (`Internal`) when
/// one could not be written.
void WriteReport(std::string const& path, Report const& report, std::ostream& out);

} // namespace AudioHost
