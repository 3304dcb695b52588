#include "outputglitch.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "stats.h"

namespace AudioHost {

namespace {

constexpr double NanoSecPerMilliSec = 1e6;
/// How a cursor usually moves is told by so many steps before: most of a second at 10 ms.
constexpr std::size_t UsualStays = 64;
/// A glitch is over when the cursor has moved evenly for so long, wherever it is then.
constexpr std::int64_t EvenNanoSec = 150'000'000;
constexpr double EvenMilliSec = 10.0;

double ToMilliSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) / NanoSecPerMilliSec;
}

/// How far the cursor is behind the clock when it comes to a place and when it leaves: from some zero.
struct Lateness {
    double onArrivalMilliSec = 0.0;
    double onLeavingMilliSec = 0.0;
};

/// Reads the stays in turn.
class GlitchFinder {
public:
    explicit GlitchFinder(std::int64_t startNanoSec) : startNanoSec_(startNanoSec) {}

    void Add(CursorStay const& stay) {
        if (!last_) {
            zeroNanoSec_ = stay.firstNanoSec - stay.playedNanoSec;
            last_ = stay;
        }
        Lateness const now = {ToMilliSec(stay.firstNanoSec - stay.playedNanoSec - zeroNanoSec_),
                              ToMilliSec(stay.lastNanoSec - stay.playedNanoSec - zeroNanoSec_)};
        double const blind = ToMilliSec(stay.firstNanoSec - last_->lastNanoSec);
        if (arrivals_.size() < UsualStays / 2) {
            Learn(now);
        } else {
            Judge(stay, now, blind);
        }
        last_ = stay;
    }

    OutputRecord Finish() {
        if (open_) {
            Close(last_->lastNanoSec, open_->now.onArrivalMilliSec);
        }
        record_.isWatched = arrivals_.size() >= UsualStays / 2;
        return record_;
    }

private:
    struct Open {
        OutputGlitch glitch;
        Lateness now;
        /// Since the cursor last moved unevenly.
        std::deque<CursorStay> even;
        std::deque<Lateness> evenLateness;
    };

    void Judge(CursorStay const& stay, Lateness const& now, double blind) {
        double const usualArrival = Median({arrivals_.begin(), arrivals_.end()});
        double const late = now.onLeavingMilliSec - Median({leavings_.begin(), leavings_.end()});
        double const early = usualArrival - now.onArrivalMilliSec;
        // What is not seen is not known to be wrong, but a thread that did not run is a sign of its own.
        bool const isBlind = blind > BlindMilliSec;
        bool const isOut = late > GlitchMilliSec || early > GlitchMilliSec || isBlind;
        if (stay.lastNanoSec >= startNanoSec_) {
            record_.worstMilliSec = std::max({record_.worstMilliSec, late, early});
        }
        if (!open_ && !isOut) {
            Learn(now);
            return;
        }
        if (!open_) {
            open_.emplace();
            // A leap, and a cursor that was not seen, began after the last look before.
            bool const hasStood = late > GlitchMilliSec && !isBlind;
            open_->glitch.startNanoSec = hasStood ? stay.firstNanoSec : last_->lastNanoSec;
        }
        open_->glitch.lateMilliSec = std::max(open_->glitch.lateMilliSec, late);
        open_->glitch.earlyMilliSec = std::max(open_->glitch.earlyMilliSec, early);
        open_->glitch.blindMilliSec = std::max(open_->glitch.blindMilliSec, isBlind ? blind : 0.0);
        open_->now = now;
        Follow(stay, now, usualArrival);
    }

    /// Ends the glitch when the cursor moves evenly again.
    void Follow(CursorStay const& stay, Lateness const& now, double usualArrival) {
        std::deque<CursorStay>& even = open_->even;
        std::deque<Lateness>& lateness = open_->evenLateness;
        even.push_back(stay);
        lateness.push_back(now);
        while (!IsEven(lateness)) {
            even.pop_front();
            lateness.pop_front();
        }
        if (even.empty() || stay.lastNanoSec - even.front().firstNanoSec < EvenNanoSec) {
            return;
        }
        std::vector<double> arrivals;
        for (Lateness const& one : lateness) {
            arrivals.push_back(one.onArrivalMilliSec);
        }
        std::int64_t const end = even.front().firstNanoSec;
        std::deque<Lateness> const usual = std::move(lateness);
        Close(end, Median(std::move(arrivals)), usualArrival);
        // How it moves from now on.
        arrivals_.clear();
        leavings_.clear();
        for (Lateness const& one : usual) {
            Learn(one);
        }
    }

    bool IsEven(std::deque<Lateness> const& stays) const {
        double const step =
            Median({leavings_.begin(), leavings_.end()}) - Median({arrivals_.begin(), arrivals_.end()});
        for (Lateness const& one : stays) {
            bool const isNear =
                std::fabs(one.onArrivalMilliSec - stays.back().onArrivalMilliSec) <= EvenMilliSec &&
                one.onLeavingMilliSec - one.onArrivalMilliSec <= step + EvenMilliSec;
            if (!isNear) {
                return false;
            }
        }
        return true;
    }

    void Close(std::int64_t endNanoSec, double arrival, double usualArrival) {
        OutputGlitch glitch = open_->glitch;
        open_.reset();
        glitch.leftMilliSec = arrival - usualArrival;
        glitch.startNanoSec -= startNanoSec_;
        glitch.endNanoSec = std::max(endNanoSec - startNanoSec_, glitch.startNanoSec);
        if (glitch.endNanoSec > 0) {
            record_.glitches.push_back(glitch);
        }
    }
    void Close(std::int64_t endNanoSec, double arrival) {
        Close(endNanoSec, arrival, Median({arrivals_.begin(), arrivals_.end()}));
    }

    void Learn(Lateness const& now) {
        arrivals_.push_back(now.onArrivalMilliSec);
        leavings_.push_back(now.onLeavingMilliSec);
        if (arrivals_.size() > UsualStays) {
            arrivals_.pop_front();
            leavings_.pop_front();
        }
    }

    std::int64_t const startNanoSec_;
    std::int64_t zeroNanoSec_ = 0;
    std::optional<CursorStay> last_;
    std::deque<double> arrivals_;
    std::deque<double> leavings_;
    std::optional<Open> open_;
    OutputRecord record_;
};

} // namespace

double OutputGlitch::GetSizeMilliSec() const {
    return std::max({lateMilliSec, earlyMilliSec, blindMilliSec});
}

OutputRecord FindOutputGlitches(std::deque<CursorStay> const& stays, std::int64_t startNanoSec) {
    GlitchFinder finder(startNanoSec);
    for (CursorStay const& stay : stays) {
        finder.Add(stay);
    }
    return finder.Finish();
}

} // namespace AudioHost
