#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

#include "gate.h"
#include "output/silentsound.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "rendereraudio/rendereraudio_c.h"

namespace Sdk {

class Capture;
class Session;

/// A renderer, a pipeline that uses it, and the silence that keeps the output running.
///
/// **Threads:** all operations from any thread; between `Close` and the end none but those that say so.
/// **Ownership:** shared by the handles' tables and by the sessions and captures, which outlive it closed.
class Engine {
public:
    /// An open one in `engine`, which is left as it is on failure. As RaOpen, with options in range.
    static RaStatus Open(RaOptions const& options, std::shared_ptr<Engine>& engine);
    ~Engine();
    Engine(Engine const&) = delete;
    Engine& operator=(Engine const&) = delete;

    /// Shut from the beginning of `Close` on: who uses the engine is inside.
    Gate& GetGate() { return gate_; }
    /// Ends all that there is. Once, by no callback.
    void Close();

    Media::Pipeline& GetPipeline() { return *pipeline_; }
    Media::RendererAudio& GetRenderer() { return renderer_; }

    /// Takes part in the engine as a session of the pipeline; a status when there is no room or no output.
    RaStatus AddSession(std::shared_ptr<Session> const& session);
    /// Ends the pipeline's session, and waits for that unless one of its workers calls.
    void EndSession(Session const& session);
    /// The engine's one capture; false when there is one.
    bool SetCapture(std::shared_ptr<Capture> const& capture);
    void EndCapture(Capture const& capture);

    void CountSubmitted();
    RaStatistics GetStatistics() const;

private:
    Engine() = default;

    void HandOn(Media::Pipeline::Report_t const& report);

    Gate gate_;
    Media::RendererAudio renderer_;
    std::unique_ptr<AudioHost::SilentSound> silence_;
    mutable std::mutex lock_;
    // --- guarded by lock
    std::map<Media::Pipeline::SessionId_t, std::shared_ptr<Session>> sessions_;
    /// Those that are being opened, too.
    std::size_t sessionCount_ = 0;
    std::shared_ptr<Capture> capture_;
    RaStatistics statistics_ = {};
    // --- last, so that its workers end first
    std::unique_ptr<Media::Pipeline> pipeline_;
};

} // namespace Sdk
