#pragma once

#include <functional>
#include <mutex>
#include <vector>

#include "kovra/log.h"
#include "kovra/time.h"
#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinejob.h"
#include "pipeline/pipelinesessionparams.h"
#include "pipeline/pipelinestate.h"

namespace AudioHost {

/// Stands in for the renderer: presents every frame `errorMilliSec` late and logs a start at the first one.
class TestRenderer : public Media::IPipelineRenderer {
public:
    struct Rendered {
        Media::MediaCoding_t coding;
        std::int64_t timestampNanoSec;
        std::int64_t presentationNanoSec;
    };

    int Initialize() override { return status; }
    void Shutdown() override { ++shutdowns; }
    bool IsEnabled() const override { return true; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }

    void RegisterSession(Media::PipelineSessionParams_t& params,
                         boost::intrusive_ptr<Media::PipelineState>& state) override {
        if (hasOutput && params.renderAudio) {
            state = new Media::PipelineStateExclusive;
        }
    }

    void Divide(boost::intrusive_ptr<Media::PipelineStageRenderJob> const& job) override {
        Kovra::JiffyTime const asked = job->Params()->presentationTime;
        job->GetPresentationTimestamp() = asked.AddMilliSec(errorMilliSec);
        std::shared_ptr<Media::FrameAudRaw> raw;
        std::shared_ptr<Media::FrameAud> frame;
        job->Registers().get(raw);
        job->Registers().get(frame);
        Media::FrameAud const& given = raw ? *raw : *frame;
        std::lock_guard<std::mutex> const guard(lock_);
        if (rendered.empty()) {
            if (onFirstFrame) {
                onFirstFrame();
            }
            Kovra::LogExec const record(Kovra::LogLevel_t::Info, "AudioBuffer playback started");
            Kovra::LogManager::Instance()
                .GetLogger("Media.RendererAudioPlaybackBuffer", nullptr, std::string())
                ->get()
                .Push(record);
        }
        rendered.push_back({given.GetCoding(), given.GetTimestamp().NanoSec(), asked.NanoSec()});
        if (succeeds) {
            job->Success();
        }
    }

    int status = 0;
    bool hasOutput = true;
    bool succeeds = true;
    int errorMilliSec = 0;
    int shutdowns = 0;
    /// What else happens when playing begins, on a thread of the pipeline.
    std::function<void()> onFirstFrame;
    /// To be read when the pipeline has ended.
    std::vector<Rendered> rendered;

private:
    std::mutex lock_;
};

} // namespace AudioHost
