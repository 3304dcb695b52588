#include "rendereraudioplaybackdevice.h"

#include <string>
#include <utility>

#include "directsound/creation.h"
#include "directsound/hold.h"
#include "directsound/statuscodes.h"
#include "kovra/thread.h"
#include "rendereraudioguarded.h"
#include "rendereraudiolog.h"
#include "rendereraudioplaybackbuffer.h"
#include "rendereraudioplaybackdevicefields.h"

namespace Media {

namespace {

// Nothing is written to it: a host lists the channels that were asked for.
[[maybe_unused]] std::shared_ptr<Kovra::LoggerFacade> const logger =
    FetchLogger("Media.RendererAudioPlaybackDevice");

/// Bounds how late a buffer's idle check can run when its notifications stop.
constexpr DWORD ServiceTimeoutMilliSec = 200;

/// The place of the wake event, and of no buffer: everything is serviced.
constexpr DWORD WakeIndex = 0;

} // namespace

RendererAudioPlaybackDevice::RendererAudioPlaybackDevice() : fields_(std::make_unique<Fields>()) {}

RendererAudioPlaybackDevice::~RendererAudioPlaybackDevice() {
    Close();
}

int RendererAudioPlaybackDevice::Open() {
    if (!fields_->devices.EnumerateOnce(DirectSoundEnumerateA)) {
        return Status::EnumerationFailed;
    }

    auto const guard = Hold(fields_->lock);
    if (fields_->sound != nullptr) {
        return Status::Success;
    }
    boost::intrusive_ptr<IDirectSound8> sound;
    int const status = DirectSound::CreateDevice(DirectSoundCreate8, sound);
    if (sound == nullptr) {
        return status;
    }
    if (sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY) != DS_OK) {
        return Status::Refused;
    }
    // Wanted: it may end at its start, until the next Open after a Close (docs/kept-behaviour.md).
    DirectSound::StartThread(fields_->thread, [this] { RunPlaybackThread(); });
    fields_->sound = std::move(sound);
    return Status::Success;
}

void RendererAudioPlaybackDevice::Close() {
    if (fields_->sound == nullptr) {
        return;
    }
    DirectSound::EndThread(fields_->thread, [this] { fields_->registry.Wake(); });
    fields_->sound.reset();
}

boost::intrusive_ptr<IDirectSound8> RendererAudioPlaybackDevice::GetSound() const {
    auto const guard = Hold(fields_->lock);
    return fields_->devices.IsEmpty(guard) ? nullptr : fields_->sound;
}

void* RendererAudioPlaybackDevice::AddBuffer(RendererAudioPlaybackBuffer& buffer) {
    return fields_->registry.Add(buffer);
}

void RendererAudioPlaybackDevice::RemoveBuffer(RendererAudioPlaybackBuffer const& buffer) {
    fields_->registry.Remove(buffer);
}

void RendererAudioPlaybackDevice::RunPlaybackThread() {
    Guarded([] { Kovra::SetThreadPriority(Kovra::ThreadPriority_t::TimeCritical); });
    Guarded([] { Kovra::SetThreadName("Media.RendererAudio.Playback"); });
    while (fields_->thread.load(std::memory_order_acquire) != nullptr) {
        // A pass that fails is made up for by the next one.
        Guarded([this] { WaitAndService(); });
    }
}

void RendererAudioPlaybackDevice::WaitAndService() {
    auto const events = fields_->registry.GetEvents();
    // Wanted: of more than 64 handles every wait fails, and nothing is serviced (docs/kept-behaviour.md).
    auto const count = static_cast<DWORD>(events->size());
    DWORD const result =
        WaitForMultipleObjects(count, events->data(), FALSE, count > 1 ? ServiceTimeoutMilliSec : INFINITE);
    DWORD const index = result == WAIT_TIMEOUT ? WakeIndex : result;
    // A failed wait gives an index beyond every list, and so may a buffer removed meanwhile.
    if (index >= fields_->registry.GetEvents()->size()) {
        return;
    }

    auto const guard = Hold(fields_->lock);
    auto const& buffers = fields_->registry.GetBuffers(guard);
    for (std::size_t i = WakeIndex + 1; i < buffers.size(); ++i) {
        if (index == WakeIndex || index == i) {
            buffers[i]->Service();
        }
    }
}

} // namespace Media
