#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "kovra/time.h"
#include "listening/samples.h"
#include "record/microphone.h"
#include "support/testclock.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// Moves the clock to where one waits for. The person asks to stop in the first wait that ends later than
/// `stopNanoSec` after its construction.
class ClockPacer : public Pacer {
public:
    explicit ClockPacer(TestClock& clock) : clock_(clock), startNanoSec_(clock.nanoSec) {}

    bool WaitUntil(Kovra::JiffyTime instant) override;

    std::int64_t stopNanoSec = INT64_MAX / 2;
    /// Called after each wait with the time since the construction.
    std::function<void(std::int64_t)> onWait = [](std::int64_t) {};

private:
    TestClock& clock_;
    std::int64_t const startNanoSec_;
};

/// 20 ms of `sound`.
std::shared_ptr<Media::FrameAud> MakeMicrophoneFrame(Listening::SampleView sound, std::int64_t timeNanoSec,
                                                     std::uint32_t number);

/// Gives `sound`, over and over, as fast as the clock runs.
class TestMicrophone : public Microphone {
public:
    TestMicrophone(TestClock const& clock, Listening::Samples sound)
        : clock_(clock),
          firstNanoSec_(clock.nanoSec),
          startNanoSec_(clock.nanoSec),
          sound_(std::move(sound)) {}

    int ReadFrames(std::vector<std::shared_ptr<Media::FrameAud>>& frames) override;
    void Restart() override;
    float GetLevel() const override { return 0.25F; }

    /// Blocks that nobody will see.
    void Skip(std::int64_t blocks) { skipped_ += blocks; }

    /// From this time after the construction on nothing comes but `failedStatus`.
    std::int64_t endNanoSec = INT64_MAX / 2;
    int failedStatus = -1;
    /// The captures before this number of restarts give nothing.
    std::size_t deadCaptures = 0;
    /// When restarted, since the construction.
    std::vector<std::int64_t> restartsNanoSec;

private:
    TestClock const& clock_;
    std::int64_t const firstNanoSec_;
    std::int64_t startNanoSec_;
    Listening::Samples const sound_;
    std::int64_t skipped_ = 0;
    std::uint32_t given_ = 0;
};

} // namespace AudioHost
