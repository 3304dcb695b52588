#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <utility>

#include "files/outputfile.h"
#include "listening/tests/testsounds.h"
#include "page/facts.h"
#include "page/reportpage.h"
#include "report/capturereport.h"
#include "report/playbackreport.h"
#include "support/testcapturelog.h"
#include "support/testplaybacklog.h"
#include "verdict/report.h"
#include "verdict/verdict.h"

// Writes a report of each kind from a run made by hand, for the browser suite.

namespace AudioHost {
namespace {

using Listening::NanoSecPerMilliSec;
using Listening::NanoSecPerSec;

std::vector<Fact> SampleFacts() {
    std::vector<Fact> facts = DescribeProgram("audiohost", {"play", "my voice.wav", "--lead", "200"});
    facts.emplace_back("Machine", "a simulated one");
    return facts;
}

/// Errors that wander, with single frames far out of time; every number tells its place. So many `frames`, as
/// a day of all would take long to make.
SessionLog MakeLongSession(std::string const& name, std::int64_t seconds, int seed, std::int64_t frames) {
    SessionLog session = MakeSession(name);
    session.points.clear();
    session.steps.clear();
    session.events.clear();
    session.durationNanoSec = session.sentNanoSec = seconds * NanoSecPerSec;
    session.framesSent = session.jobsSucceeded = static_cast<std::uint64_t>(frames);
    std::uint32_t random = static_cast<std::uint32_t>(seed) * 2654435761U + 1U;
    for (std::int64_t i = 0; i < frames; ++i) {
        random = random * 1664525U + 1013904223U;
        double const noise = static_cast<double>(random >> 16U) / 65536.0;
        std::int64_t const time = i * (seconds * NanoSecPerSec / frames);
        bool const isOut = i % 30'011 == 17'000;
        session.points.push_back({time + 100'000, isOut ? 38.25 : 3.0 * noise - 1.5, 12.0 + 80.0 * noise});
        session.handOvers.push_back({time, noise * noise * 4.0});
        if (i % 97 == 3) {
            session.events.push_back(
                {EventKind_t::SmallGap, time, "AudioBuffer ignoring small gap (2 samples)"});
        }
        if (i % 1'500 == 700) {
            std::uint32_t const hz = i % 3'000 < 1'500 ? 47'960 : 48'000;
            session.steps.push_back({time, hz});
            session.events.push_back({EventKind_t::FrequencyChange, time,
                                      "Adjusting audio frequency to " + std::to_string(hz) + " Hz"});
        }
        if (isOut) {
            session.events.push_back(
                {EventKind_t::DriftReset, time, "AudioBuffer timestamp drift too high, resetting"});
        }
    }
    return session;
}

PlaybackLog MakeLongLog(std::int64_t seconds, int sessions, std::int64_t frames) {
    PlaybackLog log = MakeLog();
    log.facts = SampleFacts();
    log.sessions.clear();
    for (int i = 0; i < sessions; ++i) {
        log.sessions.push_back(MakeLongSession("file " + std::to_string(i + 1) + ".wav", seconds, i, frames));
    }
    log.output.isWatched = true;
    return log;
}

/// All that a page shows, with something wrong.
PlaybackLog MakePlayLog() {
    PlaybackLog log = MakeHeardLog();
    log.facts = SampleFacts();
    log.sessions[0].name = "voice.wav";
    log.sessions.push_back(MakeSession("second.mp3"));
    for (SessionLog& session : log.sessions) {
        for (PresentationPoint& point : session.points) {
            point.renderMicroSec = 40.0;
            session.handOvers.push_back({point.timeNanoSec, 0.5});
        }
    }
    // Found by its place and value: 31.25 ms at 1 s.
    log.sessions[0].points[50].errorMilliSec = 31.25;
    log.sessions[1].events.push_back({EventKind_t::LateStop, 1'500 * NanoSecPerMilliSec,
                                      "AudioBuffer presentation requested in the past"});
    log.output.isWatched = true;
    return log;
}

/// Texts as files and devices may bring them.
PlaybackLog MakeHostileLog() {
    PlaybackLog log = MakePlayLog();
    std::string const name =
        "</script><script>document.title='taken'</script><!--\"'&\x01\x1b[31m\xff\xfe.wav";
    log.sessions[0].name = name;
    log.sessions[0].description = name;
    log.sessions[0].events.push_back({EventKind_t::PacketLoss, 10 * NanoSecPerMilliSec, name});
    log.facts.emplace_back(name, name);
    return log;
}

CaptureLog MakeRecordLog() {
    CaptureLog log = MakeCheckedLog();
    log.facts = SampleFacts();
    for (std::size_t i = 0; i < log.slots.size(); ++i) {
        log.slots[i].behindNanoSec = (i < 5 ? 20 : 60) * NanoSecPerMilliSec;
    }
    log.losses = {{NanoSecPerSec, 2, true}};
    return log;
}

/// An hour with its sound as it comes: the sound itself goes beside the page.
PlaybackLog MakeHourLog() {
    PlaybackLog log = MakeLongLog(3600, 2, 180'000);
    Listening::Samples const voice = Listening::MakeVoice(48'000 * 10);
    for (int i = 0; i < 13; ++i) {
        log.sessions[0].sound.insert(log.sessions[0].sound.end(), voice.begin(), voice.end());
    }
    return log;
}

/// A minute of 16 sessions, one of which breaks.
std::string FormatSoak() {
    Soak::Options options;
    options.sessions = 16;
    options.seconds = 60.0;
    Soak::RunRecord record;
    record.startedAt = MakeLog().startedAt;
    record.facts = SampleFacts();
    record.frames = 3000;
    record.originSample = 48'000;
    record.endSample = 48'000 * 70;
    Soak::Told& told = record.told;
    for (int i = 0; i < 48'000; ++i) {
        double const wander = static_cast<double>(i * 7919 % 1000) / 1000.0;
        double const seconds = static_cast<double>(i) / 800.0;
        ++told.jobs;
        ++told.succeeded;
        told.errorMilliSec.Add(4.0 * wander - 2.0);
        told.errorCourse.Add(seconds, 4.0 * wander - 2.0);
        told.renderMicroSec.Add(20.0 + 30.0 * wander);
        told.renderCourse.Add(seconds, 20.0 + 30.0 * wander);
        told.feederMilliSec.Add(wander * wander);
        told.feederCourse.Add(seconds, wander * wander);
    }
    Soak::ProcessFigures figures;
    figures.handles = 86;
    figures.threads = 11;
    figures.workingSetBytes = 81'200'000;
    record.moments = {{10.0, figures}, {60.0, figures}};
    record.idleStopsInSilence = 16;
    record.events = {{Soak::SessionEvent::Kind_t::Frequency, 3, record.originTime.AddMilliSec(20'000)}};
    Soak::Findings findings;
    findings.bursts.expected = findings.bursts.found = 900;
    findings.faults.own = {{4, 1'500, 2, 0.4F, 0.2F}};
    Listening::Samples const heard = Listening::MakeVoice(48'000 * 10);
    return FormatReportPage(
        Soak::DescribeRun(options, record, findings, Soak::ListFailures(options, record, findings), heard));
}

std::string FormatEmptySoak() {
    Soak::Options options;
    options.sessions = 1;
    return FormatReportPage(Soak::DescribeRun(options, {}, {}, {}, {}));
}

int Main(std::string const& folder) {
    std::filesystem::create_directories(folder);
    auto const write = [&folder](std::string const& name, Report const& report) {
        WriteReport(folder + "/" + name + ".html", report, std::cout);
    };
    write("empty", FormatReport(PlaybackLog()));
    write("play", FormatReport(MakePlayLog()));
    write("hostile", FormatReport(MakeHostileLog()));
    write("record", FormatReport(MakeRecordLog()));
    write("empty-record", FormatReport(CaptureLog()));
    write("hour", FormatReport(MakeHourLog()));
    write("day", FormatReport(MakeLongLog(86'400, 1, 432'000)));
    write("soak", {FormatSoak(), {}});
    write("empty-soak", {FormatEmptySoak(), {}});
    write("many", FormatReport(MakeLongLog(60, 63, 3'000)));
    return 0;
}

} // namespace
} // namespace AudioHost

int main(int count, char** arguments) {
    if (count != 2) {
        std::fputs("usage: report_samples FOLDER\n", stderr);
        return 2;
    }
    return AudioHost::Main(arguments[1]);
}
