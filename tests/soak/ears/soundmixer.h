#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "ears/soundplan.h"
#include "listening/samples.h"

namespace Soak {

/// What a recording would have if the sessions of a plan had played with the faults that a test wants.
class SoundMixer {
public:
    /// Which frame's sound is heard in the place of frame `number` of the session; nothing: silence.
    using Change = std::function<std::optional<std::int64_t>(std::size_t session, std::int64_t number)>;

    SoundMixer(SoundPlan const& plan, std::int64_t frames) : plan_(plan), frames_(frames) {}

    SoundMixer& WithFrames(Change change) {
        change_ = std::move(change);
        return *this;
    }
    /// The session is heard so much later from the frame on.
    SoundMixer& WithDelay(std::size_t session, std::int64_t fromFrame, std::int64_t samples) {
        delayedSession_ = session;
        delayedFrom_ = fromFrame;
        delaySamples_ = samples;
        return *this;
    }

    /// Frame 0 is heard at sample `origin`; a second of silence lies behind the last.
    Listening::Samples Mix(std::int64_t origin) const {
        Listening::Samples heard(
            static_cast<std::size_t>(origin + frames_ * FrameSamples + Listening::SoundRateHz));
        for (std::size_t session = 0; session < plan_.GetSessions(); ++session) {
            for (std::int64_t number = 0; number < frames_; ++number) {
                std::optional<std::int64_t> const source = change_ ? change_(session, number) : number;
                bool const isDelayed = delayedSession_ == session && number >= delayedFrom_;
                if (source) {
                    Add(plan_.MakeFrame(session, *source),
                        origin + number * FrameSamples + (isDelayed ? delaySamples_ : 0), heard);
                }
            }
        }
        return heard;
    }

private:
    static void Add(Listening::Samples const& frame, std::int64_t at, Listening::Samples& heard) {
        for (std::int16_t const sample : frame) {
            std::int16_t& sum = heard[static_cast<std::size_t>(at++)];
            sum = static_cast<std::int16_t>(sum + sample);
        }
    }

    SoundPlan const& plan_;
    std::int64_t frames_;
    Change change_;
    std::optional<std::size_t> delayedSession_;
    std::int64_t delayedFrom_ = 0;
    std::int64_t delaySamples_ = 0;
};

} // namespace Soak
