#include "report/judgement.h"

#include <algorithm>
#include <cmath>

#include "listening/stats.h"
#include "report/hearing.h"
#include "report/mixhearing.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// A person does not notice sound that is this much early (ITU-R BT.1359: 45 ms).
constexpr double GoodErrorMilliSec = 45.0;
/// Holes and jumps from here on are heard as a click or a stumble.
constexpr double AudibleHoleMilliSec = 10.0;
/// A renderer that starts may lose its first frames: so much is nothing unusual.
constexpr double UsualLateBeginMilliSec = 100.0;

/// The cursor is a few steps away from what is heard, and looked at every few milliseconds.
constexpr double PlaceSlackMilliSec = 100.0;
/// Two looks at steps of 10 ms, of which one is the renderer's.
constexpr double SizeSlackMilliSec = 15.0;
/// A renderer answers a glitch with its next frames.
constexpr double AnswerMilliSec = 200.0;
/// Drift control makes good 0.83 ms a second; half of it is asked for, as the device's crystal may stand
/// against it.
constexpr double MadeGoodMilliSecPerSec = 0.4;

/// Frames that speak for the beginning and the end: cursors move in steps, so that single ones say little.
constexpr std::size_t BeginFrames = 10;
constexpr std::size_t EndFrames = 25;
static_assert(std::max(BeginFrames, EndFrames) <= PointKeeper::EndPoints);
/// As close to its time as a session that begins.
constexpr double CaughtUpMilliSec = 15.0;

/// When the session's cursor was set anew, after which nothing that was before matters: the last time up to
/// `untilMilliSec`, or before everything.
double LastSetMilliSec(SessionLog const& session, double untilMilliSec) {
    double last = -1e12;
    for (PlayEvent const& event : session.events) {
        bool const isSet = event.kind == EventKind_t::Started || event.kind == EventKind_t::DriftReset;
        if (isSet && Listening::ToMilliSec(event.timeNanoSec) <= untilMilliSec) {
            last = Listening::ToMilliSec(event.timeNanoSec);
        }
    }
    return last;
}

/// By how much the output's glitches up to `timeMilliSec` may have displaced the session then.
double OwedMilliSec(PlaybackLog const& log, SessionLog const& session, double timeMilliSec) {
    double owed = 0.0;
    double const lastSet = LastSetMilliSec(session, timeMilliSec);
    for (Listening::OutputGlitch const& glitch : log.output.glitches) {
        double const start = Listening::ToMilliSec(glitch.startNanoSec);
        double const answered = Listening::ToMilliSec(glitch.endNanoSec) + AnswerMilliSec;
        if (timeMilliSec < start) {
            break;
        }
        if (timeMilliSec <= answered) {
            owed += glitch.GetSizeMilliSec();
            continue;
        }
        if (lastSet > answered) {
            continue;
        }
        // A cursor set while the output was out of step is wrong as soon as it is back.
        double const left = lastSet >= start ? glitch.GetSizeMilliSec() : std::fabs(glitch.leftMilliSec);
        double const seconds = (timeMilliSec - answered) / Listening::MilliSecPerSec;
        owed += std::max(0.0, left - MadeGoodMilliSecPerSec * seconds);
    }
    return owed;
}

/// A departure of what was heard from what was sent.
struct Departure {
    Listening::SoundSpan within;
    double sizeMilliSec = 0.0;
};

