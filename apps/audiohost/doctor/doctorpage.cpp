#include "doctor/doctorpage.h"

#include <cmath>
#include <vector>

#include "output/devicetext.h"
#include "report/capturesummary.h"
#include "report/playbacksummary.h"
#include "terminal/options.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

/// Drift control makes good 833 ppm; beyond this a device leaves it little.
constexpr double LargestPpm = 500.0;

std::string DescribeRate(std::optional<Rate> const& rate) {
    if (!rate) {
        return "Too little was seen of it to tell how fast it runs.";
    }
    return "It runs " + FormatFixed(std::fabs(rate->ppm), 1) + " ppm " +
           (rate->ppm < 0.0 ? "slower" : "faster") + " than the clock, give or take " +
           FormatFixed(rate->uncertaintyPpm, 1) + ".";
}

bool IsFar(std::optional<Rate> const& rate) {
    return rate && std::fabs(rate->ppm) > LargestPpm;
}

std::vector<std::string> DescribeTheOutput(CheckupLog const& log) {
    if (!log.hasOutput) {
        return {"There is none, or it cannot be opened."};
    }
    std::vector<std::string> sentences = {DescribeRate(log.outputRate)};
    // Places count from the first frame's handing over.
    std::vector<std::string> const watched = DescribeOutput(log.output, 0);
    sentences.insert(sentences.end(), watched.begin(), watched.end());
    return sentences;
}

std::vector<std::string> DescribeTheInput(CheckupLog const& log) {
    std::vector<std::string> sentences;
    if (!log.input.failure.empty()) {
        sentences.push_back("It failed: " + log.input.failure);
    }
    if (log.input.frames > 0) {
        std::vector<std::string> const captured = DescribeCapture(log.input);
        sentences.push_back(DescribeRate(log.inputRate));
        sentences.insert(sentences.end(), captured.begin(), captured.end());
    }
    return sentences;
}

std::string DescribeLoopback(CheckupLog const& log) {
    if (log.loopbackMilliSec) {
        return "What is played comes back " + FormatFixed(*log.loopbackMilliSec, 1) + " ms after it was due.";
    }
    return "Nothing of what was played came back, so the way from output to input cannot be measured.";
}

} // namespace

Verdict Judge(CheckupLog const& log) {
    if (!log.hasOutput) {
        return {Outcome_t::Bad, "There is no audio output that can be opened"};
    }
    if (!log.input.failure.empty()) {
        return {Outcome_t::Bad, log.input.frames == 0 ? "There is no microphone that gives anything"
                                                      : "The microphone stopped giving anything"};
    }
    if (!log.output.glitches.empty()) {
        return {Outcome_t::OutputGlitch,
                "The output was out of step " + FormatCount(log.output.glitches.size(), "time")};
    }
    if (!log.input.losses.empty()) {
        return {Outcome_t::Bad, "Sound of the microphone was lost"};
    }
    if (IsFar(log.outputRate) || IsFar(log.inputRate)) {
        return {Outcome_t::Bad, "A device runs far from the clock"};
    }
    return {Outcome_t::Good, "Output and input are well"};
}

std::string FormatPage(CheckupLog const& log) {
    std::string text = Judge(log).text + (log.isInterrupted ? ", until interrupted.\n" : ".\n");
    text += FormatVersion() + ", " +
            FormatFixed(static_cast<double>(log.spanNanoSec) / Listening::NanoSecPerSec, 1) +
            " s of looking\n";
    text += FormatDevices(log.devices, true);
    text += "The output\n";
    AppendSentences(text, DescribeTheOutput(log));
    text += "The input\n";
    AppendSentences(text, DescribeTheInput(log));
    text += "From output to input\n";
    AppendSentences(text, {DescribeLoopback(log)});
    return text;
}

} // namespace AudioHost
