#pragma once

#include <string>

namespace AudioHost {

/// What got better, worse, or else changed from one run to another, and what only one of them has, line by
/// line. Both are the texts of reports: pages, or the JSON in them. Throws `HostError` (`Usage`) for what is
/// no report, or one of a later version.
std::string CompareReports(std::string const& before, std::string const& after);

} // namespace AudioHost
