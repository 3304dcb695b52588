#include "capturesummary.h"

#include <algorithm>
#include <iterator>

#include "soundlevel.h"
#include "textformat.h"

namespace AudioHost {

namespace {

constexpr double NanoSecPerMilliSec = 1e6;
constexpr std::size_t MostLossesTold = 5;
constexpr double GoodMatchedShare = 0.95;

std::string FramesInMilliSec(std::uint64_t frames) {
    return FormatFixed(static_cast<double>(frames) * CaptureFrameNanoSec / NanoSecPerMilliSec, 0) + " ms";
}

std::string DescribeTime(CaptureRecord const& record) {
    return FormatFixed(SamplesToSec(static_cast<double>(record.samples)), 2) + " s in " +
           FormatCount(record.frames, "frame") + "; the first came after " +
           FormatFixed(static_cast<double>(record.firstNanoSec) / NanoSecPerMilliSec, 0) +
           " ms, the last after " + FormatFixed(static_cast<double>(record.lastNanoSec) / NanoSecPerSec, 2) +
           " s.";
}

std::string DescribeNumbers(CaptureRecord const& record) {
    std::string text = record.numbersMissing == 0
                           ? "No frame number is missing"
                           : FormatCount(record.numbersMissing, "frame number") + " missing";
    if (record.numbersBack > 0) {
        text += ", numbers went back " + FormatCount(record.numbersBack, "time");
    }
    return text + (record.timestampsOff == 0 ? "; every frame is dated 20 ms after the one before."
                                             : "; " + FormatCount(record.timestampsOff, "frame") +
                                                   " not dated 20 ms after the one before.");
}

std::vector<CaptureLoss> LossesAt(CaptureRecord const& record, bool isAtRingEnd) {
    std::vector<CaptureLoss> losses;
    std::copy_if(record.losses.begin(), record.losses.end(), std::back_inserter(losses),
                 [isAtRingEnd](CaptureLoss const& loss) { return loss.isAtRingEnd == isAtRingEnd; });
    return losses;
}

std::string DescribeLosses(std::vector<CaptureLoss> const& losses) {
    std::uint64_t frames = 0;
    std::string places;
    for (std::size_t i = 0; i < losses.size(); ++i) {
        frames += losses[i].frames;
        if (i < MostLossesTold) {
            places += (i == 0 ? "" : ", ") + FormatClock(losses[i].timeNanoSec);
        }
    }
    places += losses.size() > MostLossesTold
                  ? " and " + std::to_string(losses.size() - MostLossesTold) + " more places"
                  : "";
    return FormatCount(frames, "block") + " of 20 ms (" + FramesInMilliSec(frames) + ") at about " + places;
}

void AddLosses(CaptureRecord const& record, std::vector<std::string>& sentences) {
    if (record.losses.empty()) {
        sentences.push_back("As much sound came as time passed.");
        return;
    }
    if (std::vector<CaptureLoss> const losses = LossesAt(record, true); !losses.empty()) {
        sentences.push_back(
            "Left out where the renderer's five-second ring began again: " + DescribeLosses(losses) +
            ". That is how it reads: what lies behind the end of the ring is skipped when a "
            "read passes it.");
    }
    if (std::vector<CaptureLoss> const losses = LossesAt(record, false); !losses.empty()) {
        sentences.push_back("Lost elsewhere: " + DescribeLosses(losses) + ".");
    }
}

std::string DescribeLevel(CaptureRecord const& record) {
    if (record.levelDecibel < SilentLevelDecibel) {
        return "Level: silence, or next to it.";
    }
    return "Level: " + FormatFixed(record.levelDecibel, 1) + " dBFS, peak " +
           FormatFixed(PeakDecibel(record.peak), 1) + " dBFS.";
}

/// In samples. Where it is known what should be there, that knows better than the clock.
std::int64_t CountMissing(CaptureRecord const& record) {
    return record.check ? record.check->exact.missing
                        : static_cast<std::int64_t>(record.GetFramesLost() + record.numbersMissing) *
                              CaptureFrameSamples;
}

bool IsRecordedWell(RecordingCheck const& check) {
    return check.comparison.GetMatchedShare() >= GoodMatchedShare && check.exact.jumps.empty();
}

} // namespace

Verdict Judge(CaptureRecord const& record) {
    if (record.frames == 0) {
        return {Outcome_t::Bad,
                record.isInterrupted ? "Interrupted before anything was recorded" : "Nothing was recorded"};
    }
    if (!record.failure.empty()) {
        return {Outcome_t::Bad, "The recording broke off"};
    }
    if (record.check && !record.check->comparison.isFound) {
        bool const isSilent = record.levelDecibel < SilentLevelDecibel;
        return {Outcome_t::Bad,
                isSilent ? "Only silence was recorded" : "What was recorded is not what was played"};
    }
    std::int64_t const missing = CountMissing(record);
    if (missing > 0) {
        return {Outcome_t::Bad, "Recorded, but " +
                                    FormatFixed(SamplesToMilliSec(static_cast<double>(missing)), 0) +
                                    " ms of sound are missing"};
    }
    if (record.check && !IsRecordedWell(*record.check)) {
        return {Outcome_t::Bad, "Parts of the sound were not recorded as played"};
    }
    std::string const end = record.isInterrupted ? ", until interrupted" : "";
    return {Outcome_t::Good, (record.check ? "Recorded as played" : "Recorded without a loss") + end};
}

std::vector<std::string> DescribeRecording(CaptureRecord const& record) {
    std::vector<std::string> sentences;
    if (record.frames > 0) {
        sentences.push_back(DescribeTime(record));
        sentences.push_back(DescribeNumbers(record));
        AddLosses(record, sentences);
        sentences.push_back(DescribeLevel(record));
    }
    if (record.readsFailed > 0) {
        sentences.push_back(FormatCount(record.readsFailed, "read") + " failed (status " +
                            std::to_string(record.failedStatus) + ").");
    }
    return sentences;
}

std::vector<std::string> DescribeCheck(RecordingCheck const& check) {
    SoundComparison const& comparison = check.comparison;
    if (!comparison.isFound) {
        return {"Nothing of what was played could be found in the recording."};
    }
    std::vector<std::string> sentences;
    sentences.push_back("The recording starts " +
                        FormatFixed(SamplesToSec(static_cast<double>(check.startSample)), 3) +
                        " s into the sound, which repeats every " +
                        FormatFixed(SamplesToSec(static_cast<double>(check.periodSamples)), 3) + " s.");
    sentences.push_back(FormatFixed(100.0 * comparison.GetMatchedShare(), 1) +
                        " % of the quarter seconds with sound in them were recorded as played (" +
                        std::to_string(comparison.windowsMatched) + " of " +
                        std::to_string(comparison.windowsWithSignal) + ").");
    ExactMatch const& exact = check.exact;
    sentences.push_back("Sample by sample: " + std::to_string(exact.identical) + " identical, " +
                        std::to_string(exact.changed) + " changed, " + std::to_string(exact.missing) +
                        " missing, " + std::to_string(exact.inserted) + " doubled or put in.");
    if (!exact.jumps.empty()) {
        sentences.push_back(DescribeJumps(exact.jumps));
    }
    sentences.push_back(DescribeLevels(comparison, "recorded"));
    return sentences;
}

std::string FormatSummary(CaptureRecord const& record) {
    std::string text = Judge(record).text + ".\n" + record.name + "\n";
    AppendSentences(text, DescribeRecording(record));
    if (record.check) {
        text += "Against what was played\n";
        AppendSentences(text, DescribeCheck(*record.check));
    }
    return text;
}

} // namespace AudioHost
