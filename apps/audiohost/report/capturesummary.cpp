#include "report/capturesummary.h"

#include <algorithm>
#include <iterator>

#include "listening/soundlevel.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

constexpr std::size_t MaxLossesTold = 5;

std::string FramesInMilliSec(std::uint64_t frames) {
    return FormatFixed(static_cast<double>(frames) * CaptureFrameNanoSec / Listening::NanoSecPerMilliSec, 0) +
           " ms";
}

std::string DescribeTime(CaptureLog const& log) {
    return FormatFixed(Listening::SamplesToSec(static_cast<double>(log.samples)), 2) + " s in " +
           FormatCount(log.frames, "frame") + "; the first came after " +
           FormatFixed(static_cast<double>(log.firstNanoSec) / Listening::NanoSecPerMilliSec, 0) +
           " ms, the last after " +
           FormatFixed(static_cast<double>(log.lastNanoSec) / Listening::NanoSecPerSec, 2) + " s.";
}

std::string DescribeNumbers(CaptureLog const& log) {
    std::string text = log.numbersMissing == 0 ? "No frame number is missing"
                                               : FormatCount(log.numbersMissing, "frame number") + " missing";
    if (log.numbersBack > 0) {
        text += ", numbers went back " + FormatCount(log.numbersBack, "time");
    }
    return text + (log.timestampsOff == 0 ? "; every frame is dated 20 ms after the one before."
                                          : "; " + FormatCount(log.timestampsOff, "frame") +
                                                " not dated 20 ms after the one before.");
}

std::vector<CaptureLoss> LossesAt(CaptureLog const& log, bool isAtRingEnd) {
    std::vector<CaptureLoss> losses;
    std::copy_if(log.losses.begin(), log.losses.end(), std::back_inserter(losses),
                 [isAtRingEnd](CaptureLoss const& loss) { return loss.isAtRingEnd == isAtRingEnd; });
    return losses;
}

std::string DescribeLosses(std::vector<CaptureLoss> const& losses) {
    std::uint64_t frames = 0;
    std::string places;
    for (std::size_t i = 0; i < losses.size(); ++i) {
        frames += losses[i].frames;
        if (i < MaxLossesTold) {
            places += (i == 0 ? "" : ", ") + FormatClock(losses[i].timeNanoSec);
        }
    }
    places += losses.size() > MaxLossesTold
                  ? " and " + std::to_string(losses.size() - MaxLossesTold) + " more places"
                  : "";
    return FormatCount(frames, "block") + " of 20 ms (" + FramesInMilliSec(frames) + ") at about " + places;
}

void AddLosses(CaptureLog const& log, std::vector<std::string>& sentences) {
    if (log.losses.empty()) {
        sentences.push_back("As much sound came as time passed.");
        return;
    }
    if (std::vector<CaptureLoss> const losses = LossesAt(log, true); !losses.empty()) {
        sentences.push_back(
            "Left out where the renderer's five-second ring began again: " + DescribeLosses(losses) +
            ". That is how it reads: what lies behind the end of the ring is skipped when a "
            "read passes it.");
    }
    if (std::vector<CaptureLoss> const losses = LossesAt(log, false); !losses.empty()) {
        sentences.push_back("Lost elsewhere: " + DescribeLosses(losses) + ".");
    }
}

std::string DescribeLevel(CaptureLog const& log) {
    if (log.levelDecibel < SilentLevelDecibel) {
        return "Level: silence, or next to it.";
    }
    return "Level: " + FormatFixed(log.levelDecibel, 1) + " dBFS, peak " +
           FormatFixed(Listening::PeakDecibel(log.peak), 1) + " dBFS.";
}

/// In samples. Where it is known what should be there, that knows better than the clock.
std::int64_t CountMissing(CaptureLog const& log) {
    return log.check
               ? log.check->exact.missing
               : static_cast<std::int64_t>(log.GetFramesLost() + log.numbersMissing) * CaptureFrameSamples;
}

