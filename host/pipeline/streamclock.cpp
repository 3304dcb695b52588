#include "pipeline/streamclock.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "streamlead.h"
#include "streamline.h"

namespace Media {

namespace {

using Kovra::NanoSecPerMilliSec;
using Kovra::NanoSecPerSec;

/// A frame that is further off the line than this, and than twice what the delays differ by, is of another
/// timeline. No network that can be listened to delays by more.
constexpr std::int64_t MinLimitNanoSec = 400 * NanoSecPerMilliSec;
/// Until the first seconds have told what is usual.
constexpr std::int64_t FirstLimitNanoSec = 1'000 * NanoSecPerMilliSec;
constexpr std::size_t FirstBuckets = 8;
constexpr std::size_t SettledBuckets = 40;

/// A new timeline is believed when so many frames in a row agree on it for so long: what waited in a queue
/// comes at once, and disagrees soon.
constexpr int FramesToBelieve = 5;
constexpr std::int64_t TimeToBelieveNanoSec = 200 * NanoSecPerMilliSec;
constexpr std::int64_t MinAgreementNanoSec = 100 * NanoSecPerMilliSec;

/// What a report may be off by: a sender reads its two clocks one after the other, and crystals differ.
constexpr std::int64_t ReportLimitNanoSec = 50 * NanoSecPerMilliSec;
constexpr std::int64_t ReportDriftPerMillion = 1'000;
/// What a report is of may be further ahead of its arrival or behind it than frames are: senders have queues.
constexpr std::int64_t ReportReachNanoSec = 5 * NanoSecPerSec;

/// Rates of timestamps that can be counted with.
constexpr std::int64_t MaxTicksPerSec = std::int64_t{1} << 33U;
constexpr unsigned int MaxWrapBits = 64;

/// RFC 3550, section 6.4.1.
constexpr std::int64_t JitterGain = 16;

/// Ticks in nanoseconds, saturated at 73 years: a stamp may be anything.
std::int64_t ToNanoSec(std::int64_t ticks, std::int64_t ticksPerSec) {
    constexpr std::int64_t MaxSec = INT64_MAX / NanoSecPerSec / 4;
    std::int64_t const sec = ticks / ticksPerSec;
    // Not by the magnitude: the smallest number has none.
    if (sec >= MaxSec || sec <= -MaxSec) {
        return ticks < 0 ? -MaxSec * NanoSecPerSec : MaxSec * NanoSecPerSec;
    }
    return sec * NanoSecPerSec + ticks % ticksPerSec * NanoSecPerSec / ticksPerSec;
}

StreamClockSettings_t Limit(StreamClockSettings_t settings) {
    settings.ticksPerSec = std::clamp<std::int64_t>(settings.ticksPerSec, 1, MaxTicksPerSec);
    settings.wrapBits = std::clamp(settings.wrapBits, 1U, MaxWrapBits);
    return settings;
}

/// Wraps, as ticks do.
std::uint64_t ToTicks(std::int64_t nanoSec, std::int64_t ticksPerSec) {
    return static_cast<std::uint64_t>(nanoSec / NanoSecPerSec) * static_cast<std::uint64_t>(ticksPerSec) +
           static_cast<std::uint64_t>(nanoSec % NanoSecPerSec * ticksPerSec / NanoSecPerSec);
}

} // namespace

struct StreamClock::State {
    explicit State(StreamClockSettings_t const& settings_)
        : settings(Limit(settings_)),
          lead(settings_.leadNanoSec, settings_.isLeadAdapted, settings_.maxLeadNanoSec) {}

    /// Of all that the two may stand for, the shortest way from `before` to `ticks`.
    std::int64_t TicksSince(std::uint64_t before, std::uint64_t ticks) const;
    /// The instant on the stream's own timeline: of all that `ticks` may stand for, the nearest to what is
    /// expected.
    std::int64_t StreamOf(std::uint64_t ticks, std::int64_t arrival) const;
    std::int64_t LimitNanoSec() const;
    void Begin(std::uint64_t ticks, std::int64_t stream, std::int64_t arrival);
    StreamPlacement_t HoldOut(std::uint64_t ticks, std::int64_t arrival);
    StreamPlacement_t PlaceInLine(std::int64_t stream, std::int64_t arrival);
    void WatchJitter(std::int64_t delay);
    /// With this frame, or with the next one when this one has something to tell already.
    void Tell(StreamPlacement_t& placement, StreamEvent_t const& event);

    StreamClockSettings_t const settings;
    StreamLine line;
    StreamLead lead;
    StreamFigures_t figures;
    bool hasBegun = false;
    bool isRestartAsked = false;

    /// A timestamp, unwrapped, and its instant on the timeline.
    std::uint64_t anchorTicks = 0;
    std::int64_t anchorStream = 0;

