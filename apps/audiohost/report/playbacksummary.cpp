#include "report/playbacksummary.h"

#include <algorithm>
#include <cmath>
#include <map>

#include "listening/stats.h"
#include "live/streamstate.h"
#include "report/hearing.h"
#include "report/judgement.h"
#include "report/soundwords.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t MaxGlitchesTold = 5;

std::string DescribeBegin(SessionLog const& session) {
    double const error = BeginErrorMilliSec(session).value_or(0.0);
    return "Began " + FormatFixed(std::fabs(error), 1) + " ms " + (error < 0.0 ? "early." : "late.");
}

std::string DescribeErrors(SessionLog const& session) {
    if (session.points.empty()) {
        return "No frame was presented, so there is no presentation error to tell.";
    }
    std::vector<double> const errors = Listening::Magnitudes(ErrorsOf(session));
    return "Presentation error: median " + FormatFixed(Listening::Median(errors), 1) +
           " ms, 95 % of the frames within " + FormatFixed(Listening::Percentile(errors, 0.95), 1) + " ms.";
}

std::string DescribeFrequency(SessionLog const& session) {
    std::uint64_t const changes = CountEvents(session, EventKind_t::FrequencyChange);
    if (session.steps.empty()) {
        return "Playback did not start.";
    }
    if (changes == 0) {
        return "Playback frequency: 48000 Hz throughout.";
    }
    auto const [min, max] =
        std::minmax_element(session.steps.begin(), session.steps.end(),
                            [](FrequencyStep const& a, FrequencyStep const& b) { return a.hz < b.hz; });
    return "Playback frequency: " + FormatCount(changes, "change") + ", between " + std::to_string(min->hz) +
           " and " + std::to_string(max->hz) + " Hz.";
}

std::string DescribeEvents(std::vector<PlayEvent> const& events) {
    std::map<EventKind_t, std::uint64_t> counts;
    for (PlayEvent const& event : events) {
        // Told in a sentence of their own.
        if (event.kind != EventKind_t::FrequencyChange) {
            counts[event.kind] += event.count;
        }
    }
    std::string text;
    for (auto const& [kind, count] : counts) {
        text += (text.empty() ? "" : "; ") + std::string(KindInWords(kind)) +
                (count > 1 ? " (" + std::to_string(count) + " times)" : "");
    }
    return text.empty() ? "The log has nothing to tell." : "From the log: " + text + ".";
}

std::string DescribeDelay(Listening::SoundComparison const& comparison) {
    double const drift = comparison.lagDriftSamples;
    std::string const change = std::fabs(Listening::SamplesToMilliSec(drift)) < 0.05
                                   ? "kept that delay to the end"
                                   : (drift > 0 ? "fell behind by " : "gained ") +
                                         FormatMilliSec(std::fabs(drift)) + " up to the end";
    double const start = Listening::SamplesToSec(comparison.firstSampleAt);
    std::string const first =
        start < 0.0 ? "The recording starts " + FormatFixed(-start, 3) + " s into the sound"
                    : "The first sample was heard " + FormatFixed(start, 3) + " s into the recording";
    return first + "; the sound " + change + " (90 % of it within " +
           FormatMilliSec(comparison.lagSpreadSamples) + ", median delay " +
           FormatSigned(Listening::SamplesToMilliSec(comparison.medianLagSamples - comparison.firstSampleAt),
                        1) +
           " ms from the first).";
}

std::string DescribeLost(std::vector<Listening::SoundSpan> const& lost) {
    std::int64_t total = 0;
    for (Listening::SoundSpan const& span : lost) {
        total += span.samples;
    }
    return "Not heard as sent: " + FormatCount(lost.size(), "part") + ", together " +
           FormatFixed(Listening::SamplesToSec(static_cast<double>(total)), 2) + " s (first at " +
           FormatPlace(lost.front().start) + ").";
}

} // namespace

