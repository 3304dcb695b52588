#pragma once

#include <cstdint>
#include <optional>

namespace Media {

/// The slope of a line through the latest values, older ones counting less and less, in constant memory.
/// After half a minute without a value it begins anew: what is left of those before is soon less than a
/// rounding.
///
/// **Threads:** one at a time.
class Trend {
public:
    void Add(std::int64_t timeNanoSec, std::int64_t valueNanoSec);
    /// What was before belongs to another line.
    void Restart() { *this = Trend(); }

    /// In parts per million: nanoseconds a millisecond. Nothing before five seconds and ten values.
    std::optional<double> GetPpm() const;

private:
    std::uint64_t count_ = 0;
    std::int64_t firstNanoSec_ = 0;
    std::int64_t lastNanoSec_ = 0;
    // Sums of weights, times and values, their squares and products. Times are seconds before the latest
    // value, so that they stay small in hours as in seconds; values are milliseconds from the first.
    double weight_ = 0.0;
    double time_ = 0.0;
    double timeSquared_ = 0.0;
    double value_ = 0.0;
    double timeValue_ = 0.0;
    std::int64_t originNanoSec_ = 0;
};

} // namespace Media
