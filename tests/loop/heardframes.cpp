#include "heardframes.h"

#include <algorithm>

namespace ClosedLoop {

std::int16_t HeardFrames::ValueOf(std::int64_t number) {
    return static_cast<std::int16_t>(number % ValueCount + 1);
}

void HeardFrames::Expect(std::int64_t number, std::int64_t presentationNanoSec) {
    presentations_[static_cast<std::size_t>(number) % PendingCount] = presentationNanoSec;
}

void HeardFrames::Hear(Simulation::HeardRun const& run, std::uint64_t index, std::int16_t const* samples,
                       std::size_t frames) {
    if (index == 0) {
        ++runCount_;
    }
    sampleCount_ += frames;
    std::int16_t const* const end = samples + frames;
    std::int16_t const* sample = samples;
    for (;;) {
        std::int16_t const lastValue = lastValue_;
        sample = std::find_if(sample, end, [lastValue](std::int16_t value) { return value != lastValue; });
        if (sample == end) {
            return;
        }
        HearValue(*sample, run, index + static_cast<std::uint64_t>(sample - samples));
    }
}

void HeardFrames::HearValue(std::int16_t value, Simulation::HeardRun const& run, std::uint64_t index) {
    std::int64_t const heardNanoSec = run.TimeOf(index);
    lastValue_ = value;
    Digest(static_cast<std::uint64_t>(heardNanoSec - originNanoSec_));
    Digest(static_cast<std::uint64_t>(value));
    if (value == 0) {
        silenceCount_ += lastNumber_ >= 0 ? 1 : 0;
        return;
    }
    std::int64_t const steps = ((value - 1 - lastNumber_) % ValueCount + ValueCount) % ValueCount;
    if (lastNumber_ >= 0 && (steps == 0 || steps > ValueCount / 2)) {
        ++staleCount_;
        return;
    }
    lastNumber_ += steps;
    ++frameCount_;
    listener_(lastNumber_, presentations_[static_cast<std::size_t>(lastNumber_) % PendingCount],
              heardNanoSec);
}

void HeardFrames::Digest(std::uint64_t number) {
    // FNV-1a on whole words.
    constexpr std::uint64_t Prime = 0x100000001B3;
    digest_ = (digest_ ^ number) * Prime;
}

} // namespace ClosedLoop
