#include "testcapturerecord.h"

#include "testsounds.h"

namespace AudioHost {

CaptureRecord MakeCaptureRecord() {
    CaptureRecord record;
    record.name = "<out>.wav";
    // 2026-01-02 03:04:05 UTC
    record.startedAt = Kovra::SysTime(1'767'323'045LL * NanoSecPerSec);
    record.frames = 100;
    record.samples = 96000;
    record.firstNanoSec = 43'000'000;
    record.lastNanoSec = 2'020'000'000;
    record.levelDecibel = -20.0;
    record.peak = 16384;
    for (std::uint64_t i = 1; i <= 11; ++i) {
        record.slots.push_back({20'000'000, 10 * i, 0.25F});
    }
    return record;
}

CaptureRecord MakeCheckedRecord() {
    CaptureRecord record = MakeCaptureRecord();
    Samples const played = MakeVoice(72000);
    record.sound = Join({SampleView(played).Cut(48000, 24000), played});
    record.check = CheckRecording(played, record.sound);
    return record;
}

} // namespace AudioHost
