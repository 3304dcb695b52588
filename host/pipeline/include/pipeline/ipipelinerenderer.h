#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <string>
#include <vector>

#include "kovra/time.h"
#include "pipeline/export.h"
#include "pipeline/ipipelineinterface.h"

namespace Media {

class PipelineStageRenderJob;
class PipelineState;
struct PipelineSessionParams_t;

/// Names of processors that a renderer can run on, as a person reads them.
struct RendererHardwareDevices {
    std::vector<std::string> names;
};

/// A component that brings frames to a person's ears or eyes. The order of the virtual operations is part of
/// the binary interface.
///
/// **Threads:** `Divide` from any worker thread; for one session never two at a time.
class MEDIAPIPELINE_API IPipelineRenderer : public IPipelineInterface {
public:
    /// What a job asks of its renderer.
    struct Params_t {
        /// What a renderer renders.
        enum Type_t : int { Audio = 0, Video = 1 };
        /// By what means: the system's own.
        enum SubType_t : int { System = 0 };

        /// When the frame's first sample shall be heard.
        Kovra::JiffyTime presentationTime;
    };

    ~IPipelineRenderer() override;

    virtual Params_t::Type_t GetType() const = 0;
    virtual Params_t::SubType_t GetSubType() const = 0;

    /// Puts a new state for a session into `state`, or leaves it as it was when the renderer takes no part in
    /// the session.
    virtual void RegisterSession(PipelineSessionParams_t& params,
                                 boost::intrusive_ptr<PipelineState>& state) = 0;

    /// Renders the frame that `job` carries, then completes the job (`Success`, `Abort`) or leaves it
    /// uncompleted, which counts as a failure.
    virtual void Divide(boost::intrusive_ptr<PipelineStageRenderJob> const& job) = 0;

    /// Adds nothing unless overridden.
    virtual void GetHardwareDevices(RendererHardwareDevices& devices) const;
};

} // namespace Media
