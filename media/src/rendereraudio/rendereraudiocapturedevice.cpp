#include "rendereraudiocapturedevice.h"

#include <emmintrin.h>

#include <string>
#include <utility>
#include <vector>

#include "directsound/creation.h"
#include "directsound/hold.h"
#include "directsound/statuscodes.h"
#include "kovra/thread.h"
#include "rendereraudio.h"
#include "rendereraudiocapturebuffer.h"
#include "rendereraudiocapturedevicefields.h"
#include "rendereraudiocaptureproxy.h"
#include "rendereraudioguarded.h"
#include "rendereraudiolog.h"

namespace Media {

namespace {

std::shared_ptr<Kovra::LoggerFacade> const logger = FetchLogger("Media.RendererAudioCaptureDevice");

/// One block: between two reports of a line-level thread, and between two reads of the draining thread.
constexpr DWORD PollPeriodMilliSec = 20;

// Hosts find these two records by their places, which therefore stay as they are when the code moves.
constexpr char const* LocationFile = "media/src/rendereraudio/rendereraudiocapturedevice";
constexpr char const* LocationFunction = "Media::RendererAudioCaptureDevice::LineLevel";
constexpr Kovra::CodeLocation NoRendererLocation(LocationFile, LocationFunction, 229);
constexpr Kovra::CodeLocation NoProxyLocation(LocationFile, LocationFunction, 236);

} // namespace

RendererAudioCaptureDevice::RendererAudioCaptureDevice() : fields_(std::make_shared<Fields>()) {}

RendererAudioCaptureDevice::~RendererAudioCaptureDevice() {
    Close();
}

int RendererAudioCaptureDevice::Initialize() {
    if (!fields_->devices.EnumerateOnce(DirectSoundCaptureEnumerateA)) {
        return Status::EnumerationFailed;
    }
    return Open();
}

int RendererAudioCaptureDevice::Open() {
    auto const guard = Hold(fields_->lock);
    if (fields_->capture != nullptr) {
        return Status::Success;
    }
    boost::intrusive_ptr<IDirectSoundCapture8> capture;
    int const status = DirectSound::CreateDevice(DirectSoundCaptureCreate8, capture);
    if (capture == nullptr) {
        return status;
    }
    if (FAILED(capture->GetCaps(&fields_->caps))) {
        return Status::Refused;
    }
    fields_->capture = std::move(capture);
    return Status::Success;
}

void RendererAudioCaptureDevice::Close() {
    if (!fields_->HasCapture()) {
        return;
    }
    DirectSound::EndThread(fields_->captureThread, [this] { fields_->registry.Wake(); });
    auto const guard = Hold(fields_->lock);
    fields_->capture.reset();
}

bool RendererAudioCaptureDevice::IsOpen() const {
    auto const guard = Hold(fields_->lock);
    return fields_->capture != nullptr && !fields_->devices.IsEmpty(guard);
}

// --- line-level thread

bool RendererAudioCaptureDevice::StartLineLevel(std::function<bool(float)> const& callback) {
    if (!IsOpen() || !callback) {
        return false;
    }
    WeakFields const device = fields_;
    // A callback that throws has had its last call.
    boost::thread([device, callback] { Guarded([&] { LineLevel(device, callback); }); }).detach();
    return true;
}

void RendererAudioCaptureDevice::LineLevel(WeakFields const& device,
                                           std::function<bool(float)> const& callback) {
    Guarded([] { Kovra::SetThreadName("Media.RendererAudio.LineLevel"); });
    RendererAudio const* const renderer = RendererAudio::Instance();
    if (renderer == nullptr) {
        WriteLogAt(NoRendererLocation, *logger, Kovra::LogLevel_t::Debug,
                   "Failed to acquire RenderAudio instance");
        return;
    }
    std::shared_ptr<RendererAudioCaptureProxy> const proxy = renderer->GetCaptureProxy();
    if (proxy == nullptr) {
        WriteLogAt(NoProxyLocation, *logger, Kovra::LogLevel_t::Debug,
                   "Failed to acquire RenderAudioCaptureProxy instance");
        return;
    }
    // A device that has gone is a closed one: the renderer does not wait for this thread.
    auto const isCaptureOpen = [&device] {
        std::shared_ptr<Fields> const fields = device.lock();
        return fields != nullptr && fields->HasCapture();
    };
    while (isCaptureOpen()) {
        // Wanted: without a buffer it spins until there is one, whatever closes (docs/kept-behaviour.md).
        while (!proxy->HasBuffer() || proxy->SampleLineLevel() == Status::Success) {
            _mm_pause();
        }
        if (!callback(proxy->GetLineLevel())) {
            return;
        }
        Sleep(PollPeriodMilliSec);
    }
}

// --- draining thread

bool RendererAudioCaptureDevice::StartCaptureThread() {
    // Wanted: nothing in the module calls this (docs/kept-behaviour.md).
    // The lock keeps the thread, which needs it for its buffer, from looking at the pointer before it is set.
    auto const guard = Hold(fields_->lock);
    if (fields_->capture == nullptr || fields_->captureThread.load(std::memory_order_relaxed) != nullptr) {
        return false;
    }
    DirectSound::StartThread(fields_->captureThread, [this] { Guarded([this] { RunCaptureThread(); }); });
    return true;
}

void RendererAudioCaptureDevice::RunCaptureThread() {
    Guarded([] { Kovra::SetThreadName("Media.RendererAudio.Capture"); });
    RendererAudioCaptureBuffer buffer(GetWeakFields());
    buffer.Create();
    while (fields_->captureThread.load(std::memory_order_acquire) != nullptr) {
        std::vector<std::shared_ptr<FrameAud>> frames;
        buffer.ReadFrames(frames);
        Sleep(PollPeriodMilliSec);
    }
}

} // namespace Media
