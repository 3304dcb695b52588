#include "testrecord.h"

#include "testsounds.h"

namespace AudioHost {

namespace {

constexpr std::int64_t MilliSec = 1'000'000;

} // namespace

SessionRecord MakeSession(std::string const& name) {
    SessionRecord session;
    session.name = name;
    session.description = "16-bit PCM, 48000 Hz, mono, handed over as 48 kHz mono PCM";
    session.durationNanoSec = 2000 * MilliSec;
    session.sentNanoSec = 2000 * MilliSec;
    session.framesSent = 100;
    session.jobsSucceeded = 100;
    for (int i = 0; i < 100; ++i) {
        session.points.push_back({i * 20 * MilliSec, i % 10 == 9 ? -4.0 : 1.0});
    }
    session.events.push_back({EventKind_t::Started, 3 * MilliSec, "AudioBuffer playback started"});
    for (int i = 0; i < 30; ++i) {
        session.events.push_back(
            {EventKind_t::SmallGap, (100 + i) * MilliSec, "AudioBuffer ignoring small gap (2 samples)"});
    }
    session.events.push_back(
        {EventKind_t::FrequencyChange, 1100 * MilliSec, "Adjusting audio frequency to 47960 Hz"});
    session.events.push_back(
        {EventKind_t::FrequencyChange, 1900 * MilliSec, "Adjusting audio frequency to 48000 Hz"});
    session.steps = {{3 * MilliSec, 48000}, {1100 * MilliSec, 47960}, {1900 * MilliSec, 48000}};
    return session;
}

PlayRecord MakeRecord() {
    PlayRecord record;
    // 2026-01-02 03:04:05 UTC
    record.startedAt = Kovra::SysTime(1'767'323'045LL * NanoSecPerSec);
    record.leadMilliSec = 200;
    record.sessions.push_back(MakeSession("voice.wav"));
    return record;
}

PlayRecord MakeHeardRecord() {
    PlayRecord record = MakeRecord();
    record.sessions[0].sound = MakeVoice(96000);
    record.heard = Join({Samples(24000, 0), record.sessions[0].sound, Samples(4800, 0)});
    record.comparison = CompareSounds(record.sessions[0].sound, record.heard);
    return record;
}

} // namespace AudioHost