std::vector<std::string> DescribeSession(SessionLog const& session) {
    std::vector<std::string> sentences;
    std::string const failures =
        session.jobsFailed == 0 ? "none of them failed" : std::to_string(session.jobsFailed) + " failed";
    std::string const whole =
        session.durationNanoSec > session.sentNanoSec + Listening::NanoSecPerSec / 2
            ? " of " +
                  FormatFixed(static_cast<double>(session.durationNanoSec) / Listening::NanoSecPerSec, 1) +
                  " s"
            : "";
    sentences.push_back(session.description + ".");
    sentences.push_back(FormatFixed(static_cast<double>(session.sentNanoSec) / Listening::NanoSecPerSec, 1) +
                        " s" + whole + " in " + FormatCount(session.framesSent, "frame") + ", " + failures +
                        ".");
    if (!session.streamPoints.empty()) {
        sentences.push_back(DescribeStream(session.streamPoints.back().state));
    }
    if (!session.points.empty()) {
        sentences.push_back(DescribeBegin(session));
    }
    sentences.push_back(DescribeErrors(session));
    sentences.push_back(DescribeFrequency(session));
    sentences.push_back(DescribeEvents(session.events));
    return sentences;
}

std::vector<std::string> DescribeComparison(Listening::SoundComparison const& comparison) {
    if (!comparison.isFound) {
        return {"Nothing of what was sent could be found in the recording.",
                DescribeLevels(comparison, "heard")};
    }
    std::vector<std::string> sentences;
    sentences.push_back(FormatFixed(100.0 * comparison.GetMatchedShare(), 1) +
                        " % of the quarter seconds with sound in them were heard as sent (" +
                        std::to_string(comparison.windowsMatched) + " of " +
                        std::to_string(comparison.windowsWithSignal) + ").");
    sentences.push_back(DescribeDelay(comparison));
    sentences.push_back(DescribeLevels(comparison, "heard"));
    if (comparison.unrecordedSamples > 0) {
        sentences.push_back(
            FormatFixed(Listening::SamplesToSec(static_cast<double>(comparison.unrecordedSamples)), 2) +
            " s of the sound lie outside the recording.");
    }
    if (comparison.silentStartSamples > 0) {
        sentences.push_back("The first " +
                            FormatMilliSec(static_cast<double>(comparison.silentStartSamples)) +
                            " were not heard.");
    }
    sentences.push_back(
        comparison.longestHole.samples == 0
            ? "No silent hole."
            : "Longest silent hole: " + FormatMilliSec(static_cast<double>(comparison.longestHole.samples)) +
                  " at " + FormatPlace(comparison.longestHole.start) + ".");
    sentences.push_back(comparison.jumps.empty() ? "Nothing is missing and nothing was heard twice."
                                                 : DescribeJumps(comparison.jumps));
    if (!comparison.lost.empty()) {
        sentences.push_back(DescribeLost(comparison.lost));
    }
    return sentences;
}

std::vector<std::string> DescribeOutput(Listening::OutputLog const& output, std::int64_t leadMilliSec) {
    if (!output.isWatched) {
        return {"Nobody watched it: what it did wrong is put down to the renderer."};
    }
    if (output.glitches.empty()) {
        return {"Its own cursor stayed within " + FormatFixed(output.worstMilliSec, 1) +
                " ms of where it should have been."};
    }
    std::string text;
    for (std::size_t i = 0; i < std::min(output.glitches.size(), MaxGlitchesTold); ++i) {
        text += (i == 0 ? "" : "; ") + FormatGlitch(output.glitches[i], leadMilliSec);
    }
    if (output.glitches.size() > MaxGlitchesTold) {
        text += "; and " + std::to_string(output.glitches.size() - MaxGlitchesTold) + " more";
    }
    return {"It " + text + ", whatever the renderer did."};
}

std::string FormatSummary(PlaybackLog const& log) {
    std::string text = Judge(log).text + " (lead " + std::to_string(log.leadMilliSec) + " ms).\n";
    for (SessionLog const& session : log.sessions) {
        text += session.name + "\n";
        AppendSentences(text, DescribeSession(session));
    }
    if (!log.otherEvents.empty()) {
        text += "All sessions\n";
        AppendSentences(text, {DescribeEvents(log.otherEvents)});
    }
    if (log.comparison) {
        text += "Heard\n";
        AppendSentences(text, DescribeComparison(*log.comparison));
        AppendSentences(text, DescribeHearing(log));
    }
    text += "The output\n";
    AppendSentences(text, DescribeOutput(log.output, log.leadMilliSec));
    return text;
}

} // namespace AudioHost
