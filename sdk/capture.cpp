#include "capture.h"

#include <chrono>
#include <cstring>
#include <utility>
#include <vector>

#include "engine.h"
#include "gate.h"
#include "kovra/thread.h"
#include "rendereraudioguarded.h"

namespace Sdk {

namespace {

using SteadyClock_t = std::chrono::steady_clock;

/// Half a frame: a read that finds several frames may lose some, at the end of the module's ring.
constexpr std::chrono::milliseconds ReadIntervalMilliSec{10};
/// A capture that has not begun by then never will.
constexpr std::chrono::milliseconds BeginMilliSec{1000};

} // namespace

Capture::Capture(std::shared_ptr<Engine> engine, RaCaptureCallback callback, void* context)
    : engine_(std::move(engine)), callback_(callback), context_(context) {}

Capture::~Capture() {
    Stop();
}

RaStatus Capture::Start() {
    std::lock_guard<std::mutex> const guard(lock_);
    proxy_ = engine_->GetRenderer().GetCaptureProxy();
    if (proxy_ == nullptr) {
        return RA_NO_BUFFER;
    }
    isStopped_ = false;
    // Of a proxy that an earlier capture has stopped, or a new one, which begins again a moment later.
    RaStatus const status = Begin();
    if (status == RA_SUCCESS && callback_ != nullptr) {
        thread_ = std::thread([this] { Run(); });
    }
    return status;
}

void Capture::Stop() {
    {
        std::lock_guard<std::mutex> const guard(lock_);
        if (isStopped_) {
            // The proxy may be another capture's.
            return;
        }
        isStopped_ = true;
        proxy_->StopBufferCapture();
    }
    stopped_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

RaStatus Capture::Restart() {
    std::lock_guard<std::mutex> const guard(lock_);
    if (isStopped_) {
        return RA_INVALID_ARGUMENT;
    }
    waiting_.clear();
    proxy_->StopBufferCapture();
    return Begin();
}

/// Under the lock.
RaStatus Capture::Begin() {
    proxy_->StartBufferCapture();
    return proxy_->IsInitialized() ? RA_SUCCESS : RA_NO_BUFFER;
}

RaStatus Capture::ReadFrame(RaCapturedFrame& frame, std::int16_t* samples) {
    return callback_ == nullptr ? Take(frame, samples) : RA_REFUSED;
}

RaStatus Capture::Take(RaCapturedFrame& frame, std::int16_t* samples) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (waiting_.empty()) {
        std::vector<std::shared_ptr<Media::FrameAud>> frames;
        int const status = proxy_->ReadFrames(frames);
        if (frames.empty()) {
            return status < RA_SUCCESS ? status : RA_TOO_FEW_SAMPLES;
        }
        waiting_.assign(frames.begin(), frames.end());
    }
    std::shared_ptr<Media::FrameAud> const taken = std::move(waiting_.front());
    waiting_.pop_front();
    Kovra::BufferInfo const* const info = taken->GetConstBufferBegin();
    if (info == nullptr || info->GetLength() != RA_CAPTURE_FRAME_SAMPLES * sizeof(std::int16_t)) {
        return RA_NOTHING_READ;
    }
    std::memcpy(samples, info->GetData(), info->GetLength());
    frame = {sizeof frame,
             RA_CAPTURE_FRAME_SAMPLES,
             taken->GetFrequency(),
             taken->GetNumChannels(),
             taken->GetIdent().sequenceNumber,
             proxy_->GetLineLevel(),
             taken->GetTimestamp().NanoSec()};
    return RA_SUCCESS;
}

void Capture::Run() {
    Media::Guarded([] { Kovra::SetThreadName("RendererAudioC.Capture"); });
    Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
    RaCapturedFrame frame = {};
    std::int16_t samples[RA_CAPTURE_FRAME_SAMPLES];
    bool hasCome = false;
    auto begun = SteadyClock_t::now();
    std::unique_lock<std::mutex> guard(lock_);
    while (!stopped_.wait_for(guard, ReadIntervalMilliSec, [this] { return isStopped_; })) {
        guard.unlock();
        while (Media::Guarded<RaStatus>(RA_OUT_OF_MEMORY, [&] { return Take(frame, samples); }) ==
               RA_SUCCESS) {
            hasCome = true;
            CallbackScope const scope;
            Media::Guarded([&] { callback_(context_, &frame, samples); });
        }
        if (!hasCome && SteadyClock_t::now() - begun >= BeginMilliSec) {
            Restart();
            begun = SteadyClock_t::now();
        }
        guard.lock();
    }
}

} // namespace Sdk
