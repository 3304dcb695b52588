#include "stage.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "kovra/log.h"

namespace SystemTest {

namespace {

constexpr std::size_t Workers = 2;

Media::Pipeline::SessionId_t OpenSession(Media::Pipeline& pipeline) {
    auto const id = pipeline.OpenSession({});
    if (id == Media::Pipeline::InvalidSession) {
        throw std::runtime_error("the renderer gives a session no state: is there no sound output?");
    }
    return id;
}

} // namespace

Stage::Stage()
    : pipeline_(renderer_, Workers, [this](Media::Pipeline::Report_t const& report) {
          std::lock_guard<std::mutex> const guard(lock_);
          reports_.push_back(report);
      }) {
    int const status = renderer_.Initialize();
    if (status != 0) {
        throw std::runtime_error("the renderer cannot be initialised, status " + std::to_string(status));
    }
    Media::Pipeline::SetAudioRenderer(&renderer_);
    Kovra::LogManager::Instance().SetObserver([this](Kovra::LogRecord const& record) {
        std::lock_guard<std::mutex> const guard(lock_);
        log_.push_back(record.message);
    });
}

Stage::~Stage() {
    Kovra::LogManager::Instance().SetObserver({});
    Media::Pipeline::SetAudioRenderer(nullptr);
}

HeardSound Stage::Perform(Score const& score, std::int64_t tailMilliSec) const {
    score.WaitForStart();
    std::int64_t const start = recording_.GetLength();
    score.Perform();
    recording_.WaitForLength(recording_.GetLength() + AudioHost::MilliSecToSamples(tailMilliSec));
    return recording_.ReadFrom(start);
}

std::vector<Media::Pipeline::Report_t> Stage::TakeReports() {
    pipeline_.Drain();
    std::lock_guard<std::mutex> const guard(lock_);
    return std::exchange(reports_, {});
}

std::size_t Stage::CountLogged(std::string const& part) const {
    std::lock_guard<std::mutex> const guard(lock_);
    return static_cast<std::size_t>(std::count_if(log_.begin(), log_.end(), [&part](std::string const& text) {
        return text.find(part) != std::string::npos;
    }));
}

void Stage::ForgetLog() {
    std::lock_guard<std::mutex> const guard(lock_);
    log_.clear();
}

Session::Session(Stage& stage) : pipeline_(stage.GetPipeline()), id_(OpenSession(pipeline_)) {}

Session::~Session() {
    pipeline_.CloseSession(id_);
}

void Session::Play(Score& score, Stream const& frames, std::int64_t startMilliSec,
                   std::int64_t leadMilliSec) const {
    for (StreamFrame const& next : frames) {
        std::int64_t const submission = startMilliSec * NanoSecPerMilliSec + next.positionNanoSec;
        Kovra::JiffyTime const presentation =
            score.GetInstant(submission + leadMilliSec * NanoSecPerMilliSec);
        score.At(submission,
                 [this, frame = next.frame, presentation] { pipeline_.Submit(id_, frame, presentation); });
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
