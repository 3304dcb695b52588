#include "doctor/ratefit.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "listening/samples.h"

namespace AudioHost {

namespace {

constexpr double PartsPerMillion = 1e6;

double ToSeconds(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / Listening::NanoSecPerSec;
}

} // namespace

void RateFit::Add(std::int64_t clockNanoSec, std::int64_t doneNanoSec) {
    if (count_ == 0.0) {
        firstNanoSec_ = clockNanoSec;
    } else if (std::llabs((doneNanoSec - lastDoneNanoSec_) - (clockNanoSec - lastNanoSec_)) >
               MinBreakNanoSec) {
        breaks_ += 1.0;
        pieceCount_ = 0.0;
        meanTime_ = 0.0;
        meanAhead_ = 0.0;
    }
    lastNanoSec_ = clockNanoSec;
    lastDoneNanoSec_ = doneNanoSec;
    std::int64_t const sinceNanoSec = clockNanoSec - firstNanoSec_;
    double const time = ToSeconds(sinceNanoSec);
    double const ahead = ToSeconds(doneNanoSec - sinceNanoSec);
    // Welford's way: sums of the squares themselves would cancel each other out.
    count_ += 1.0;
    pieceCount_ += 1.0;
    double const timeStep = time - meanTime_;
    double const aheadStep = ahead - meanAhead_;
    meanTime_ += timeStep / pieceCount_;
    meanAhead_ += aheadStep / pieceCount_;
    timeTime_ += timeStep * (time - meanTime_);
    timeAhead_ += timeStep * (ahead - meanAhead_);
    aheadAhead_ += aheadStep * (ahead - meanAhead_);
}

std::optional<Rate> RateFit::GetRate() const {
    double const surplus = count_ - breaks_ - 2.0;
    if (surplus < 1.0 || timeTime_ <= 0.0) {
        return std::nullopt;
    }
    double const slope = timeAhead_ / timeTime_;
    double const residue = std::max(0.0, aheadAhead_ - slope * timeAhead_);
    return Rate{slope * PartsPerMillion, std::sqrt(residue / surplus / timeTime_) * PartsPerMillion};
}

} // namespace AudioHost
