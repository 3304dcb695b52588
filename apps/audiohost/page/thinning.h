#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "page/reportmodel.h"

namespace AudioHost {

/// Points of all series of a page together: what keeps the report of a day as small as that of an hour.
constexpr std::size_t MaxPointsOfAll = 30'000;
/// Records on a page: more would take long to open, and nobody would read them.
constexpr std::size_t MaxRecords = 1'000;

/// Thins the series of all charts to `MaxPointsOfAll` points in all, each to the same number; those that have
/// fewer stay as they are.
void ThinOut(std::vector<ReportChart>& charts);

/// At most `most` points (an even number from 2 on), of equal stretches of the series the lowest and the
/// highest.
ReportSeries ThinOut(ReportSeries const& series, std::size_t most);

/// Joins what repeats, of one kind and session, where each follows the one before within a time that is as
/// short as `MaxRecords` allows, two seconds at the least. Kinds that say something new each time (`isRepeat`
/// false) are joined only for lack of room. In the order of time.
struct RecordToJoin {
    ReportRecord record;
    bool isRepeat = false;
};
std::vector<ReportRecord> JoinRecords(std::vector<RecordToJoin> records);

/// Counts `values` (whole numbers, `perUnit` a unit) in at most 60 equal steps of a round width from the
/// lowest to the highest.
ReportHistogram CountInSteps(std::vector<std::int64_t> const& values);

/// 1, 2 or 5 times a power of ten, not below `value`, and 1 at the least.
std::int64_t RoundUpToRound(std::int64_t value);

} // namespace AudioHost
