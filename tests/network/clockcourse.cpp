#include "network/clockcourse.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace Network {

namespace {

constexpr std::int64_t StartNanoSec = 64 * NanoSecPerSec;
constexpr std::int64_t AfterChangeNanoSec = 10 * NanoSecPerSec;
constexpr std::int64_t FollowNanoSec = 60 * NanoSecPerSec;
constexpr std::size_t RateSec = 10;

double ToMilliSec(std::int64_t nanoSec) {
    return static_cast<double>(nanoSec) * 1e-6;
}

} // namespace

void ClockMeter::Add(Packet const& packet, std::int64_t earliestNanoSec) {
    std::int64_t const truth = packet.sentNanoSec + network_.DelayAt(packet.sentNanoSec);
    double const error = ToMilliSec(earliestNanoSec - truth);
    WatchChange(packet, error);
    std::int64_t const sinceStart = packet.sentNanoSec - sender_.startNanoSec;
    if (sinceStart >= 5 * NanoSecPerSec && !hasFiveSec_) {
        hasFiveSec_ = true;
        fiveSec_ = error;
    }
    if (sinceStart < StartNanoSec || packet.sentNanoSec - change_ < AfterChangeNanoSec) {
        errors_.clear();
        return;
    }
    ++count_;
    sum_ += error;
    squares_ += error * error;
    least_ = std::min(least_, error);
    most_ = std::max(most_, error);
    if (packet.sentNanoSec >= nextErrorNanoSec_ || errors_.empty()) {
        nextErrorNanoSec_ = packet.sentNanoSec + NanoSecPerSec;
        if (errors_.size() >= RateSec) {
            // A millisecond in ten seconds are 100 ppm.
            rates_.push_back(std::abs(error - errors_[errors_.size() - RateSec]) * 1000.0 /
                             static_cast<double>(RateSec));
        }
        errors_.push_back(error);
    }
}

void ClockMeter::WatchChange(Packet const& packet, double errorMilliSec) {
    std::int64_t const change = network_.LastChange(packet.sentNanoSec);
    if (change > change_ && change > sender_.startNanoSec) {
        change_ = change;
        changeMilliSec_ = std::abs(ToMilliSec(network_.DelayAt(change) - network_.DelayAt(change - 1)));
        ++changes_;
    }
    std::int64_t const since = packet.sentNanoSec - change_;
    if (changes_ != 0 && since < FollowNanoSec && std::abs(errorMilliSec) > 0.1 * changeMilliSec_) {
        followSec_ = std::max(followSec_, static_cast<double>(since) / static_cast<double>(NanoSecPerSec));
    }
}

void ClockMeter::Finish(ClockCourse& course) {
    if (count_ != 0) {
        course.meanMilliSec = sum_ / static_cast<double>(count_);
        course.deviationMilliSec = std::sqrt(std::max(
            0.0, squares_ / static_cast<double>(count_) - course.meanMilliSec * course.meanMilliSec));
        course.minMilliSec = least_;
        course.maxMilliSec = most_;
    }
    if (!rates_.empty()) {
        auto const at = rates_.begin() + static_cast<std::ptrdiff_t>(rates_.size() * 99 / 100);
        std::nth_element(rates_.begin(), at, rates_.end());
        course.ratePartsPerMillion = *at;
    }
    course.fiveSecMilliSec = std::abs(fiveSec_ - course.meanMilliSec);
    course.followSec = followSec_;
    course.routeChanges = changes_;
}

ClockCourse RunClock(VirtualNetwork& network, Sender const& sender, Media::StreamClockSettings_t settings,
                     std::int64_t nanoSec) {
    using Kind_t = Media::StreamEvent_t::Kind_t;
    settings.ticksPerSec = sender.ticksPerSec;
    settings.wrapBits = sender.wrapBits;
    Media::StreamClock clock(settings);
    ClockMeter meter(network, sender);
    ClockCourse course;
    std::int64_t leadNanoSec = settings.leadNanoSec;
    for (;;) {
        Packet const packet = network.Next();
        if (packet.sentNanoSec - sender.startNanoSec > nanoSec) {
            break;
        }
        Media::StreamPlacement_t const placement =
            clock.Place(packet.ticks, Kovra::JiffyTime(packet.arrivalNanoSec));
        ++course.frames;
        bool const isRoute = placement.event.kind == Kind_t::RouteChanged;
        course.routeChangesTold += isRoute ? 1 : 0;
        course.otherEvents += placement.event.kind != Kind_t::None && !isRoute ? 1 : 0;
        if (placement.verdict == Media::StreamPlacement_t::Verdict_t::OutOfLine) {
            ++course.outOfLine;
            continue;
        }
        course.tooLate += placement.verdict == Media::StreamPlacement_t::Verdict_t::TooLate ? 1 : 0;
        if (settings.isLeadAdapted) {
            leadNanoSec = clock.GetFigures().leadNanoSec;
            course.maxLeadMilliSec = std::max(course.maxLeadMilliSec, ToMilliSec(leadNanoSec));
        }
        meter.Add(packet, placement.due.NanoSec() - leadNanoSec);
    }
    course.lastLeadMilliSec = ToMilliSec(leadNanoSec);
    course.lost = network.LostCount();
    meter.Finish(course);
    return course;
}

} // namespace Network
