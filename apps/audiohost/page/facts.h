#pragma once

#include <string>
#include <utility>
#include <vector>

namespace AudioHost {

/// "Lead", "200 ms": what was run, and on what, for people.
using Fact = std::pair<std::string, std::string>;

/// The command line, the versions of the program and of the libraries that it is built with.
std::vector<Fact> DescribeProgram(std::string const& program, std::vector<std::string> const& arguments);

/// That, and the system, its processor and memory, the outputs and inputs that it has for sound. On Windows
/// only.
std::vector<Fact> DescribeAll(std::string const& program, std::vector<std::string> const& arguments);

} // namespace AudioHost
