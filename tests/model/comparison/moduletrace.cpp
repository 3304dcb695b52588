#include "model/comparison/moduletrace.h"

#include <algorithm>

#include "kovra/log.h"

namespace ModelTest {

namespace {

using Simulation::CallSet;

/// Calls whose result is no status.
bool IsCounting(Call_t call) {
    return call == Call_t::Win32CreateEvent || call == Call_t::Win32SetEvent ||
           call == Call_t::Win32CloseHandle || call == Call_t::BufferRelease ||
           call == Call_t::NotifyRelease || call == Call_t::CaptureBufferRelease;
}

/// What may be planned to fail. A failed Unlock would leave the simulation's lock open for ever.
bool CanFail(Call_t call) {
    return !IsCounting(call) && call != Call_t::BufferUnlock && call != Call_t::CaptureBufferUnlock;
}

/// All calls but those in which the module only holds a device's object for a while.
CallSet const& ComparedCalls() {
    static CallSet const calls = CallSet::All() - CallSet{Call_t::SoundAddRef, Call_t::SoundRelease,
                                                          Call_t::CaptureAddRef, Call_t::CaptureRelease};
    return calls;
}

CallLine LineOf(Simulation::CallRecord const& record) {
    CallLine line;
    line.call = record.call;
    line.object = record.object;
    if (line.call != Call_t::Win32CreateEvent) {
        line.arguments = record.arguments;
    }
    line.result = IsCounting(line.call) ? 0 : static_cast<std::uint32_t>(record.result);
    return line;
}

template <class Line>
void CompareLines(char const* what, std::vector<Line> const& actual, std::vector<Line> const& expected,
                  Difference& difference) {
    if (actual == expected) {
        return;
    }
    std::size_t i = 0;
    while (i < actual.size() && i < expected.size() && actual[i] == expected[i]) {
        ++i;
    }
    difference.Report(std::string(what) + " " + std::to_string(i + 1),
                      i < actual.size() ? actual[i].Text() : "none",
                      i < expected.size() ? expected[i].Text() : "none");
}

} // namespace

ModuleTrace::ModuleTrace(Simulation::World& world) : world_(world) {
    world_.Journal().Enable();
    Kovra::LogManager::Instance().SetObserver([this](Kovra::LogRecord const& record) {
        logs_.push_back({record.channel, static_cast<int>(record.level), record.message, record.function});
    });
}

ModuleTrace::~ModuleTrace() {
    Kovra::LogManager::Instance().SetObserver({});
}

void ModuleTrace::Clear() {
    world_.Journal().Clear();
    codec.decodeCalls.clear();
    codec.transcodeCalls.clear();
}

std::vector<Fault> ModuleTrace::Plan(std::vector<Fault> const& faults) {
    std::vector<Fault> planned;
    for (Fault const& fault : faults) {
        if (CanFail(fault.call) && fault.nth != 0 && HasFailed(fault.result)) {
            planned.push_back(fault);
            world_.Faults().Fail(fault.call, fault.nth, fault.result);
        }
    }
    return planned;
}

void ModuleTrace::Compare(Trace const& expected, Difference& difference) {
    std::vector<CallLine> calls;
    for (Simulation::CallRecord const& record : world_.Journal().Records(ComparedCalls())) {
        calls.push_back(LineOf(record));
    }
    CompareLines("call", calls, expected.calls, difference);
    std::vector<CodecLine> asked(codec.decodeCalls.size());
    for (UnitTest::TranscodeRequest const& request : codec.transcodeCalls) {
        asked.push_back({true, static_cast<std::uint32_t>(request.coding), request.channels,
                         request.frequency, request.durationNanoSec, request.flush});
    }
    CompareLines("codec request", asked, expected.codec, difference);
    expectedLogs_.insert(expectedLogs_.end(), expected.logs.begin(), expected.logs.end());
}

void ModuleTrace::CompareLogs(Difference& difference) {
    Kovra::LogManager::Instance().Flush();
    CompareLines("log record since logs were compared", logs_, expectedLogs_, difference);
    logs_.clear();
    expectedLogs_.clear();
}

} // namespace ModelTest