    /// Frames in a row that fit another timeline; the first and the earliest of them.
    int strangers = 0;
    std::int64_t strangersSince = 0;
    std::uint64_t firstTicks = 0;
    std::uint64_t earliestTicks = 0;
    std::int64_t earliestArrival = 0;
    std::int64_t earliestDelay = 0;

    std::int64_t lastDelay = 0;
    StreamEvent_t untold;

    /// Sender's clock minus the timeline, by the reports; when; and what the last refused one said.
    std::optional<std::int64_t> wallOffset;
    std::int64_t wallStream = 0;
    std::optional<std::int64_t> refusedOffset;
};

std::int64_t StreamClock::State::TicksSince(std::uint64_t before, std::uint64_t ticks) const {
    std::uint64_t difference = ticks - before;
    if (settings.wrapBits < MaxWrapBits) {
        // The sign of the low bits, spread over those above.
        std::uint64_t const sign = std::uint64_t{1} << (settings.wrapBits - 1);
        difference = ((difference & (2 * sign - 1)) ^ sign) - sign;
    }
    return static_cast<std::int64_t>(difference);
}

std::int64_t StreamClock::State::StreamOf(std::uint64_t ticks, std::int64_t arrival) const {
    std::int64_t const sinceAnchor = line.LatestStream(arrival) - anchorStream;
    std::uint64_t const expected = anchorTicks + ToTicks(sinceAnchor, settings.ticksPerSec);
    std::uint64_t const unwrapped = expected + static_cast<std::uint64_t>(TicksSince(expected, ticks));
    return anchorStream + ToNanoSec(static_cast<std::int64_t>(unwrapped - anchorTicks), settings.ticksPerSec);
}

std::int64_t StreamClock::State::LimitNanoSec() const {
    std::int64_t const limit = std::max(MinLimitNanoSec, 2 * line.SpreadNanoSec());
    return line.CountBuckets() < FirstBuckets ? std::max(limit, FirstLimitNanoSec) : limit;
}

void StreamClock::State::Begin(std::uint64_t ticks, std::int64_t stream, std::int64_t arrival) {
    anchorTicks = ticks;
    anchorStream = stream;
    line.Begin(stream, arrival);
    lastDelay = arrival - stream;
    strangers = 0;
    hasBegun = true;
    isRestartAsked = false;
    // They told of the timeline before, whose sender may have been another one.
    wallOffset.reset();
    refusedOffset.reset();
}

StreamPlacement_t StreamClock::State::HoldOut(std::uint64_t ticks, std::int64_t arrival) {
    std::int64_t const agreement = std::max(MinAgreementNanoSec, line.SpreadNanoSec());
    // Against the first of them, not the line: from there it may be too far for nanoseconds.
    std::int64_t delay =
        arrival - strangersSince - ToNanoSec(TicksSince(firstTicks, ticks), settings.ticksPerSec);
    if (strangers == 0 || std::abs(delay) > agreement) {
        strangers = 0;
        strangersSince = arrival;
        firstTicks = ticks;
        delay = 0;
    }
    if (strangers == 0 || delay < earliestDelay) {
        earliestTicks = ticks;
        earliestArrival = arrival;
        earliestDelay = delay;
    }
    ++strangers;
    if (strangers < FramesToBelieve || arrival - strangersSince < TimeToBelieveNanoSec) {
        ++figures.outOfLine;
        StreamPlacement_t placement;
        placement.verdict = StreamPlacement_t::Verdict_t::OutOfLine;
        return placement;
    }
    std::int64_t const joined = line.LatestStream(earliestArrival);
    std::int64_t const span = StreamOf(earliestTicks, earliestArrival) - joined;
    Begin(earliestTicks, joined, earliestArrival);
    ++figures.restarts;
    StreamPlacement_t placement = PlaceInLine(StreamOf(ticks, arrival), arrival);
    Tell(placement, {StreamEvent_t::Kind_t::Restarted, span});
    return placement;
}

StreamPlacement_t StreamClock::State::PlaceInLine(std::int64_t stream, std::int64_t arrival) {
    StreamPlacement_t placement;
    placement.event = std::exchange(untold, {});
    strangers = 0;
    std::int64_t const change = line.Add(stream, arrival);
    if (change != 0) {
        ++figures.routeChanges;
        Tell(placement, {StreamEvent_t::Kind_t::RouteChanged, change});
    }
    WatchJitter(arrival - stream);
    lead.Follow(line.SpreadNanoSec(), line.CountBuckets() >= SettledBuckets, arrival);
    std::int64_t const earliest = line.EarliestArrival(stream);
    if (arrival - earliest > lead.NanoSec()) {
        ++figures.tooLate;
        placement.verdict = StreamPlacement_t::Verdict_t::TooLate;
        std::int64_t const raised = lead.Raise(arrival - earliest, arrival);
        if (raised != 0) {
            Tell(placement, {StreamEvent_t::Kind_t::LeadRaised, raised});
        }
    }
    placement.timestamp = Kovra::SysTime(stream);
    placement.due = Kovra::JiffyTime(earliest + lead.NanoSec());
    return placement;
}

void StreamClock::State::WatchJitter(std::int64_t delay) {
    figures.jitterNanoSec += (std::abs(delay - lastDelay) - figures.jitterNanoSec) / JitterGain;
    lastDelay = delay;
}

void StreamClock::State::Tell(StreamPlacement_t& placement, StreamEvent_t const& event) {
    (placement.event.kind == StreamEvent_t::Kind_t::None ? placement.event : untold) = event;
}

StreamClock::StreamClock(StreamClockSettings_t const& settings) : state_(std::make_unique<State>(settings)) {}

StreamClock::~StreamClock() = default;

StreamPlacement_t StreamClock::Place(std::uint64_t ticks, Kovra::JiffyTime arrival_) {
    State& state = *state_;
    std::int64_t const arrival = arrival_.NanoSec();
    ++state.figures.frames;
    if (!state.hasBegun) {
        state.Begin(ticks, arrival != 0 ? arrival : 1, arrival);
    }
    if (state.isRestartAsked) {
        std::int64_t const joined = state.line.LatestStream(arrival);
        std::int64_t const span = state.StreamOf(ticks, arrival) - joined;
        state.Begin(ticks, joined, arrival);
        ++state.figures.restarts;
        StreamPlacement_t placement = state.PlaceInLine(joined, arrival);
        state.Tell(placement, {StreamEvent_t::Kind_t::Restarted, span});
        return placement;
    }
    std::int64_t const stream = state.StreamOf(ticks, arrival);
    if (std::abs(arrival - state.line.EarliestArrival(stream)) > state.LimitNanoSec()) {
        return state.HoldOut(ticks, arrival);
    }
    return state.PlaceInLine(stream, arrival);
}

void StreamClock::Restart() {
    state_->isRestartAsked = state_->hasBegun;
    state_->wallOffset.reset();
}

StreamEvent_t StreamClock::Report(Kovra::SysTime wallTime, std::uint64_t ticks, Kovra::JiffyTime arrival) {
    State& state = *state_;
    if (!state.hasBegun || state.isRestartAsked) {
        return {};
    }
    std::int64_t const stream = state.StreamOf(ticks, arrival.NanoSec());
    if (state.strangers != 0 ||
        std::abs(arrival.NanoSec() - state.line.EarliestArrival(stream)) > ReportReachNanoSec) {
        // Of a timeline that is not certain yet.
        return {};
    }
    std::int64_t const offset = (wallTime - Kovra::SysTime(stream)).NanoSec();
    auto const isNear = [&](std::int64_t other) {
        std::int64_t const limit =
            ReportLimitNanoSec + std::abs(stream - state.wallStream) / 1'000'000 * ReportDriftPerMillion;
        // Not by the magnitude: the smallest number has none.
        std::int64_t const difference = (Kovra::SysTime(offset) - Kovra::SysTime(other)).NanoSec();
        return difference >= -limit && difference <= limit;
    };
    if (state.wallOffset && !isNear(*state.wallOffset) &&
        !(state.refusedOffset && isNear(*state.refusedOffset))) {
        state.refusedOffset = offset;
        return {StreamEvent_t::Kind_t::ReportRefused,
                (Kovra::SysTime(offset) - Kovra::SysTime(*state.wallOffset)).NanoSec()};
    }
    state.wallOffset = offset;
    state.wallStream = stream;
    state.refusedOffset.reset();
    return {};
}

std::optional<Kovra::SysTime> StreamClock::GetWallTime(Kovra::SysTime timestamp) const {
    if (!state_->wallOffset) {
        return std::nullopt;
    }
    return timestamp + Kovra::SysTime(*state_->wallOffset);
}

StreamFigures_t StreamClock::GetFigures() const {
    StreamFigures_t figures = state_->figures;
    figures.skewPartsPerMillion = state_->line.SkewPartsPerMillion();
    figures.spreadNanoSec = state_->hasBegun ? state_->line.SpreadNanoSec() : 0;
    figures.leadNanoSec = state_->lead.NanoSec();
    return figures;
}

std::string StreamEvent_t::Describe() const {
    char const* format = "";
    switch (kind) {
        case Kind_t::None:
            return {};
        case Kind_t::RouteChanged:
            format = "the way of the frames takes %+.1f ms from now on";
            break;
        case Kind_t::Restarted:
            format = "the sender's timestamps begin anew, %+.1f ms from where they would be";
            break;
        case Kind_t::LeadRaised:
            format = "frames come too late; the lead is %.1f ms longer now";
            break;
        case Kind_t::ReportRefused:
            format = "a report of the sender is left out: it is off by %+.1f ms";
            break;
    }
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), format,
                  static_cast<double>(spanNanoSec) / static_cast<double>(NanoSecPerMilliSec));
    return text.data();
}

} // namespace Media
