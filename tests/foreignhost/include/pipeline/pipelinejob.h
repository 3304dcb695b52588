#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <memory>

#include "harbour/counted.h"
#include "kovra/time.h"
#include "mediacore/frame.h"
#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinestate.h"

namespace Media {

class HARBOUR_API PipelineRegisters {
public:
    /// Only a frame of the very type that is asked for.
    void get(std::shared_ptr<FrameAudRaw>& frame) const;
    void get(std::shared_ptr<FrameAud>& frame) const;

private:
    friend struct Harbour::JobAccess;

    std::shared_ptr<FrameAud> frame_;
};

class HARBOUR_API PipelineStageRenderJob final : public Harbour::Counted {
public:
    PipelineRegisters const& Registers() const { return registers_; }
    boost::intrusive_ptr<PipelineState> State() const { return state_; }
    IPipelineRenderer::Params_t const* Params() const { return &params_; }
    Kovra::JiffyTime& GetPresentationTimestamp() { return achieved_; }
    void Success() { ++successes_; }
    void Abort() { ++aborts_; }

private:
    friend struct Harbour::JobAccess;

    int successes_ = 0;
    int aborts_ = 0;
    IPipelineRenderer::Params_t params_;
    Kovra::JiffyTime achieved_;
    PipelineRegisters registers_;
    boost::intrusive_ptr<PipelineState> state_;
};

} // namespace Media
