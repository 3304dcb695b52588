#include "ears/capturejudge.h"

#include <cmath>

#include "ears/soundplan.h"
#include "support/recording/tonetrack.h"

namespace Soak {

namespace {

/// A break of one frame turns the tone by 0.3 periods, a lost sample by 0.02; rounding by far less.
constexpr double PhaseTolerancePeriods = 0.01;
/// The first frames come before the tone does.
constexpr float MinToneLsb = 4000.0F;
constexpr double FramePeriods = MicrophoneToneHz * static_cast<double>(FrameSamples) / Listening::SoundRateHz;

} // namespace

void CaptureJudge::AddFrame(std::uint32_t sequenceNumber, std::vector<std::int16_t> const& samples) {
    numberGaps_ += frames_ > 0 && sequenceNumber != nextNumber_ ? 1 : 0;
    nextNumber_ = sequenceNumber + 1;
    ++frames_;
    auto const tone =
        TestSupport::MeasureTone(Listening::SampleView(samples.data(), samples.size()), MicrophoneToneHz);
    if (tone.empty() || tone.front().levelLsb < MinToneLsb) {
        faintFrames_ += hasTone_ ? 1 : 0;
        return;
    }
    auto const phase = static_cast<double>(tone.front().phase);
    double const turned = phase - nextPhase_;
    breaks_ += hasTone_ && std::fabs(turned - std::round(turned)) > PhaseTolerancePeriods ? 1 : 0;
    hasTone_ = true;
    nextPhase_ = phase + FramePeriods;
}

} // namespace Soak
