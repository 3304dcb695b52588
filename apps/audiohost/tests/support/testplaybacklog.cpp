#include "support/testplaybacklog.h"

#include "listening/tests/testsounds.h"

namespace AudioHost {

using Listening::NanoSecPerMilliSec;

SessionLog MakeSession(std::string const& name) {
    SessionLog session;
    session.name = name;
    session.description = "16-bit PCM, 48000 Hz, mono, handed over as 48 kHz mono PCM";
    session.durationNanoSec = 2000 * NanoSecPerMilliSec;
    session.sentNanoSec = 2000 * NanoSecPerMilliSec;
    session.framesSent = 100;
    session.jobsSucceeded = 100;
    for (int i = 0; i < 100; ++i) {
        session.points.push_back({i * 20 * NanoSecPerMilliSec, i % 10 == 9 ? -4.0 : 1.0});
    }
    session.events.push_back({EventKind_t::Started, 3 * NanoSecPerMilliSec, "AudioBuffer playback started"});
    for (int i = 0; i < 30; ++i) {
        session.events.push_back({EventKind_t::SmallGap, (100 + i) * NanoSecPerMilliSec,
                                  "AudioBuffer ignoring small gap (2 samples)"});
    }
    session.events.push_back(
        {EventKind_t::FrequencyChange, 1100 * NanoSecPerMilliSec, "Adjusting audio frequency to 47960 Hz"});
    session.events.push_back(
        {EventKind_t::FrequencyChange, 1900 * NanoSecPerMilliSec, "Adjusting audio frequency to 48000 Hz"});
    session.steps = {{3 * NanoSecPerMilliSec, 48000},
                     {1100 * NanoSecPerMilliSec, 47960},
                     {1900 * NanoSecPerMilliSec, 48000}};
    return session;
}

PlaybackLog MakeLog() {
    PlaybackLog log;
    // 2026-01-02 03:04:05 UTC
    log.startedAt = Kovra::SysTime(1'767'323'045LL * Listening::NanoSecPerSec);
    log.leadMilliSec = 200;
    log.sessions.push_back(MakeSession("voice.wav"));
    return log;
}

PlaybackLog MakeHeardLog() {
    PlaybackLog log = MakeLog();
    log.sessions[0].sound = Listening::MakeVoice(96000);
    log.heard =
        Listening::Join({Listening::Samples(24000, 0), log.sessions[0].sound, Listening::Samples(4800, 0)});
    log.comparison = Listening::CompareSounds(log.sessions[0].sound, log.heard);
    return log;
}

} // namespace AudioHost
