#include "page/thinning.h"

#include <algorithm>
#include <map>
#include <utility>

#include "page/extremes.h"

namespace AudioHost {

namespace {

constexpr std::size_t FewestPoints = 20;
constexpr std::int64_t MaxSteps = 60;
constexpr std::int64_t RepeatMilliSec = 2'000;
constexpr std::int64_t LongestMilliSec = std::int64_t{1} << 40U;

std::vector<ReportRecord> Join(std::vector<RecordToJoin> const& records, std::int64_t apartMilliSec,
                               bool isOfAll) {
    std::vector<ReportRecord> joined;
    std::map<std::pair<std::size_t, std::string>, std::size_t> latest;
    for (RecordToJoin const& one : records) {
        std::pair<std::size_t, std::string> const key{one.record.session.value_or(SIZE_MAX), one.record.kind};
        auto const found = latest.find(key);
        bool const isMore = found != latest.end() && (one.isRepeat || isOfAll) &&
                            one.record.fromMilliSec - joined[found->second].toMilliSec <= apartMilliSec;
        if (isMore) {
            ReportRecord& record = joined[found->second];
            record.toMilliSec = std::max(record.toMilliSec, one.record.toMilliSec);
            record.count += one.record.count;
        } else {
            latest[key] = joined.size();
            joined.push_back(one.record);
        }
    }
    return joined;
}

} // namespace

ReportSeries ThinOut(ReportSeries const& series, std::size_t most) {
    std::size_t const size = series.values.size();
    if (size <= most) {
        return series;
    }
    ReportSeries thinned;
    thinned.name = series.name;
    for (std::size_t const place :
         FindExtremes(size, most / 2, [&](std::size_t i) { return series.values[i]; })) {
        thinned.timesMilliSec.push_back(series.timesMilliSec[place]);
        thinned.values.push_back(series.values[place]);
    }
    return thinned;
}

void ThinOut(std::vector<ReportChart>& charts) {
    std::size_t count = 0;
    for (ReportChart const& chart : charts) {
        count += chart.series.size();
    }
    for (ReportChart& chart : charts) {
        for (ReportSeries& series : chart.series) {
            series = ThinOut(series, std::max(FewestPoints, MaxPointsOfAll / count / 2 * 2));
        }
    }
}

std::vector<ReportRecord> JoinRecords(std::vector<RecordToJoin> records) {
    std::stable_sort(records.begin(), records.end(), [](RecordToJoin const& a, RecordToJoin const& b) {
        return a.record.fromMilliSec < b.record.fromMilliSec;
    });
    std::vector<ReportRecord> joined = Join(records, RepeatMilliSec, false);
    for (std::int64_t apart = RepeatMilliSec; joined.size() > MaxRecords && apart < LongestMilliSec;
         apart *= 2) {
        joined = Join(records, apart, true);
    }
    return joined;
}

std::int64_t RoundUpToRound(std::int64_t value) {
    for (std::int64_t decade = 1;; decade *= 10) {
        for (std::int64_t const step : {decade, 2 * decade, 5 * decade}) {
            if (step >= value) {
                return step;
            }
        }
    }
}

ReportHistogram CountInSteps(std::vector<std::int64_t> const& values) {
    ReportHistogram histogram;
    if (values.empty()) {
        return histogram;
    }
    auto const [low, high] = std::minmax_element(values.begin(), values.end());
    // One step more, as the first one begins below the lowest.
    histogram.step = RoundUpToRound((*high - *low) / (MaxSteps - 1) + 1);
    std::int64_t const below =
        *low < 0 ? (*low - histogram.step + 1) / histogram.step : *low / histogram.step;
    histogram.start = below * histogram.step;
    histogram.counts.resize(static_cast<std::size_t>((*high - histogram.start) / histogram.step + 1));
    for (std::int64_t const value : values) {
        ++histogram.counts[static_cast<std::size_t>((value - histogram.start) / histogram.step)];
    }
    return histogram;
}

} // namespace AudioHost