std::vector<Departure> ListDepartures(Listening::SoundComparison const& comparison) {
    std::vector<Departure> departures;
    for (Listening::SoundSpan const& hole : comparison.holes) {
        departures.push_back({hole, Listening::SamplesToMilliSec(static_cast<double>(hole.samples))});
    }
    for (Listening::TimelineJump const& jump : comparison.jumps) {
        Listening::SoundSpan const within =
            jump.within.samples > 0 ? jump.within : Listening::SoundSpan{jump.sentSample, 0};
        departures.push_back({within, Listening::SamplesToMilliSec(static_cast<double>(jump.samples))});
    }
    std::int64_t const lateBegin = comparison.silentStartSamples;
    if (Listening::SamplesToMilliSec(static_cast<double>(lateBegin)) > UsualLateBeginMilliSec) {
        departures.push_back({{0, lateBegin}, Listening::SamplesToMilliSec(static_cast<double>(lateBegin))});
    }
    departures.erase(
        std::remove_if(departures.begin(), departures.end(),
                       [](Departure const& one) { return one.sizeMilliSec < AudibleHoleMilliSec; }),
        departures.end());
    return departures;
}

/// Milliseconds since the first frame was handed over.
struct TimeSpan {
    double from = 0.0;
    double to = 0.0;
};

/// When `within` was played, with all that is uncertain about it.
TimeSpan PlayedAt(PlaybackLog const& log, Listening::SoundSpan const& within) {
    auto const lead = static_cast<double>(log.leadMilliSec);
    double const due = lead + Listening::SamplesToMilliSec(static_cast<double>(within.start));
    double owed = 0.0;
    for (SessionLog const& session : log.sessions) {
        owed = std::max(owed, OwedMilliSec(log, session, due));
    }
    double const slack = PlaceSlackMilliSec + owed;
    return {due - slack, due + Listening::SamplesToMilliSec(static_cast<double>(within.samples)) + slack};
}

/// Glitches of the output where and when `within` was played, taken together.
double GlitchesAtMilliSec(PlaybackLog const& log, Listening::SoundSpan const& within) {
    TimeSpan const played = PlayedAt(log, within);
    double size = 0.0;
    for (Listening::OutputGlitch const& glitch : log.output.glitches) {
        // What it displaced comes by this much later.
        double const end = Listening::ToMilliSec(glitch.endNanoSec) + glitch.GetSizeMilliSec();
        if (Listening::ToMilliSec(glitch.startNanoSec) <= played.to && end >= played.from) {
            size += glitch.GetSizeMilliSec();
        }
    }
    return size;
}

/// What the output still owed where a session moved its cursor within the span.
double OwedAtResetMilliSec(PlaybackLog const& log, Listening::SoundSpan const& within) {
    TimeSpan const played = PlayedAt(log, within);
    double owed = 0.0;
    for (SessionLog const& session : log.sessions) {
        for (PlayEvent const& event : session.events) {
            double const at = Listening::ToMilliSec(event.timeNanoSec);
            if (event.kind == EventKind_t::DriftReset && at >= played.from && at <= played.to) {
                // Just before: the reset itself ends what is owed.
                owed = std::max(owed, OwedMilliSec(log, session, at - 1.0));
            }
        }
    }
    return owed;
}

bool IsAsSent(PlaybackLog const& log) {
    return log.comparison->GetMatchedShare() >= GoodMatchedShare;
}

Outcome_t JudgeHeard(PlaybackLog const& log) {
    Listening::SoundComparison const& comparison = *log.comparison;
    std::vector<Departure> const departures = ListDepartures(comparison);
    // What sounds that cannot be told from each other add up to depends on less than a millisecond between
    // them.
    bool const isWhole = IsAsSent(log) || !TellMixDoubt(log).empty();
    if (isWhole && departures.empty()) {
        return Outcome_t::Good;
    }
    if (log.output.glitches.empty()) {
        return Outcome_t::Bad;
    }
    std::int64_t lost = 0;
    for (Listening::WindowMatch const& window : comparison.windows) {
        bool const isLost = window.hasSignal && !window.IsMatch();
        lost += isLost && GlitchesAtMilliSec(log, {window.sentStart, Listening::CompareWindowSamples}) == 0.0
                    ? 1
                    : 0;
    }
    double const allowed = (1.0 - GoodMatchedShare) * static_cast<double>(comparison.windowsWithSignal);
    bool const isExcused = static_cast<double>(isWhole ? 0 : lost) <= allowed &&
                           std::all_of(departures.begin(), departures.end(), [&](Departure const& one) {
                               return IsOutputsDoing(log, one.within, one.sizeMilliSec);
                           });
    return isExcused ? Outcome_t::OutputGlitch : Outcome_t::Bad;
}

