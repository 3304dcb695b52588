#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Soak {

/// Lowest and highest value of each stretch of a run. Stretches are a fifth of a second and double as the run
/// grows, so that days of it take no more memory than minutes.
class Course {
public:
    struct Stretch {
        double low = 0.0;
        double high = 0.0;
        bool isEmpty = true;
    };

    void Add(double seconds, double value) {
        while (seconds >= stretchSeconds_ * static_cast<double>(MaxStretches)) {
            Halve();
        }
        auto const place = static_cast<std::size_t>(std::max(0.0, seconds) / stretchSeconds_);
        stretches_.resize(std::max(stretches_.size(), place + 1));
        Join({value, value, false}, stretches_[place]);
    }

    double GetStretchSeconds() const { return stretchSeconds_; }
    std::vector<Stretch> const& GetStretches() const { return stretches_; }

private:
    static constexpr std::size_t MaxStretches = 2000;

    static void Join(Stretch const& from, Stretch& to) {
        if (!from.isEmpty) {
            to = {to.isEmpty ? from.low : std::min(to.low, from.low),
                  to.isEmpty ? from.high : std::max(to.high, from.high), false};
        }
    }

    void Halve() {
        for (std::size_t i = 0; i < stretches_.size(); ++i) {
            Stretch const stretch = stretches_[i];
            stretches_[i] = {};
            Join(stretch, stretches_[i / 2]);
        }
        stretches_.resize((stretches_.size() + 1) / 2);
        stretchSeconds_ *= 2.0;
    }

    double stretchSeconds_ = 0.2;
    std::vector<Stretch> stretches_;
};

} // namespace Soak
