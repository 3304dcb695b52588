#include "pipeline/pipelinestate.h"

namespace Media {

namespace {

constexpr int Done = 0;
constexpr int Refused = -1;

} // namespace

PipelineState::PipelineState() = default;

PipelineState::~PipelineState() = default;

void PipelineState::Unregister() {}

bool PipelineState::UpdateClientState() {
    std::lock_guard<std::mutex> const guard(clientLock_);
    return clientState_.has_value();
}

bool PipelineState::GetClientState(PipelineClientState_t& state) const {
    std::lock_guard<std::mutex> const guard(clientLock_);
    if (!clientState_) {
        return false;
    }
    state = *clientState_;
    return true;
}

void PipelineState::SetClientState(PipelineClientState_t const& state) {
    std::lock_guard<std::mutex> const guard(clientLock_);
    clientState_ = state;
}

void intrusive_ptr_add_ref(PipelineState const* state) {
    state->references_.fetch_add(1, std::memory_order_relaxed);
}

void intrusive_ptr_release(PipelineState const* state) {
    if (state->references_.fetch_sub(1, std::memory_order_acq_rel) == 1) {
        delete state;
    }
}

PipelineStateExclusive::PipelineStateExclusive() = default;

PipelineStateExclusive::~PipelineStateExclusive() = default;

int PipelineStateExclusive::Acquire(PipelineJob const* job) {
    PipelineJob const* owner = nullptr;
    if (!job) {
        return Refused;
    }
    return owner_.compare_exchange_strong(owner, job, std::memory_order_acq_rel) || owner == job ? Done
                                                                                                 : Refused;
}

int PipelineStateExclusive::Release(PipelineJob const* job) {
    PipelineJob const* owner = job;
    return job && owner_.compare_exchange_strong(owner, nullptr, std::memory_order_acq_rel) ? Done : Refused;
}

} // namespace Media
