#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

#include "devparams/lensparams.h"
#include "mediacore/viewgeometry.h"
#include "pipeline/export.h"

namespace Media {

class PipelineJob;

/// What a session's client wishes to see and hear.
struct PipelineClientState_t {
    ViewGeometry view = ViewGeometry(0, 0, 0.0, 0.0, 1.0, 1.0, false, false);
    ViewGeometry source = ViewGeometry(0, 0, 0.0, 0.0, 1.0, 1.0, false, false);
    Dev::LensParams lens;
    /// 0.0 full left, 0.5 centre, 1.0 full right.
    float balance = 0.5F;
    /// 0.0 silent to 1.0 full.
    float volume = 1.0F;
};

/// What a renderer keeps for one session. The order of the virtual operations is part of the binary
/// interface.
///
/// **Threads:** the count and the client state from any thread.
/// **Ownership:** counted, through `boost::intrusive_ptr`.
class MEDIAPIPELINE_API PipelineState {
public:
    PipelineState();
    virtual ~PipelineState();
    PipelineState(PipelineState const&) = delete;
    PipelineState& operator=(PipelineState const&) = delete;

    /// Called once when the session ends, before the pipeline lets the state go. Does nothing unless
    /// overridden.
    virtual void Unregister();

    /// Called after the client state has changed, on a worker thread. False when there is none to apply.
    /// Applies nothing unless overridden.
    virtual bool UpdateClientState();

    /// Copies the session's client state to `state`; false, with `state` untouched, when no client has set
    /// one yet.
    bool GetClientState(PipelineClientState_t& state) const;
    void SetClientState(PipelineClientState_t const& state);

    friend MEDIAPIPELINE_API void intrusive_ptr_add_ref(PipelineState const* state);
    friend MEDIAPIPELINE_API void intrusive_ptr_release(PipelineState const* state);

private:
    mutable std::atomic<std::uint32_t> references_{0};
    mutable std::mutex clientLock_;
    std::optional<PipelineClientState_t> clientState_;
};

MEDIAPIPELINE_API void intrusive_ptr_add_ref(PipelineState const* state);
MEDIAPIPELINE_API void intrusive_ptr_release(PipelineState const* state);

/// A state that one job at a time may use.
class MEDIAPIPELINE_API PipelineStateExclusive : public PipelineState {
public:
    PipelineStateExclusive();
    ~PipelineStateExclusive() override;

private:
    friend class PipelineStateAccess;

    /// Gives the state to `job`: 0 (also when it has it already), or -1 when another job has it or `job` is
    /// null.
    virtual int Acquire(PipelineJob const* job);
    /// Takes it back: 0, or -1 when `job` does not have it.
    virtual int Release(PipelineJob const* job);

    std::atomic<PipelineJob const*> owner_{nullptr};
};

/// The pipeline's key to the exclusive protocol.
class PipelineStateAccess {
public:
    static int Acquire(PipelineStateExclusive& state, PipelineJob const* job) { return state.Acquire(job); }
    static int Release(PipelineStateExclusive& state, PipelineJob const* job) { return state.Release(job); }
};

} // namespace Media