bool IsRecordedWell(Listening::TakeCheck const& check) {
    return check.comparison.GetMatchedShare() >= GoodMatchedShare && check.exact.jumps.empty();
}

/// Of frames that were recorded.
Verdict JudgeRecorded(CaptureLog const& log) {
    if (!log.failure.empty()) {
        return {Outcome_t::Bad, "The recording broke off"};
    }
    if (log.check && !log.check->comparison.isFound) {
        bool const isSilent = log.levelDecibel < SilentLevelDecibel;
        return {Outcome_t::Bad,
                isSilent ? "Only silence was recorded" : "What was recorded is not what was played"};
    }
    std::int64_t const missing = CountMissing(log);
    if (missing > 0) {
        return {Outcome_t::Bad,
                "Recorded, but " +
                    FormatFixed(Listening::SamplesToMilliSec(static_cast<double>(missing)), 0) +
                    " ms of sound are missing"};
    }
    if (log.check && !IsRecordedWell(*log.check)) {
        return {Outcome_t::Bad, "Parts of the sound were not recorded as played"};
    }
    return {Outcome_t::Good, log.check ? "Recorded as played" : "Recorded without a loss"};
}

} // namespace

Verdict Judge(CaptureLog const& log) {
    if (log.frames == 0) {
        return {Outcome_t::Bad,
                log.isInterrupted ? "Interrupted before anything was recorded" : "Nothing was recorded"};
    }
    Verdict verdict = JudgeRecorded(log);
    verdict.text += log.isInterrupted ? ", until interrupted" : "";
    return verdict;
}

std::vector<std::string> DescribeCapture(CaptureLog const& log) {
    std::vector<std::string> sentences;
    if (log.frames > 0) {
        sentences.push_back(DescribeTime(log));
        sentences.push_back(DescribeNumbers(log));
        AddLosses(log, sentences);
        sentences.push_back(DescribeLevel(log));
    }
    if (log.readsFailed > 0) {
        sentences.push_back(FormatCount(log.readsFailed, "read") + " failed (status " +
                            std::to_string(log.failedStatus) + ").");
    }
    return sentences;
}

std::vector<std::string> DescribeCheck(Listening::TakeCheck const& check) {
    Listening::SoundComparison const& comparison = check.comparison;
    if (!comparison.isFound) {
        return {"Nothing of what was played could be found in the recording."};
    }
    std::vector<std::string> sentences;
    sentences.push_back("The recording starts " +
                        FormatFixed(Listening::SamplesToSec(static_cast<double>(check.startSample)), 3) +
                        " s into the sound, which repeats every " +
                        FormatFixed(Listening::SamplesToSec(static_cast<double>(check.periodSamples)), 3) +
                        " s.");
    sentences.push_back(FormatFixed(100.0 * comparison.GetMatchedShare(), 1) +
                        " % of the quarter seconds with sound in them were recorded as played (" +
                        std::to_string(comparison.windowsMatched) + " of " +
                        std::to_string(comparison.windowsWithSignal) + ").");
    Listening::ExactMatch const& exact = check.exact;
    sentences.push_back("Sample by sample: " + std::to_string(exact.identical) + " identical, " +
                        std::to_string(exact.changed) + " changed, " + std::to_string(exact.missing) +
                        " missing, " + std::to_string(exact.inserted) + " doubled or put in.");
    if (!exact.jumps.empty()) {
        sentences.push_back(DescribeJumps(exact.jumps));
    }
    sentences.push_back(DescribeLevels(comparison, "recorded"));
    return sentences;
}

std::string FormatSummary(CaptureLog const& log) {
    std::string text = Judge(log).text + ".\n" + log.name + "\n";
    AppendSentences(text, DescribeCapture(log));
    if (log.check) {
        text += "Against what was played\n";
        AppendSentences(text, DescribeCheck(*log.check));
    }
    return text;
}

} // namespace AudioHost
