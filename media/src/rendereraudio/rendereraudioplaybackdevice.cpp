#include "rendereraudioplaybackdevice.h"

#include <boost/bind/bind.hpp>
#include <string>
#include <utility>

#include "kovra/thread.h"
#include "rendereraudiocodes.h"
#include "rendereraudiolog.h"
#include "rendereraudioplaybackbuffer.h"
#include "rendereraudioplaybackdevicestate.h"

namespace Media {

namespace {

[[maybe_unused]] std::shared_ptr<Kovra::LoggerFacade> const logger =
    FetchLogger("Media.RendererAudioPlaybackDevice");

/// Bounds how late a buffer's idle check can run when its notifications stop.
constexpr DWORD ServiceTimeoutMilliSec = 200;

/// The place of the wake event, and of no buffer: everything is serviced.
constexpr DWORD WakeIndex = 0;

} // namespace

RendererAudioPlaybackDevice::RendererAudioPlaybackDevice() : state_(std::make_unique<State>()) {}

RendererAudioPlaybackDevice::~RendererAudioPlaybackDevice() {
    Close();
}

int RendererAudioPlaybackDevice::Open() {
    if (state_->devices.IsEmpty() &&
        DirectSoundEnumerateA(RecordEnumeratedDevice, &state_->devices) != DS_OK) {
        state_->devices.Clear();
        return Status::EnumerationFailed;
    }

    boost::mutex::scoped_lock const guard(state_->lock);
    if (state_->sound != nullptr) {
        return Status::Success;
    }
    IDirectSound8* created = nullptr;
    HRESULT const result = DirectSoundCreate8(nullptr, &created, nullptr);
    if (FAILED(result)) {
        return StatusOfCreateFailure(result);
    }
    boost::intrusive_ptr<IDirectSound8> sound = AdoptReference(created);
    if (sound == nullptr) {
        return Status::Success;
    }
    if (sound->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY) != DS_OK) {
        return Status::Refused;
    }
    // The pointer, which tells the thread to go on, is stored only now: a thread quicker than this line finds
    // it null and ends at once (PlaybackThread_Start pins it). The next Open after a Close starts another.
    auto thread =
        std::make_unique<boost::thread>(boost::bind(&RendererAudioPlaybackDevice::RunPlaybackThread, this));
    state_->thread.store(thread.release(), std::memory_order_release);
    state_->sound = std::move(sound);
    return Status::Success;
}

void RendererAudioPlaybackDevice::Close() {
    if (state_->sound == nullptr) {
        return;
    }
    std::unique_ptr<boost::thread> const thread(state_->thread.exchange(nullptr, std::memory_order_acq_rel));
    state_->registry.Wake();
    if (thread != nullptr) {
        // A host that interrupts its own boost::thread must not leave this one unjoined.
        boost::this_thread::disable_interruption const uninterrupted;
        thread->join();
    }
    state_->sound.reset();
}

boost::intrusive_ptr<IDirectSound8> RendererAudioPlaybackDevice::GetSound() const {
    boost::mutex::scoped_lock const guard(state_->lock);
    return state_->devices.GetDevices().empty() ? nullptr : state_->sound;
}

void* RendererAudioPlaybackDevice::AddBuffer(RendererAudioPlaybackBuffer& buffer) {
    return state_->registry.Add(buffer);
}

void RendererAudioPlaybackDevice::RemoveBuffer(RendererAudioPlaybackBuffer const& buffer) {
    state_->registry.Remove(buffer);
}

void RendererAudioPlaybackDevice::RunPlaybackThread() {
    Kovra::SetThreadPriority(Kovra::ThreadPriority_t::TimeCritical);
    Kovra::SetThreadName("Media.RendererAudio.Playback");
    while (state_->thread.load(std::memory_order_acquire) != nullptr) {
        WaitAndService();
    }
}

void RendererAudioPlaybackDevice::WaitAndService() {
    auto const events = state_->registry.GetEvents();
    auto const count = static_cast<DWORD>(events->size());
    DWORD const result =
        WaitForMultipleObjects(count, events->data(), FALSE, count > 1 ? ServiceTimeoutMilliSec : INFINITE);
    DWORD const index = result == WAIT_TIMEOUT ? WakeIndex : result;
    // A failed wait gives an index beyond every list, and so may a buffer removed meanwhile.
    if (index >= state_->registry.GetEvents()->size()) {
        return;
    }

    boost::mutex::scoped_lock const guard(state_->lock);
    auto const& buffers = state_->registry.GetBuffers();
    for (std::size_t i = 0; i < buffers.size(); ++i) {
        if (buffers[i] != nullptr && (index == WakeIndex || index == i)) {
            buffers[i]->Service();
        }
    }
}

} // namespace Media
