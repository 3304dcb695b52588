#include "simulation/device/speaker.h"

#include <utility>

namespace Simulation {

std::int64_t HeardRun::TimeOf(std::uint64_t index) const {
    return clock.TimeOf(clock.Frame() + static_cast<std::int64_t>(index));
}

void Speaker::SetCallback(Callback callback) {
    isContinuing_ = false;
    runs_.clear();
    samples_.clear();
    callback_ = std::move(callback);
}

void Speaker::Begin(HeardRun run) {
    run.firstIndex = heardFrames_;
    run.frameCount = 0;
    isContinuing_ = true;
    if (callback_) {
        current_ = run;
    } else {
        runs_.push_back(run);
    }
}

void Speaker::Hear(std::int16_t const* samples, std::size_t frames) {
    heardFrames_ += frames;
    if (callback_) {
        callback_(current_, current_.frameCount, samples, frames);
        current_.frameCount += frames;
        return;
    }
    samples_.insert(samples_.end(), samples, samples + frames * channels_);
    runs_.back().frameCount += frames;
}

std::vector<std::int16_t> Speaker::Samples(HeardRun const& run) const {
    auto const begin = samples_.begin() + static_cast<std::ptrdiff_t>(run.firstIndex * channels_);
    return {begin, begin + static_cast<std::ptrdiff_t>(run.frameCount * channels_)};
}

std::optional<std::int64_t> Speaker::TimeOfValue(std::int16_t value, std::int64_t fromNanoSec) const {
    for (HeardRun const& run : runs_) {
        if (run.frameCount == 0 || run.TimeOf(run.frameCount - 1) < fromNanoSec) {
            continue;
        }
        for (std::uint64_t index = 0; index < run.frameCount; ++index) {
            if (FirstSampleOf(run.firstIndex + index) == value && run.TimeOf(index) >= fromNanoSec) {
                return run.TimeOf(index);
            }
        }
    }
    return std::nullopt;
}

std::optional<std::int16_t> Speaker::ValueAt(std::int64_t nanoSec) const {
    // A later run cuts the earlier one short.
    for (auto run = runs_.rbegin(); run != runs_.rend(); ++run) {
        if (run->frameCount == 0 || run->startNanoSec > nanoSec) {
            continue;
        }
        CursorClock clock = run->clock;
        clock.AdvanceTo(nanoSec);
        auto const index = static_cast<std::uint64_t>(clock.Frame() - run->clock.Frame());
        return index < run->frameCount ? std::optional(FirstSampleOf(run->firstIndex + index)) : std::nullopt;
    }
    return std::nullopt;
}

} // namespace Simulation
