#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "kovra/time.h"
#include "record/capturelog.h"
#include "record/microphone.h"
#include "terminal/stopsignal.h"

namespace AudioHost {

/// Reads a microphone in real time and hands its sound on.
///
/// **Threads:** one at a time.
/// **Ownership:** microphone, keeper and pacer are borrowed.
class CaptureLoop {
public:
    using Sink = std::function<void(Listening::SampleView)>;

    /// `sink` gets the sound as it comes; what it throws ends the loop and passes through.
    CaptureLoop(Microphone& microphone, CaptureLogKeeper& keeper, Pacer& pacer, Sink sink)
        : microphone_(microphone), keeper_(keeper), pacer_(pacer), sink_(std::move(sink)) {}

    /// Reads until there are `limitSamples` of sound, of which no more are handed on. False when the person
    /// asked to stop; what had come by then is handed on. A capture from which nothing has ever come is begun
    /// anew each second. Throws `HostError` (`NoInput`) when nothing comes for three seconds.
    bool Run(Kovra::JiffyTime start, std::int64_t limitSamples);

private:
    bool Read();
    void HandOn(Media::FrameAud const& frame);

    Microphone& microphone_;
    CaptureLogKeeper& keeper_;
    Pacer& pacer_;
    Sink const sink_;
    std::vector<std::shared_ptr<Media::FrameAud>> frames_;
    std::int64_t leftSamples_ = 0;
    int status_ = 0;
};

} // namespace AudioHost
