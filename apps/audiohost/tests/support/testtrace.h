#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace AudioHost {

/// What is wrong with `text` as a trace in Chrome's trace event format (a JSON array), in words; empty when
/// nothing is. Asked are the members that each phase needs, and their types; of each track times that never
/// run back, complete events that lie beside or within each other, begins and ends in pairs, and a name for
/// every process, and for every thread that has events.
std::vector<std::string> FindTraceFaults(std::string const& text);

/// The events of a trace without fault.
std::vector<nlohmann::json> ReadTrace(std::string const& text);

} // namespace AudioHost
