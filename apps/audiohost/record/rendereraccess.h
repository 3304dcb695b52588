#pragma once

#include "record/microphone.h"
#include "rendereraudio.h"

namespace AudioHost {

/// The capture side of the real renderer (borrowed).
class RendererAccess : public CaptureAccess {
public:
    explicit RendererAccess(Media::RendererAudio const& renderer) : renderer_(renderer) {}

    std::shared_ptr<Microphone> Open() override;
    bool StartMeter(std::function<bool(float)> const& callback) override;

private:
    Media::RendererAudio const& renderer_;
};

} // namespace AudioHost
