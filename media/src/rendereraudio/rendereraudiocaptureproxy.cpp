#include "rendereraudiocaptureproxy.h"

#include <string>

#include "directsound/statuscodes.h"
#include "rendereraudiocapturebuffer.h"
#include "rendereraudioguarded.h"
#include "rendereraudiolog.h"

namespace Media {

namespace {

// Nothing is written to it: a host lists the channels that were asked for.
[[maybe_unused]] std::shared_ptr<Kovra::LoggerFacade> const logger =
    FetchLogger("Media.RendererAudioCaptureProxy");

/// A stopped microphone is a silent one.
constexpr float StoppedLevel = 0.0F;

} // namespace

RendererAudioCaptureProxy::RendererAudioCaptureProxy(RendererAudioCaptureDevice& device)
    : device_(device.GetWeakFields()), status_(Status::OutOfMemory) {
    CreateBuffer();
}

RendererAudioCaptureProxy::~RendererAudioCaptureProxy() {
    StopBufferCapture();
}

void RendererAudioCaptureProxy::StartBufferCapture() {
    Guarded([this] {
        // Wanted: also of a buffer whose creation failed, which it does not mend (docs/kept-behaviour.md).
        if (auto const buffer = GetBuffer()) {
            buffer->StartCapture();
        } else {
            CreateBuffer();
        }
    });
}

void RendererAudioCaptureProxy::StopBufferCapture() {
    Guarded([this] {
        // The field first: whoever asks from here on finds nothing. A read that has the buffer already finds
        // it closed, and frees it when it is done.
        hasBuffer_.store(false, std::memory_order_release);
        auto const buffer = std::atomic_exchange(&buffer_, std::shared_ptr<RendererAudioCaptureBuffer>());
        if (buffer != nullptr) {
            buffer->Close();
        }
    });
}

int RendererAudioCaptureProxy::ReadFrames(std::vector<std::shared_ptr<FrameAud>>& frames) {
    return Guarded(Status::OutOfMemory, [&] {
        auto const buffer = GetBuffer();
        // Wanted: -30 without a buffer here, 0 from SampleLineLevel (docs/kept-behaviour.md).
        return buffer == nullptr ? Status::TooFewSamples : buffer->ReadFrames(frames);
    });
}

int RendererAudioCaptureProxy::SampleLineLevel() {
    return Guarded(Status::OutOfMemory, [this] {
        auto const buffer = GetBuffer();
        return buffer == nullptr ? Status::Success : buffer->SampleLineLevel();
    });
}

float RendererAudioCaptureProxy::GetLineLevel() const {
    return Guarded(StoppedLevel, [this] {
        auto const buffer = GetBuffer();
        return buffer == nullptr ? StoppedLevel : buffer->GetLineLevel();
    });
}

bool RendererAudioCaptureProxy::IsInitialized() const {
    // Wanted: true also when capture has been stopped (docs/kept-behaviour.md).
    return status_.load(std::memory_order_relaxed) >= Status::Success;
}

void RendererAudioCaptureProxy::CreateBuffer() {
    int const status = Guarded(Status::OutOfMemory, [this] {
        auto const buffer = std::make_shared<RendererAudioCaptureBuffer>(device_);
        std::atomic_store(&buffer_, buffer);
        hasBuffer_.store(true, std::memory_order_release);
        return buffer->Create();
    });
    status_.store(status, std::memory_order_relaxed);
}

std::shared_ptr<RendererAudioCaptureBuffer> RendererAudioCaptureProxy::GetBuffer() const {
    return std::atomic_load(&buffer_);
}

} // namespace Media
