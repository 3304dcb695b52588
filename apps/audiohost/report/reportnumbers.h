#pragma once

#include <cmath>
#include <cstdint>
#include <string>

#include "listening/samples.h"
#include "page/reportmodel.h"
#include "report/soundwords.h"

namespace AudioHost {

// What the reports of all commands are made of.

/// Of a report's numbers that have decimals.
constexpr std::int64_t PerUnit = 1000;

inline std::int64_t ToThousandths(double value) {
    return std::llround(value * static_cast<double>(PerUnit));
}

inline std::int64_t ToWholeMilliSec(std::int64_t nanoSec) {
    return nanoSec / Listening::NanoSecPerMilliSec;
}

inline ReportFigure CountFigure(std::string const& name, std::uint64_t count,
                                Better_t better = Better_t::Neither, std::string const& unit = "") {
    return {name, static_cast<std::int64_t>(count), unit, 1, better};
}

inline ReportFigure Figure(std::string const& name, double value, std::string const& unit,
                           Better_t better = Better_t::Neither) {
    return {name, ToThousandths(value), unit, PerUnit, better};
}

Grade_t ToGrade(Outcome_t outcome);

/// Of the sounds beside a page: "20260102-030405-heard.flac".
std::string SoundFileName(Kovra::SysTime startedAt, std::string const& id);

} // namespace AudioHost
