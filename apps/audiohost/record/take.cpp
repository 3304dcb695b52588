#include "record/take.h"

#include <chrono>
#include <future>
#include <utility>

#include "kovra/thread.h"
#include "terminal/atend.h"
#include "terminal/progressline.h"

namespace AudioHost {

namespace {

struct Ending {
    bool isComplete = false;
    std::optional<HostError> error;
};

/// Reads on a thread of its own, since writing to a slow terminal may take its time.
Ending TakeWithProgress(CaptureLoop& loop, CaptureLogKeeper const& keeper, std::int64_t limitSamples,
                        Surroundings const& surroundings, Kovra::JiffyTime start) {
    std::future<bool> isComplete = std::async(std::launch::async, [&] {
        Kovra::SetThreadName("AudioHost.Recorder");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        return loop.Run(start, limitSamples);
    });
    ProgressLine line(surroundings);
    std::chrono::milliseconds const interval(line.GetIntervalMilliSec());
    while (isComplete.wait_for(interval) != std::future_status::ready) {
        line.Show(FormatCaptureProgress(keeper.GetProgress()));
    }
    line.End();
    try {
        return {isComplete.get(), std::nullopt};
    } catch (HostError const& error) {
        return {false, error};
    }
}

} // namespace

std::shared_ptr<Microphone> OpenMicrophone(CaptureAccess& capture) {
    std::shared_ptr<Microphone> microphone = capture.Open();
    if (!microphone) {
        throw HostError(ExitCode_t::NoInput, "there is no microphone, or it cannot be opened.");
    }
    return microphone;
}

Take TakeSound(Surroundings const& surroundings, CaptureAccess& capture, bool keepsSound,
               std::int64_t limitSamples, CaptureLoop::Sink sink) {
    // A machine without an output still has its microphone.
    surroundings.renderer.Initialize();
    AtEnd const close([&] { surroundings.renderer.Shutdown(); });
    std::shared_ptr<Microphone> const microphone = OpenMicrophone(capture);
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    CaptureLogKeeper keeper(keepsSound);
    keeper.SetStart(start);
    CaptureLoop loop(*microphone, keeper, surroundings.stop, std::move(sink));
    Ending const ending = TakeWithProgress(loop, keeper, limitSamples, surroundings, start);
    Take take{keeper.Take(), ending.error};
    take.log.isInterrupted = !ending.isComplete && !ending.error;
    take.log.failure = ending.error ? ending.error->what() : "";
    return take;
}

} // namespace AudioHost
