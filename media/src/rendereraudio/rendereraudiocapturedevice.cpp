#include "rendereraudiocapturedevice.h"

#include <string>
#include <utility>
#include <vector>

#include "kovra/thread.h"
#include "rendereraudio.h"
#include "rendereraudiocapturebuffer.h"
#include "rendereraudiocapturedevicestate.h"
#include "rendereraudiocaptureproxy.h"
#include "rendereraudiocodes.h"
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

RendererAudioCaptureDevice::RendererAudioCaptureDevice() : state_(std::make_shared<State>()) {}

RendererAudioCaptureDevice::~RendererAudioCaptureDevice() {
    Close();
}

int RendererAudioCaptureDevice::Initialize() {
    if (state_->devices.IsEmpty() &&
        DirectSoundCaptureEnumerateA(RecordEnumeratedDevice, &state_->devices) != DS_OK) {
        state_->devices.Clear();
        return Status::EnumerationFailed;
    }
    return Open();
}

int RendererAudioCaptureDevice::Open() {
    boost::mutex::scoped_lock const guard(state_->lock);
    if (state_->capture != nullptr) {
        return Status::Success;
    }
    IDirectSoundCapture8* created = nullptr;
    HRESULT const result = DirectSoundCaptureCreate8(nullptr, &created, nullptr);
    if (FAILED(result)) {
        return StatusOfCreateFailure(result);
    }
    boost::intrusive_ptr<IDirectSoundCapture8> capture = AdoptReference(created);
    if (capture == nullptr) {
        return Status::Success;
    }
    if (FAILED(capture->GetCaps(&state_->caps))) {
        return Status::Refused;
    }
    state_->capture = std::move(capture);
    return Status::Success;
}

void RendererAudioCaptureDevice::Close() {
    if (!state_->HasCapture()) {
        return;
    }
    std::unique_ptr<boost::thread> const thread(
        state_->captureThread.exchange(nullptr, std::memory_order_acq_rel));
    state_->registry.Wake();
    if (thread != nullptr) {
        // A host that interrupts its own boost::thread must not leave this one unjoined.
        boost::this_thread::disable_interruption const uninterrupted;
        thread->join();
    }
    boost::mutex::scoped_lock const guard(state_->lock);
    state_->capture.reset();
}

bool RendererAudioCaptureDevice::IsOpen() const {
    boost::mutex::scoped_lock const guard(state_->lock);
    return state_->capture != nullptr && !state_->devices.GetDevices().empty();
}

void* RendererAudioCaptureDevice::AddBuffer(RendererAudioCaptureBuffer& buffer) {
    return state_->registry.Add(buffer);
}

void RendererAudioCaptureDevice::RemoveBuffer(RendererAudioCaptureBuffer const& buffer) {
    state_->registry.Remove(buffer);
}

// --- line-level thread

bool RendererAudioCaptureDevice::StartLineLevel(std::function<bool(float)> const& callback) {
    if (!IsOpen() || !callback) {
        return false;
    }
    std::weak_ptr<State> const state = state_;
    boost::thread([state, callback] { LineLevel(state, callback); }).detach();
    return true;
}

void RendererAudioCaptureDevice::LineLevel(std::weak_ptr<State> const& state,
                                           std::function<bool(float)> const& callback) {
    Kovra::SetThreadName("Media.RendererAudio.LineLevel");
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
    auto const isCaptureOpen = [&state] {
        std::shared_ptr<State> const device = state.lock();
        return device != nullptr && device->HasCapture();
    };
    while (isCaptureOpen()) {
        // Without a buffer this spins until there is one, and a closing goes unnoticed until then: whoever
        // stops capture under a meter starts it again at once (CaptureDevice_LineLevelStopped pins it).
        while (!proxy->HasBuffer() || proxy->SampleLineLevel() == Status::Success) {
        }
        if (!callback(proxy->GetLineLevel())) {
            return;
        }
        Sleep(PollPeriodMilliSec);
    }
}

// --- draining thread

bool RendererAudioCaptureDevice::StartCaptureThread() {
    // The lock keeps the thread, which needs it for its buffer, from looking at the pointer before it is set.
    boost::mutex::scoped_lock const guard(state_->lock);
    if (state_->capture == nullptr || state_->captureThread.load(std::memory_order_relaxed) != nullptr) {
        return false;
    }
    auto thread = std::make_unique<boost::thread>([this] { RunCaptureThread(); });
    state_->captureThread.store(thread.release(), std::memory_order_release);
    return true;
}

void RendererAudioCaptureDevice::RunCaptureThread() {
    Kovra::SetThreadName("Media.RendererAudio.Capture");
    RendererAudioCaptureBuffer buffer(*this);
    buffer.Create();
    while (state_->captureThread.load(std::memory_order_acquire) != nullptr) {
        std::vector<std::shared_ptr<FrameAud>> frames;
        buffer.ReadFrames(frames);
        Sleep(PollPeriodMilliSec);
    }
}

} // namespace Media
