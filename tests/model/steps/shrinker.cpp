#include "model/steps/shrinker.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

namespace ModelTest {

namespace {

class Shrinker {
public:
    Shrinker(Scenario scenario, Fails const& fails, std::size_t maxRuns)
        : scenario_(std::move(scenario)), fails_(fails), runsLeft_(maxRuns) {}

    Scenario Run() {
        // Each of them may open the way for the others.
        bool isSmaller = true;
        while (isSmaller) {
            isSmaller = LeaveOutSteps();
            isSmaller = JoinAdvances() || isSmaller;
            isSmaller = LeaveOutPairs() || isSmaller;
            isSmaller = Simplify() || isSmaller;
        }
        return std::move(scenario_);
    }

private:
    bool Accept(Scenario candidate) {
        if (runsLeft_ == 0) {
            return false;
        }
        --runsLeft_;
        if (!fails_(candidate)) {
            return false;
        }
        scenario_ = std::move(candidate);
        return true;
    }

    /// Delta debugging: ever smaller pieces, from the end on, since what follows a failure is of no use.
    bool LeaveOutSteps() {
        std::size_t const before = scenario_.size();
        for (std::size_t piece = std::max<std::size_t>(scenario_.size() / 2, 1); piece != 0;) {
            bool const isSmaller = LeaveOutPieces(piece);
            if (piece > 1) {
                piece /= 2;
            } else if (!isSmaller) {
                break;
            }
        }
        return scenario_.size() < before;
    }

    bool LeaveOutPieces(std::size_t piece) {
        bool isSmaller = false;
        for (std::size_t end = scenario_.size(); end != 0;) {
            std::size_t const begin = end > piece ? end - piece : 0;
            Scenario candidate(scenario_.begin(), scenario_.begin() + static_cast<std::ptrdiff_t>(begin));
            candidate.insert(candidate.end(), scenario_.begin() + static_cast<std::ptrdiff_t>(end),
                             scenario_.end());
            isSmaller = Accept(std::move(candidate)) || isSmaller;
            end = begin;
        }
        return isSmaller;
    }

    /// One advance for two, with whatever stood between them at its time before or after both: time often
    /// matters where the steps do not.
    bool JoinAdvances() {
        bool isSmaller = false;
        for (std::size_t first = 0; first < scenario_.size(); ++first) {
            while (scenario_[first].Is<Advance>() && JoinWithNext(first)) {
                isSmaller = true;
            }
        }
        return isSmaller;
    }

    bool JoinWithNext(std::size_t first) {
        auto const next = std::find_if(scenario_.begin() + static_cast<std::ptrdiff_t>(first) + 1,
                                       scenario_.end(), [](Step const& step) { return step.Is<Advance>(); });
        if (next == scenario_.end()) {
            return false;
        }
        auto const second = static_cast<std::size_t>(next - scenario_.begin());
        Advance const sum{std::get<Advance>(scenario_[first].action).nanoSec +
                          std::get<Advance>(next->action).nanoSec};
        for (bool const isBetweenLeftOut : {true, false}) {
            for (bool const isEarly : {true, false}) {
                if (Accept(Joined(first, second, sum, isEarly, isBetweenLeftOut))) {
                    return true;
                }
            }
        }
        return false;
    }

    Scenario Joined(std::size_t first, std::size_t second, Advance sum, bool isEarly,
                    bool isBetweenLeftOut) const {
        Scenario joined;
        for (std::size_t i = 0; i < scenario_.size(); ++i) {
            bool const isBetween = i > first && i < second;
            if (i == (isEarly ? first : second)) {
                joined.push_back(sum);
            } else if (i != first && i != second && !(isBetween && isBetweenLeftOut)) {
                joined.push_back(scenario_[i]);
            }
        }
        return joined;
    }

    /// Two steps that only go together, such as what is set and set back.
    bool LeaveOutPairs() {
        constexpr std::size_t MaxSteps = 30;
        bool isSmaller = false;
        for (std::size_t i = 0; i < scenario_.size() && scenario_.size() <= MaxSteps; ++i) {
            for (std::size_t j = i + 1; j < scenario_.size(); ++j) {
                Scenario candidate = scenario_;
                candidate.erase(candidate.begin() + static_cast<std::ptrdiff_t>(j));
                candidate.erase(candidate.begin() + static_cast<std::ptrdiff_t>(i));
                if (Accept(std::move(candidate))) {
                    isSmaller = true;
                    j = i;
                }
            }
        }
        return isSmaller;
    }

    bool Simplify() {
        bool isSimpler = false;
        for (std::size_t i = 0; i < scenario_.size(); ++i) {
            isSimpler = LeaveOutFaults(i) || isSimpler;
            for (std::size_t number = 0; number < NumbersOf(scenario_[i].action).size(); ++number) {
                isSimpler = SimplifyNumber(i, number) || isSimpler;
            }
        }
        return isSimpler;
    }

    bool LeaveOutFaults(std::size_t step) {
        bool isSimpler = false;
        for (std::size_t fault = scenario_[step].faults.size(); fault-- != 0;) {
            Scenario candidate = scenario_;
            auto& faults = candidate[step].faults;
            faults.erase(faults.begin() + static_cast<std::ptrdiff_t>(fault));
            isSimpler = Accept(std::move(candidate)) || isSimpler;
        }
        return isSimpler;
    }

    std::int64_t Get(std::size_t step, std::size_t number) {
        return *NumbersOf(scenario_[step].action)[number];
    }

    bool Try(std::size_t step, std::size_t number, std::int64_t value) {
        if (value == Get(step, number)) {
            return false;
        }
        Scenario candidate = scenario_;
        *NumbersOf(candidate[step].action)[number] = value;
        return Accept(std::move(candidate));
    }

    /// The default; else rounder numbers, each of which is nearer to zero.
    bool SimplifyNumber(std::size_t step, std::size_t number) {
        Action usual = DefaultOf(scenario_[step].action);
        std::int64_t const byDefault = *NumbersOf(usual)[number];
        if (Get(step, number) == byDefault) {
            return false;
        }
        if (Try(step, number, byDefault) || Try(step, number, 0)) {
            return true;
        }
        bool isSimpler = false;
        for (std::int64_t const unit : {1'000'000'000, 1'000'000, 1'000, 10, 2}) {
            std::int64_t const value = Get(step, number);
            isSimpler = (value / unit != 0 && Try(step, number, value / unit * unit)) || isSimpler;
        }
        return isSimpler;
    }

    Scenario scenario_;
    Fails const& fails_;
    std::size_t runsLeft_;
};

} // namespace

Scenario Shrink(Scenario scenario, Fails const& fails, std::size_t maxRuns) {
    return Shrinker(std::move(scenario), fails, maxRuns).Run();
}

} // namespace ModelTest