/// Beyond what the output owed.
std::vector<double> OwnErrors(PlaybackLog const& log, SessionLog const& session) {
    std::vector<double> errors;
    for (PresentationPoint const& point : session.points) {
        double const owed = OwedMilliSec(log, session, Listening::ToMilliSec(point.timeNanoSec));
        errors.push_back(std::max(0.0, std::fabs(point.errorMilliSec) - owed));
    }
    return errors;
}

Outcome_t JudgeTime(PlaybackLog const& log, double worstMilliSec) {
    if (worstMilliSec <= GoodErrorMilliSec) {
        return Outcome_t::Good;
    }
    if (log.output.glitches.empty()) {
        return Outcome_t::Bad;
    }
    bool const isExcused =
        std::all_of(log.sessions.begin(), log.sessions.end(), [&](SessionLog const& session) {
            return Listening::Percentile(OwnErrors(log, session), 0.95) <= GoodErrorMilliSec;
        });
    return isExcused ? Outcome_t::OutputGlitch : Outcome_t::Bad;
}

double MedianError(std::vector<PresentationPoint> const& points, std::size_t from, std::size_t to) {
    std::vector<double> errors;
    for (std::size_t i = from; i < to; ++i) {
        errors.push_back(points[i].errorMilliSec);
    }
    return Listening::Median(std::move(errors));
}

bool HasCaughtUp(PlaybackLog const& log) {
    return std::all_of(log.sessions.begin(), log.sessions.end(), [](SessionLog const& session) {
        std::size_t const count = session.points.size();
        std::size_t const from = count - std::min(count, EndFrames);
        return std::fabs(MedianError(session.points, from, count)) <= CaughtUpMilliSec;
    });
}

std::string TellGlitches(PlaybackLog const& log) {
    std::vector<Listening::OutputGlitch> const& glitches = log.output.glitches;
    auto const worst =
        std::max_element(glitches.begin(), glitches.end(),
                         [](Listening::OutputGlitch const& a, Listening::OutputGlitch const& b) {
                             return a.GetSizeMilliSec() < b.GetSizeMilliSec();
                         });
    std::string text = "The output " + FormatGlitch(*worst, log.leadMilliSec);
    if (glitches.size() > 1) {
        text += " (and was out of step " + FormatCount(glitches.size() - 1, "time") + " more)";
    }
    return text + "; the renderer " + (HasCaughtUp(log) ? "caught up" : "was still catching up");
}

/// There is a recording, and the sound is loud enough to be compared.
bool IsCompared(PlaybackLog const& log) {
    return log.comparison && (log.comparison->isFound || !log.comparison->isTooFaint);
}

/// What of the sound went wrong by nobody's doing but the renderer's; empty when nothing did.
std::string TellBadSound(PlaybackLog const& log, Outcome_t heard) {
    std::uint64_t failed = 0;
    for (SessionLog const& session : log.sessions) {
        failed += session.jobsFailed;
    }
    if (failed > 0) {
        return FormatCount(failed, "frame") + " failed";
    }
    for (MixFault const& fault : FindMixFaults(log)) {
        if (fault.outcome == Outcome_t::Bad && !fault.isOfTime) {
            return fault.text;
        }
    }
    if (!IsCompared(log)) {
        return "";
    }
    if (!log.comparison->isFound) {
        bool const isSilent = log.comparison->heardLevelDecibel < SilentLevelDecibel;
        return isSilent ? "Nothing of the sound was heard" : "What was heard is not what was sent";
    }
    std::string const fault = TellSoundFault(log);
    return fault.empty() && heard == Outcome_t::Bad ? "Parts of the sound were not heard as sent" : fault;
}

