#pragma once

#include <cstdint>
#include <optional>

#include "rendereraudiodirectsound.h"

namespace Media {

/// A locked part of a sound buffer: one region, or two when it wraps round the end of the buffer.
///
/// **Ownership:** unlocks when it goes out of scope; borrows the sound buffer.
class RendererAudioRingLock {
public:
    /// Locks `byteCount` bytes from `startByte` on. A lost buffer is restored and tried once more. Empty when
    /// DirectSound refuses, and without a sound buffer (null), which counts as a refusal.
    static std::optional<RendererAudioRingLock> Acquire(IDirectSoundBuffer8* soundBuffer,
                                                        std::uint32_t startByte, std::uint32_t byteCount);

    RendererAudioRingLock(RendererAudioRingLock&& other) noexcept;
    RendererAudioRingLock& operator=(RendererAudioRingLock&&) = delete;
    ~RendererAudioRingLock();

    std::uint8_t* GetFirst() const { return static_cast<std::uint8_t*>(first_); }
    std::uint32_t GetFirstBytes() const { return firstBytes_; }
    /// Null when the lock does not wrap.
    std::uint8_t* GetSecond() const { return static_cast<std::uint8_t*>(second_); }
    std::uint32_t GetSecondBytes() const { return secondBytes_; }

private:
    explicit RendererAudioRingLock(IDirectSoundBuffer8& soundBuffer) : soundBuffer_(&soundBuffer) {}

    HRESULT Lock(std::uint32_t startByte, std::uint32_t byteCount);

    /// Null while nothing is locked.
    IDirectSoundBuffer8* soundBuffer_;
    void* first_ = nullptr;
    void* second_ = nullptr;
    DWORD firstBytes_ = 0;
    DWORD secondBytes_ = 0;
};

} // namespace Media
