#include "record/rendereraccess.h"

#include <utility>

namespace AudioHost {

namespace {

class ProxyMicrophone : public Microphone {
public:
    explicit ProxyMicrophone(std::shared_ptr<Media::RendererAudioCaptureProxy> proxy)
        : proxy_(std::move(proxy)) {}

    int ReadFrames(std::vector<std::shared_ptr<Media::FrameAud>>& frames) override {
        return proxy_->ReadFrames(frames);
    }
    void Restart() override {
        proxy_->StopBufferCapture();
        proxy_->StartBufferCapture();
    }
    float GetLevel() const override { return proxy_->GetLineLevel(); }

private:
    std::shared_ptr<Media::RendererAudioCaptureProxy> const proxy_;
};

} // namespace

std::shared_ptr<Microphone> RendererAccess::Open() {
    std::shared_ptr<Media::RendererAudioCaptureProxy> proxy = renderer_.GetCaptureProxy();
    return proxy ? std::make_shared<ProxyMicrophone>(std::move(proxy)) : nullptr;
}

bool RendererAccess::StartMeter(std::function<bool(float)> const& callback) {
    return renderer_.GetLineLevelCallbacks(callback);
}

} // namespace AudioHost
