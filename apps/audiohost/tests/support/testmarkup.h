#pragma once

#include <string>

namespace AudioHost {

/// Empty when every element is closed in order and no stray markup character stands in a text, else what is
/// wrong.
std::string FindMarkupError(std::string const& html);

} // namespace AudioHost
