#include "stage.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "ears/pilotsound.h"

namespace SystemTest {

namespace {

constexpr std::size_t Workers = 2;

constexpr std::int64_t WarmUpMilliSec = 1000;
constexpr int MaxWarmUps = 30;
/// How often the recording's clock is compared with the machine's.
constexpr std::int64_t ReadingSamples = Listening::MilliSecToSamples(100);

constexpr char const* StartedText = "AudioBuffer playback started";
constexpr char const* StoppedText = "AudioBuffer presentation requested in the past";
constexpr char const* MovedText = "AudioBuffer timestamp drift too high";

Media::Pipeline::SessionId_t OpenSession(Media::Pipeline& pipeline) {
    auto const id = pipeline.OpenSession({});
    if (id == Media::Pipeline::InvalidSession) {
        throw std::runtime_error("the renderer gives a session no state: is there no sound output?");
    }
    return id;
}

/// The recording's sample that is recorded at `instant`; an earlier one when the recorder is late now, never
/// a later one.
std::int64_t FindSampleOf(Kovra::JiffyTime instant, TestSupport::Recording const& recording) {
    std::int64_t const length = recording.GetLength();
    return length - Listening::NanoSecToSamples(Kovra::JiffyTime::Now().GetDiffSysTime(instant).NanoSec());
}

void WarmUp(TestSupport::Recording const& recording) {
    std::int64_t const second = Listening::MilliSecToSamples(WarmUpMilliSec);
    bool isHeard = false;
    for (int tries = 0; tries < MaxWarmUps; ++tries) {
        std::int64_t const end = recording.GetLength() + second;
        recording.WaitForLength(end);
        Listening::Samples const heard = recording.ReadFrom(end - second).right;
        if (FindOutages(heard).empty()) {
            return;
        }
        isHeard = isHeard || std::any_of(heard.begin(), heard.end(), [](int sample) { return sample != 0; });
    }
    if (!isHeard) {
        throw std::runtime_error("in " + std::to_string(MaxWarmUps) +
                                 " s nothing of the pilot was heard: there is no sound output");
    }
}

} // namespace

Stage::Stage()
    : pipeline_(renderer_, Workers, [this](Media::Pipeline::Report_t const& report) { NoteReport(report); }) {
    // First what may throw: what is set behind it points here and is taken back by the destructor alone.
    WarmUp(recording_);
    int const status = renderer_.Initialize();
    if (status != 0) {
        throw std::runtime_error("the renderer cannot be initialised, status " + std::to_string(status));
    }
    Media::Pipeline::SetAudioRenderer(&renderer_);
    Kovra::LogManager::Instance().SetObserver([this](Kovra::LogRecord const& record) { NoteRecord(record); });
}

Stage::~Stage() {
    Kovra::LogManager::Instance().SetObserver({});
    Media::Pipeline::SetAudioRenderer(nullptr);
}

Take Stage::Perform(Score const& score, std::int64_t tailMilliSec) {
    Kovra::LogManager::Instance().Flush();
    {
        std::lock_guard<std::mutex> const guard(lock_);
        events_.clear();
        lateFrames_.clear();
        jobs_.clear();
    }
    score.WaitForStart();
    // The latest of many, of which the recorder was in time for some.
    std::int64_t start = FindSampleOf(score.GetStart(), recording_);
    score.Perform();
    std::int64_t const end = recording_.GetLength() + Listening::MilliSecToSamples(tailMilliSec);
    do {
        start = std::max(start, FindSampleOf(score.GetStart(), recording_));
        recording_.WaitForLength(std::min(end, recording_.GetLength() + ReadingSamples));
    } while (recording_.GetLength() < end);
    pipeline_.Drain();
    Kovra::LogManager::Instance().Flush();

    Take take;
    take.heard = recording_.ReadFrom(start);
    take.disturbances = FindOutages(take.heard.right);
    std::lock_guard<std::mutex> const guard(lock_);
    // A stop for a presentation that has not passed even at the job's end, or would not have passed without
    // the module's own slowness, is its own.
    events_.erase(std::remove_if(events_.begin(), events_.end(),
                                 [this](SessionEvent const& event) {
                                     return event.kind == SessionEvent::Kind_t::Stopped && !IsExcused(event);
                                 }),
                  events_.end());
    std::vector<TestSupport::Disturbance> const ofSessions =
        PlaceEvents(events_, score.GetStart(), take.disturbances);
    take.disturbances.insert(take.disturbances.end(), ofSessions.begin(), ofSessions.end());
    take.lateFrames = lateFrames_;
    return take;
}

void Stage::NoteReport(Media::Pipeline::Report_t const& report) {
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::lock_guard<std::mutex> const guard(lock_);
    reports_.push_back(report);
    Kovra::JiffyTime const begun(now.NanoSec() - report.renderNanoSec);
    bool const isLate = handOvers_.Finish(report.session, report.requested, begun, report.renderNanoSec);
    if (isLate) {
        events_.push_back({SessionEvent::Kind_t::LateFrame, report.session, begun});
        lateFrames_.push_back({report.session, report.jobNumber});
    }
    jobs_.push_back({report.session, now, isLate && report.requested < now});
}

bool Stage::IsExcused(SessionEvent const& event) const {
    // A session's jobs come one after the other: its event lies in the first that ended behind it.
    auto const job = std::find_if(jobs_.begin(), jobs_.end(), [&event](DoneJob const& done) {
        return done.session == event.session && !(done.end < event.time);
    });
    return job != jobs_.end() && job->isExcused;
}

void Stage::NoteRecord(Kovra::LogRecord const& record) {
    auto const begins = [&record](char const* text) { return record.message.rfind(text, 0) == 0; };
    auto const note = [&](SessionEvent::Kind_t kind) {
        events_.push_back({kind, static_cast<std::size_t>(record.subject), record.time});
    };
    std::lock_guard<std::mutex> const guard(lock_);
    log_.push_back(record.message);
    if (begins(StartedText)) {
        note(SessionEvent::Kind_t::Started);
    } else if (begins(StoppedText)) {
        note(SessionEvent::Kind_t::Stopped);
    } else if (begins(MovedText)) {
        note(SessionEvent::Kind_t::Moved);
    }
}

void Stage::NoteHandOver(Media::Pipeline::SessionId_t session) {
    std::lock_guard<std::mutex> const guard(lock_);
    handOvers_.Add(session, Kovra::JiffyTime::Now());
}

std::vector<Media::Pipeline::Report_t> Stage::TakeReports() {
    pipeline_.Drain();
    std::lock_guard<std::mutex> const guard(lock_);
    return std::exchange(reports_, {});
}

std::size_t Stage::CountLogged(std::string const& part) const {
    Kovra::LogManager::Instance().Flush();
    std::lock_guard<std::mutex> const guard(lock_);
    return static_cast<std::size_t>(std::count_if(log_.begin(), log_.end(), [&part](std::string const& text) {
        return text.find(part) != std::string::npos;
    }));
}

void Stage::ForgetLog() {
    Kovra::LogManager::Instance().Flush();
    std::lock_guard<std::mutex> const guard(lock_);
    log_.clear();
}

Session::Session(Stage& stage) : stage_(stage), pipeline_(stage.GetPipeline()), id_(OpenSession(pipeline_)) {}

Session::~Session() {
    pipeline_.CloseSession(id_);
}

void Session::Play(Score& score, Stream const& frames, std::int64_t startMilliSec,
                   std::int64_t leadMilliSec) const {
    for (StreamFrame const& next : frames) {
        std::int64_t const submission = startMilliSec * NanoSecPerMilliSec + next.positionNanoSec;
        Kovra::JiffyTime const presentation =
            score.GetInstant(submission + leadMilliSec * NanoSecPerMilliSec);
        score.At(submission, [this, frame = next.frame, presentation] {
            stage_.NoteHandOver(id_);
            pipeline_.Submit(id_, frame, presentation);
        });
    }
}

void Session::SetVolumeAndBalance(Score& score, std::int64_t atMilliSec, float volume, float balance) const {
    score.At(atMilliSec * NanoSecPerMilliSec, [this, volume, balance] {
        Media::PipelineClientState_t state;
        state.volume = volume;
        state.balance = balance;
        pipeline_.SetClientState(id_, state);
    });
}

} // namespace SystemTest
