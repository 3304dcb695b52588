#include "scenario.h"

#include <sanitizer/common_interface_defs.h>
#include <sched.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>

#include "explorer.h"

// Rings of half a megabyte come and go: no more than those of some runs are kept back to tell their use after
// their end.
extern "C" char const* __asan_default_options();
extern "C" char const* __asan_default_options() {
    return "quarantine_size_mb=8";
}

namespace Schedules {

namespace {

/// From the third preemption on a bound is left out when it takes more.
constexpr std::uint64_t RunLimit = 100'000;
/// Schedules of priorities in a sample.
constexpr std::uint64_t SampleRuns = 100;

/// Each with a schedule that has led to it.
std::map<std::string, std::string>& EndStates() {
    static std::map<std::string, std::string> states;
    return states;
}

char const* Setting(char const* name) {
    char const* const text = std::getenv(name);
    return text == nullptr ? "" : text;
}

bool DoesRunAll() {
    return Setting("RENDERERAUDIO_SCHEDULES") == std::string("all");
}

/// The name of the scenario that runs.
std::string running;

std::string HowToReplay(std::string const& schedule) {
    return "again with RENDERERAUDIO_SCHEDULES_REPLAY=\"" + schedule + "\" and --gtest_filter='*." + running +
           "'\n";
}

void TellHowToReplay() {
    std::fputs(HowToReplay(Scheduler::Get().GetSchedule().ToText()).c_str(), stderr);
}

/// Where the program ends without this one's doing.
void TellHowToReplayAtTheEnd() {
    __sanitizer_set_death_callback(TellHowToReplay);
    std::signal(SIGABRT, [](int) { TellHowToReplay(); });
}

/// Threads that hand on to each other do so in a third of the time on one processor. Two shards of the tests
/// (GTEST_TOTAL_SHARDS) take two.
void StayOnOneProcessor() {
    cpu_set_t all;
    CPU_ZERO(&all);
    sched_getaffinity(0, sizeof(all), &all);
    std::vector<int> processors;
    for (int i = 0; i < CPU_SETSIZE; ++i) {
        if (CPU_ISSET(i, &all)) {
            processors.push_back(i);
        }
    }
    std::string const shard = Setting("GTEST_SHARD_INDEX");
    auto const number = static_cast<std::size_t>(shard.empty() ? getpid() : std::stoi(shard));
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(processors[number % processors.size()], &one);
    sched_setaffinity(0, sizeof(one), &one);
}

/// The rows of the table in docs/architecture.md whose first cell is `name`: their second cells.
std::set<std::string> StatesListedFor(std::string const& name) {
    std::set<std::string> states;
    std::ifstream file(ARCHITECTURE_DOCUMENT);
    std::string const start = "| " + name + " | ";
    for (std::string line; std::getline(file, line);) {
        if (line.compare(0, start.size(), start) == 0) {
            states.insert(line.substr(start.size(), line.find(" |", start.size()) - start.size()));
        }
    }
    return states;
}

/// The scenario cannot be torn down where a run has stopped half-way: the program ends.
void EndOn(std::string const& finding) {
    if (!finding.empty()) {
        std::fprintf(stderr, "%s: %s\n", running.c_str(), finding.c_str());
        TellHowToReplay();
        std::fflush(stderr);
        std::_Exit(1);
    }
}

void ExpectEndStatesAmong(std::set<std::string> const& listed) {
    EXPECT_FALSE(EndStates().empty()) << running << " tells no way in which it ends";
    for (auto const& [state, schedule] : EndStates()) {
        EXPECT_EQ(listed.count(state), 1U)
            << "docs/architecture.md does not list, for " << running << ": " << state << '\n'
            << HowToReplay(schedule);
    }
}

/// A schedule must lead the same way each time, or nothing that is found can be found again.
void ExpectSameWayTwice(Schedule const& schedule, std::function<void()> const& body) {
    Run const first = Scheduler::Get().Execute(schedule, body);
    EndOn(first.finding);
    Run const second = Scheduler::Get().Execute(schedule, body);
    EndOn(second.finding);
    EndOn(first.trace == second.trace ? "" : "the same schedule leads another way");
}

void Note(char const* what, std::uint64_t number) {
    ::testing::Test::RecordProperty(what, std::to_string(number));
}

void Explore(std::function<void()> const& body) {
    Explorer explorer(body);
    Exploration const all = DoesRunAll() ? explorer.RunAll(3, 3, RunLimit) : explorer.RunAll(1);
    EndOn(all.finding);
    std::uint64_t orders = 1;
    for (int i = 2; i <= __builtin_popcount(all.threads); ++i) {
        orders *= static_cast<std::uint64_t>(i);
    }
    std::uint64_t const schedules = orders * all.steps * (all.steps - 1) / 2;
    std::uint64_t const oneOf = DoesRunAll() ? 1 : 1 + schedules / SampleRuns;
    Exploration const priorities = explorer.RunPriorities(all.threads, all.steps, oneOf);
    EndOn(priorities.finding);
    Note("preemptions", static_cast<std::uint64_t>(all.completeBound));
    Note("runs", all.runs);
    Note("points", all.steps);
    Note("priority_runs", priorities.runs);
    if (DoesRunAll()) {
        std::printf(
            "%s: %u points, %llu runs with up to %d preemptions, %llu of priorities, %zu end states\n",
            running.c_str(), all.steps, static_cast<unsigned long long>(all.runs), all.completeBound,
            static_cast<unsigned long long>(priorities.runs), EndStates().size());
        std::fflush(stdout);
    }
}

} // namespace

void EndsIn(std::string const& state) {
    if (EndStates().count(state) == 0) {
        EndStates().emplace(state, Scheduler::Get().GetSchedule().ToText());
    }
}

void ExpectOnAllSchedules(std::string const& name, std::function<void()> const& body) {
    [[maybe_unused]] static bool const isBound = [] {
        StayOnOneProcessor();
        return true;
    }();
    EndStates().clear();
    running = name;
    TellHowToReplayAtTheEnd();
    auto const listed = StatesListedFor(name);
    char const* const replay = std::getenv("RENDERERAUDIO_SCHEDULES_REPLAY");
    if (replay != nullptr) {
        ExpectSameWayTwice(Schedule::Parse(replay), body);
        ExpectEndStatesAmong(listed);
        return;
    }
    // The first one sets up what is set up once in a program.
    EndOn(Scheduler::Get().Execute({}, body).finding);
    ExpectSameWayTwice({}, body);
    Explore(body);

    ExpectEndStatesAmong(listed);
    for (auto const& state : listed) {
        EXPECT_TRUE(EndStates().count(state) == 1 || !DoesRunAll())
            << "never seen, yet listed for " << name << ": " << state;
    }
}

// --- the stage

Stage::Stage() {
    world.Device().SetRingCheck(false);
    Pipeline::SetAudioRenderer(renderer.get());
}

Stage::~Stage() {
    Pipeline::SetAudioRenderer(nullptr);
}

void Stage::Open() {
    Expect(renderer->Initialize() == 0, "the renderer opens");
    Scheduler::Get().Settle();
    device_ = &UnitTest::DeviceOf(*renderer);
}

void Stage::ExpectRegistered(std::size_t buffers) {
    auto& fields = RendererAudioPlaybackDevicePeer::GetFields(Device());
    std::size_t const registered = fields.registry.GetBuffers(boost::mutex::scoped_lock(fields.lock)).size();
    Expect(registered == buffers + 1, "each sound buffer is registered once");
    Expect(fields.registry.GetEvents()->size() == buffers + 1, "each registered buffer has an event");
    Expect(world.LiveBuffers().size() == buffers, "DirectSound has the registered buffers");
    for (auto const event : *fields.registry.GetEvents()) {
        Expect(world.EventNumber(event) != 0, "registered events are events");
    }
}

void Session::ExpectServiced() {
    constexpr std::uint32_t Mark = UINT32_MAX;
    Fields().lastServicedWritePos = Mark;
    SetEvent(Event());
    Scheduler::Get().Settle();
    Expect(!stage_.world.IsSignalled(Event()), "the playback thread waits for the event of every buffer");
    Expect(Fields().lastServicedWritePos != Mark, "the playback thread services the buffer of the event");
}

bool Session::Render(std::int16_t value, std::uint32_t frequencyHz) {
    auto const samples = static_cast<std::size_t>(frequencyHz / 50);
    auto const frame =
        UnitTest::RawFrame(timestampNanoSec, std::vector<std::int16_t>(samples, value), frequencyHz);
    timestampNanoSec += Facts::FrameNanoSec;
    auto const job = UnitTest::RenderJob(state_, frame, UnitTest::InMilliSec(LeadMilliSec));
    stage_.renderer->Divide(job);
    return job->GetOutcome() == UnitTest::Outcome_t::Succeeded;
}

void Session::SetClient(float volume, float balance) {
    PipelineClientState_t client;
    client.volume = volume;
    client.balance = balance;
    state_->SetClientState(client);
    state_->UpdateClientState();
}

} // namespace Schedules
