#include "rendereraudioringlock.h"

#include <utility>

namespace Media {

std::optional<RendererAudioRingLock> RendererAudioRingLock::Acquire(IDirectSoundBuffer8* soundBuffer,
                                                                    std::uint32_t startByte,
                                                                    std::uint32_t byteCount) {
    if (soundBuffer == nullptr) {
        return std::nullopt;
    }
    RendererAudioRingLock lock(*soundBuffer);
    HRESULT result = lock.Lock(startByte, byteCount);
    if (result == DSERR_BUFFERLOST) {
        soundBuffer->Restore();
        result = lock.Lock(startByte, byteCount);
    }
    if (FAILED(result)) {
        lock.soundBuffer_ = nullptr;
        return std::nullopt;
    }
    return lock;
}

RendererAudioRingLock::RendererAudioRingLock(RendererAudioRingLock&& other) noexcept
    : soundBuffer_(std::exchange(other.soundBuffer_, nullptr)),
      first_(other.first_),
      second_(other.second_),
      firstBytes_(other.firstBytes_),
      secondBytes_(other.secondBytes_) {}

RendererAudioRingLock::~RendererAudioRingLock() {
    if (soundBuffer_ != nullptr) {
        soundBuffer_->Unlock(first_, firstBytes_, second_, secondBytes_);
    }
}

HRESULT RendererAudioRingLock::Lock(std::uint32_t startByte, std::uint32_t byteCount) {
    return soundBuffer_->Lock(startByte, byteCount, &first_, &firstBytes_, &second_, &secondBytes_, 0);
}

} // namespace Media
