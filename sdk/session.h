#pragma once

#include <cstdint>
#include <memory>
#include <mutex>

#include "frames.h"
#include "pipeline/pipeline.h"

namespace Sdk {

class Engine;

/// A session of an engine's pipeline: makes frames of what is submitted, and counts what became of them.
///
/// **Threads:** all operations from any thread, within a visit to the engine where they use it.
/// **Ownership:** shares the engine.
class Session {
public:
    Session(std::shared_ptr<Engine> engine, Params params, RaReportCallback callback, void* context);
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    Engine& GetEngine() const { return *engine_; }
    Media::Pipeline::SessionId_t GetId() const { return id_; }
    /// Once, before anything is submitted.
    void SetId(Media::Pipeline::SessionId_t id) { id_ = id; }

    void SetParams(Params params);
    /// As RaSessionSubmit, RaSessionSetVolume.
    RaStatus Submit(RaFrame const& frame);
    RaStatus SetVolume(float volume, float balance);
    RaSessionStatistics GetStatistics() const;

    /// What became of a frame: on a worker.
    void Report(Media::Pipeline::Report_t const& report);

private:
    std::shared_ptr<Engine> const engine_;
    RaReportCallback const callback_;
    void* const context_;
    Media::Pipeline::SessionId_t id_ = Media::Pipeline::InvalidSession;

    /// Held while a frame is submitted: in the order of the calls.
    mutable std::mutex lock_;
    // --- guarded by lock
    Params params_;
    std::uint32_t sequenceNumber_ = 0;
    RaSessionStatistics statistics_ = {};
};

} // namespace Sdk
