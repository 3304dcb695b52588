#include "listening/outputglitch.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "listening/samples.h"
#include "listening/stats.h"

namespace Listening {

namespace {

/// How the cursor usually moves is told by so many steps before: most of a second at 10 ms.
constexpr std::size_t UsualStays = 64;
/// A glitch is over when the cursor has moved evenly for so long, wherever it is then.
constexpr std::int64_t EvenNanoSec = 150'000'000;
constexpr double EvenMilliSec = 10.0;

} // namespace

double OutputGlitch::GetSizeMilliSec() const {
    return std::max({lateMilliSec, earlyMilliSec, blindMilliSec});
}

void GlitchFinder::Add(CursorStay const& stay) {
    if (!last_) {
        zeroNanoSec_ = stay.firstNanoSec - stay.playedNanoSec;
        last_ = stay;
    }
    Lateness const now = {ToMilliSec(stay.firstNanoSec - stay.playedNanoSec - zeroNanoSec_),
                          ToMilliSec(stay.lastNanoSec - stay.playedNanoSec - zeroNanoSec_)};
    if (hasLearnt_) {
        Judge(stay, now);
    } else {
        Learn(now);
        hasLearnt_ = usual_.size() >= UsualStays / 2;
    }
    last_ = stay;
}

OutputLog GlitchFinder::Finish(std::int64_t startNanoSec) {
    if (open_) {
        // It never was even again: what it came to in the end.
        double const arrival = ToMilliSec(last_->firstNanoSec - last_->playedNanoSec - zeroNanoSec_);
        Close(last_->lastNanoSec, arrival - GetUsual().onArrivalMilliSec);
    }
    OutputLog log;
    log.isWatched = hasLearnt_;
    log.worstMilliSec = calmWorstMilliSec_;
    for (OutputGlitch glitch : glitches_) {
        glitch.startNanoSec -= startNanoSec;
        glitch.endNanoSec -= startNanoSec;
        if (glitch.endNanoSec > 0) {
            log.worstMilliSec = std::max({log.worstMilliSec, glitch.lateMilliSec, glitch.earlyMilliSec});
            log.glitches.push_back(glitch);
        }
    }
    return log;
}

GlitchFinder::Lateness GlitchFinder::GetUsual() const {
    std::vector<double> arrivals;
    std::vector<double> leavings;
    for (Lateness const& one : usual_) {
        arrivals.push_back(one.onArrivalMilliSec);
        leavings.push_back(one.onLeavingMilliSec);
    }
    return {Median(std::move(arrivals)), Median(std::move(leavings))};
}

void GlitchFinder::Learn(Lateness const& now) {
    usual_.push_back(now);
    if (usual_.size() > UsualStays) {
        usual_.pop_front();
    }
}

void GlitchFinder::Judge(CursorStay const& stay, Lateness const& now) {
    Lateness const usual = GetUsual();
    double const late = now.onLeavingMilliSec - usual.onLeavingMilliSec;
    double const early = usual.onArrivalMilliSec - now.onArrivalMilliSec;
    double const blind = ToMilliSec(stay.firstNanoSec - last_->lastNanoSec);
    // What is not seen is not known to be wrong, but a thread that did not run is a sign of its own.
    bool const isBlind = blind > BlindMilliSec;
    bool const hasStood = late > GlitchMilliSec;
    if (!open_ && !hasStood && early <= GlitchMilliSec && !isBlind) {
        calmWorstMilliSec_ = std::max({calmWorstMilliSec_, late, early});
        Learn(now);
        return;
    }
    if (!open_) {
        open_.emplace();
        // A leap, and a cursor that was not seen, began after the last look before.
        open_->glitch.startNanoSec = hasStood && !isBlind ? stay.firstNanoSec : last_->lastNanoSec;
    }
    open_->glitch.lateMilliSec = std::max(open_->glitch.lateMilliSec, late);
    open_->glitch.earlyMilliSec = std::max(open_->glitch.earlyMilliSec, early);
    open_->glitch.blindMilliSec = std::max(open_->glitch.blindMilliSec, isBlind ? blind : 0.0);
    Follow(stay, now, usual.onLeavingMilliSec - usual.onArrivalMilliSec);
}

void GlitchFinder::Follow(CursorStay const& stay, Lateness const& now, double stepMilliSec) {
    auto& even = open_->even;
    even.emplace_back(stay, now);
    auto const isUneven = [&](std::pair<CursorStay, Lateness> const& one) {
        return std::fabs(one.second.onArrivalMilliSec - now.onArrivalMilliSec) > EvenMilliSec ||
               one.second.onLeavingMilliSec - one.second.onArrivalMilliSec > stepMilliSec + EvenMilliSec;
    };
    auto const lastUneven = std::find_if(even.rbegin(), even.rend(), isUneven);
    even.erase(even.begin(), lastUneven.base());
    if (even.empty() || stay.lastNanoSec - even.front().first.firstNanoSec < EvenNanoSec) {
        return;
    }
    // How it moves from now on.
    std::deque<Lateness> settled;
    for (auto const& one : even) {
        settled.push_back(one.second);
    }
    std::int64_t const end = even.front().first.firstNanoSec;
    Lateness const before = GetUsual();
    usual_ = std::move(settled);
    double const left = GetUsual().onArrivalMilliSec - before.onArrivalMilliSec;
    Close(end, left);
}

void GlitchFinder::Close(std::int64_t endNanoSec, double leftMilliSec) {
    OutputGlitch glitch = open_->glitch;
    open_.reset();
    glitch.leftMilliSec = leftMilliSec;
    glitch.endNanoSec = std::max(endNanoSec, glitch.startNanoSec);
    glitches_.push_back(glitch);
}

OutputLog FindOutputGlitches(std::deque<CursorStay> const& stays, std::int64_t startNanoSec) {
    GlitchFinder finder;
    for (CursorStay const& stay : stays) {
        finder.Add(stay);
    }
    return finder.Finish(startNanoSec);
}

} // namespace Listening
