#pragma once

#include <mutex>
#include <optional>

#include "harbour/counted.h"

namespace Harbour {
struct JobAccess;
}

namespace Media {

struct PipelineClientState_t {
    double brightness = 0.5;
    float volume = 1.0F;
    float balance = 0.5F;
};

/// What clients wish, kept apart from what is counted.
class HARBOUR_API ClientWishes {
protected:
    virtual ~ClientWishes();

    friend struct Harbour::JobAccess;

    mutable std::mutex lock_;
    std::optional<PipelineClientState_t> wishes_;
};

class HARBOUR_API PipelineState : public ClientWishes, public Harbour::Counted {
public:
    ~PipelineState() override;
    virtual bool UpdateClientState() = 0;
    bool GetClientState(PipelineClientState_t& state) const;
};

class HARBOUR_API PipelineStateExclusive : public PipelineState {
public:
    ~PipelineStateExclusive() override;

private:
    std::recursive_mutex turn_;
};

} // namespace Media
