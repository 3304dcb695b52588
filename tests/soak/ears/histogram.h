#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

namespace Soak {

/// Counts values in equal steps, so that hours of them take no more memory than seconds. Values beyond the
/// ends count in the first and last step; least and greatest are kept as they were.
class Histogram {
public:
    Histogram(double min, double max, double step)
        : min_(min), step_(step), counts_(static_cast<std::size_t>(std::ceil((max - min) / step)), 0) {}

    void Add(double value) {
        double const place = std::floor((value - min_) / step_);
        auto const last = static_cast<double>(counts_.size() - 1);
        ++counts_[static_cast<std::size_t>(std::clamp(place, 0.0, last))];
        smallest_ = total_ == 0 ? value : std::min(smallest_, value);
        greatest_ = total_ == 0 ? value : std::max(greatest_, value);
        sum_ += value;
        ++total_;
    }

    double GetMin() const { return min_; }
    double GetStep() const { return step_; }
    std::vector<std::uint64_t> const& GetCounts() const { return counts_; }
    std::uint64_t GetCount() const { return total_; }
    double GetSmallest() const { return smallest_; }
    double GetGreatest() const { return greatest_; }
    double GetMean() const { return total_ == 0 ? 0.0 : sum_ / static_cast<double>(total_); }

    /// The upper end of the step below which `share` (0.0 to 1.0) of the values lie, but no more than the
    /// greatest of them; 0 for none.
    double GetPercentile(double share) const {
        double const wanted = share * static_cast<double>(total_);
        std::uint64_t below = 0;
        for (std::size_t i = 0; i < counts_.size() && total_ > 0; ++i) {
            below += counts_[i];
            if (static_cast<double>(below) >= wanted && below > 0) {
                return std::min(greatest_, min_ + step_ * static_cast<double>(i + 1));
            }
        }
        return greatest_;
    }

private:
    double min_;
    double step_;
    std::vector<std::uint64_t> counts_;
    std::uint64_t total_ = 0;
    double sum_ = 0.0;
    double smallest_ = 0.0;
    double greatest_ = 0.0;
};

} // namespace Soak
