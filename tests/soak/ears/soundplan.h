#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "listening/samples.h"

namespace Soak {

constexpr std::int64_t FrameSamples = 960;
constexpr std::int64_t FrameNanoSec = 20'000'000;

/// What every session of a soak plays, so that each can be told from the others in their mix. A session has
///  - a tone of its own pitch without an end, by whose level every 20 ms of it can be checked: pitches lie a
///    whole number of periods in 20 ms apart, so that none is heard in the measurement of another;
///  - a burst of noise of its own, one frame long, above all tones, once a period and never two sessions'
///    at a time, by whose place it is known when the session was heard.
///
/// **Threads:** after construction only read.
class SoundPlan {
public:
    /// `sessions` from 1 to `MaxSessions`; throws `std::invalid_argument` for others.
    explicit SoundPlan(std::size_t sessions);
    static constexpr std::size_t MaxSessions = 80;

    std::size_t GetSessions() const { return bursts_.size(); }
    double GetToneHz(std::size_t session) const;

    /// From one burst of a session to the next.
    std::int64_t GetPeriodFrames() const { return periodFrames_; }
    /// Number of the frame that is burst `index` (from 0) of the session. There is none in the first period,
    /// since a session's first frames are not heard.
    std::int64_t GetBurstFrame(std::size_t session, std::int64_t index) const;
    /// Bursts that lie within `frames` frames of the session.
    std::int64_t CountBursts(std::size_t session, std::int64_t frames) const;
    Listening::Samples const& GetBurst(std::size_t session) const { return bursts_[session]; }

    /// What the session plays in its frame `number`.
    Listening::Samples MakeFrame(std::size_t session, std::int64_t number) const;

private:
    std::int64_t GetToneStep(std::size_t session) const;

    /// One sine over the time in which every tone has a whole number of periods.
    std::vector<float> sine_;
    std::int64_t toneSpacingHz_;
    double toneLsb_;
    std::int64_t periodFrames_;
    std::vector<Listening::Samples> bursts_;
};

/// The tone that the microphone hears, sample `number` of it.
std::int16_t MicrophoneSample(std::int64_t number);
/// Away from a whole number of periods in any number of frames that is lost at once.
constexpr double MicrophoneToneHz = 1015.05;

} // namespace Soak
