#pragma once

#include <string>

#include "playrecord.h"

namespace AudioHost {

/// The report of a playback as one self-contained HTML page: summary, pictures, tables. Nothing is loaded
/// from anywhere; it reads well in light and dark and on paper.
std::string FormatReport(PlayRecord const& record);

} // namespace AudioHost
