#pragma once

#include <atomic>
#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <memory>
#include <utility>

#include "kovra/time.h"
#include "mediacore/frame.h"
#include "pipeline/export.h"
#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinestate.h"

namespace Media {

/// The frames that a job carries, at most one of each type.
class MEDIAPIPELINE_API PipelineRegisters {
public:
    void set(std::shared_ptr<FrameAudRaw> frame) { raw_ = std::move(frame); }
    void set(std::shared_ptr<FrameAud> frame) { coded_ = std::move(frame); }

    /// Fills `frame` with the frame of that type, or leaves it as it is when the job carries none.
    void get(std::shared_ptr<FrameAudRaw>& frame) const;
    void get(std::shared_ptr<FrameAud>& frame) const;

private:
    std::shared_ptr<FrameAudRaw> raw_;
    std::shared_ptr<FrameAud> coded_;
};

/// One piece of work. **Ownership:** counted, through `boost::intrusive_ptr`.
class MEDIAPIPELINE_API PipelineJob {
public:
    PipelineJob();
    virtual ~PipelineJob();
    PipelineJob(PipelineJob const&) = delete;
    PipelineJob& operator=(PipelineJob const&) = delete;

    friend MEDIAPIPELINE_API void intrusive_ptr_add_ref(PipelineJob const* job);
    friend MEDIAPIPELINE_API void intrusive_ptr_release(PipelineJob const* job);

private:
    mutable std::atomic<std::uint32_t> references_{0};
};

MEDIAPIPELINE_API void intrusive_ptr_add_ref(PipelineJob const* job);
MEDIAPIPELINE_API void intrusive_ptr_release(PipelineJob const* job);

/// A job of one stage for one session.
///
/// **Threads:** one at a time; the pipeline hands it from its submitter to a worker.
class MEDIAPIPELINE_API PipelineStageJob : public PipelineJob {
public:
    /// What became of it; `Uncompleted` counts as a failure.
    enum class Outcome_t : int { Uncompleted = 0, Succeeded = 1, Aborted = 2 };

    explicit PipelineStageJob(boost::intrusive_ptr<PipelineState> state);
    ~PipelineStageJob() override;

    boost::intrusive_ptr<PipelineState>& State() { return state_; }
    PipelineRegisters& Registers() { return registers_; }
    /// In: nothing. Out: when the renderer expects the frame to be heard.
    Kovra::JiffyTime& GetPresentationTimestamp() { return presentationTimestamp_; }

    /// Complete the job. The first call counts, later ones are ignored.
    void Success();
    void Abort();
    Outcome_t GetOutcome() const { return outcome_; }

private:
    boost::intrusive_ptr<PipelineState> state_;
    PipelineRegisters registers_;
    Kovra::JiffyTime presentationTimestamp_;
    Outcome_t outcome_ = Outcome_t::Uncompleted;
};

/// A job for a renderer.
class MEDIAPIPELINE_API PipelineStageRenderJob : public PipelineStageJob {
public:
    PipelineStageRenderJob(boost::intrusive_ptr<PipelineState> state, IPipelineRenderer::Params_t params);
    ~PipelineStageRenderJob() override;

    /// Never null.
    IPipelineRenderer::Params_t const* Params() const { return &params_; }

private:
    IPipelineRenderer::Params_t const params_;
};

} // namespace Media
