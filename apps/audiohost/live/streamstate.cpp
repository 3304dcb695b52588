#include "live/streamstate.h"

#include "listening/samples.h"
#include "terminal/textformat.h"

namespace AudioHost {

double StreamState::GetLossPercent() const {
    std::int64_t const whole = handedNanoSec + missingNanoSec;
    return whole > 0 ? 100.0 * static_cast<double>(missingNanoSec) / static_cast<double>(whole) : 0.0;
}

std::string FormatStream(StreamState const& state) {
    if (state.isBroken) {
        return "broken, opening again";
    }
    return "jitter " + FormatFixed(Listening::ToMilliSec(state.clock.jitterNanoSec), 1) + " ms  loss " +
           FormatFixed(state.GetLossPercent(), 1) + " %  skew " +
           FormatSigned(state.clock.skewPartsPerMillion, 0) + " ppm  lead " +
           FormatFixed(Listening::ToMilliSec(state.clock.leadNanoSec), 0) + " ms";
}

std::string DescribeStream(StreamState const& state) {
    std::string text = "The stream: jitter " +
                       FormatFixed(Listening::ToMilliSec(state.clock.jitterNanoSec), 1) + " ms, " +
                       FormatFixed(state.GetLossPercent(), 2) + " % of the sound missing, " +
                       FormatCount(state.leftOut, "packet") + " left out, the sender's clock at " +
                       FormatSigned(state.clock.skewPartsPerMillion, 0) + " ppm, a lead of " +
                       FormatFixed(Listening::ToMilliSec(state.clock.leadNanoSec), 0) + " ms.";
    if (state.breaks > 0) {
        text += " It broke " + FormatCount(state.breaks, "time") + ".";
    }
    return state.error.empty() ? text : text + " Given up: " + state.error;
}

} // namespace AudioHost