double WorstErrorMilliSec(PlaybackLog const& log) {
    double worst = 0.0;
    for (SessionLog const& session : log.sessions) {
        worst = std::max(worst, Listening::Percentile(Listening::Magnitudes(ErrorsOf(session)), 0.95));
    }
    return worst;
}

bool WasPlayed(PlaybackLog const& log) {
    return std::any_of(log.sessions.begin(), log.sessions.end(),
                       [](SessionLog const& session) { return session.jobsSucceeded > 0; });
}

/// What the outcome leaves out: the level, and what nobody can tell.
std::string TellBesides(PlaybackLog const& log) {
    std::string const level = TellLevelFault(log);
    std::string text = level.empty() ? "" : ", but " + level;
    for (std::string const& doubt : {TellDoubt(log), TellMixDoubt(log)}) {
        text += doubt.empty() ? "" : "; " + doubt;
    }
    return text;
}

/// Of frames that were played.
Verdict JudgePlayed(PlaybackLog const& log) {
    bool const isCompared = IsCompared(log);
    Outcome_t const heard = isCompared && log.comparison->isFound ? JudgeHeard(log) : Outcome_t::Good;
    if (std::string const badSound = TellBadSound(log, heard); !badSound.empty()) {
        return {Outcome_t::Bad, badSound};
    }
    std::vector<MixFault> const faults = FindMixFaults(log);
    for (MixFault const& fault : faults) {
        if (fault.outcome == Outcome_t::Bad) {
            return {Outcome_t::Bad, fault.text};
        }
    }
    bool const isMixGlitch = !faults.empty();
    double const worst = WorstErrorMilliSec(log);
    Outcome_t const inTime = JudgeTime(log, worst);
    if (inTime == Outcome_t::Bad) {
        return {Outcome_t::Bad, (isCompared ? "Heard as sent, but up to " : "Played, but up to ") +
                                    FormatFixed(worst, 0) + " ms out of time"};
    }
    if (heard == Outcome_t::OutputGlitch || inTime == Outcome_t::OutputGlitch || isMixGlitch) {
        return {Outcome_t::OutputGlitch, TellGlitches(log) + TellBesides(log)};
    }
    bool const isToldOf = isCompared && (!log.comparison->isFound || IsAsSent(log));
    return {Outcome_t::Good, (isToldOf ? "Played and heard as sent" : "Played in time") + TellBesides(log)};
}

} // namespace

Verdict Judge(PlaybackLog const& log) {
    if (!WasPlayed(log)) {
        return {Outcome_t::Bad,
                log.isInterrupted ? "Interrupted before anything was played" : "Nothing was played"};
    }
    Verdict verdict = JudgePlayed(log);
    verdict.text += log.isInterrupted ? ", until interrupted" : "";
    return verdict;
}

bool IsOutputsDoing(PlaybackLog const& log, Listening::SoundSpan const& within, double sizeMilliSec) {
    double const size = std::max(GlitchesAtMilliSec(log, within), OwedAtResetMilliSec(log, within));
    return size > 0.0 && sizeMilliSec <= size + SizeSlackMilliSec;
}

std::optional<double> BeginErrorMilliSec(SessionLog const& session) {
    if (session.points.empty()) {
        return std::nullopt;
    }
    return MedianError(session.points, 0, std::min(session.points.size(), BeginFrames));
}

std::string FormatGlitch(Listening::OutputGlitch const& glitch, std::int64_t leadMilliSec) {
    double const size = glitch.GetSizeMilliSec();
    char const* const what = size == glitch.lateMilliSec    ? "stood still for "
                             : size == glitch.earlyMilliSec ? "leapt ahead by "
                                                            : "could not be watched for ";
    // As places in the sound are told.
    std::int64_t const place = glitch.startNanoSec - leadMilliSec * Listening::NanoSecPerMilliSec;
    return what + FormatFixed(size, 0) + " ms at " + FormatClock(std::max<std::int64_t>(0, place));
}

} // namespace AudioHost
