#include "trend.h"

#include <cmath>

#include "kovra/time.h"

namespace Media {

namespace {

/// After so long a value counts a third.
constexpr std::int64_t MemoryNanoSec = 30 * Kovra::NanoSecPerSec;
constexpr std::int64_t MinNanoSec = 5 * Kovra::NanoSecPerSec;
constexpr std::uint64_t MinCount = 10;
constexpr double PpmPerMilliSecPerSec = 1000.0;

double ToSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / static_cast<double>(Kovra::NanoSecPerSec);
}

double ToMilliSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / static_cast<double>(Kovra::NanoSecPerMilliSec);
}

} // namespace

void Trend::Add(std::int64_t timeNanoSec, std::int64_t valueNanoSec) {
    if (timeNanoSec - lastNanoSec_ > MemoryNanoSec) {
        Restart();
    }
    if (count_ == 0) {
        firstNanoSec_ = timeNanoSec;
        lastNanoSec_ = timeNanoSec;
        originNanoSec_ = valueNanoSec;
    }
    double const step = ToSec(timeNanoSec - lastNanoSec_);
    double const value = ToMilliSec(valueNanoSec) - ToMilliSec(originNanoSec_);
    double const kept = std::exp(-step / ToSec(MemoryNanoSec));
    // All earlier values move back by the step; then they lose weight.
    timeSquared_ = kept * (timeSquared_ - 2.0 * step * time_ + step * step * weight_);
    timeValue_ = kept * (timeValue_ - step * value_);
    time_ = kept * (time_ - step * weight_);
    value_ = kept * value_ + value;
    weight_ = kept * weight_ + 1.0;
    lastNanoSec_ = timeNanoSec;
    ++count_;
}

std::optional<double> Trend::GetPpm() const {
    if (count_ < MinCount || lastNanoSec_ - firstNanoSec_ < MinNanoSec) {
        return std::nullopt;
    }
    double const spread = weight_ * timeSquared_ - time_ * time_;
    return PpmPerMilliSecPerSec * (weight_ * timeValue_ - time_ * value_) / spread;
}

} // namespace Media
