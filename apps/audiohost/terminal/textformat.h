#pragma once

#include <cstdint>
#include <string>

namespace AudioHost {

/// `value` with `decimals` digits behind the point, always a point; "0.0", never "-0.0".
std::string FormatFixed(double value, int decimals);

/// The same with its sign, "+1.0", "-0.5", "0.0".
std::string FormatSigned(double value, int decimals);

/// Minutes, seconds and tenths: "1:02.3".
std::string FormatClock(std::int64_t nanoSec);

/// "1 frame", "2 frames", "no frames".
std::string FormatCount(std::uint64_t count, std::string const& noun);

/// `text` for HTML and SVG: markup characters as entities, control characters left out.
std::string EscapeHtml(std::string const& text);

} // namespace AudioHost
