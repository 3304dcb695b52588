#include "support/testcapturelog.h"

#include "listening/tests/testsounds.h"

namespace AudioHost {

CaptureLog MakeCaptureLog() {
    CaptureLog log;
    log.name = "<out>.wav";
    // 2026-01-02 03:04:05 UTC
    log.startedAt = Kovra::SysTime(1'767'323'045LL * Listening::NanoSecPerSec);
    log.frames = 100;
    log.samples = 96000;
    log.firstNanoSec = 43'000'000;
    log.lastNanoSec = 2'020'000'000;
    log.levelDecibel = -20.0;
    log.peak = 16384;
    for (std::uint64_t i = 1; i <= 11; ++i) {
        log.slots.push_back({20'000'000, 10 * i, 0.25F});
    }
    return log;
}

CaptureLog MakeCheckedLog() {
    CaptureLog log = MakeCaptureLog();
    Listening::Samples const played = Listening::MakeVoice(72000);
    log.sound = Listening::Join({Listening::SampleView(played).Cut(48000, 24000), played});
    log.check = Listening::CheckTake(played, log.sound);
    return log;
}

} // namespace AudioHost
