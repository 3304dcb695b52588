#pragma once

#include <cstdint>
#include <optional>
#include <utility>

#include "directsound/directsound.h"

namespace Media {
namespace DirectSound {

/// Brings a lost buffer's memory back. False when there is nothing to bring back: capture buffers are never
/// lost.
inline bool RestoreLostMemory(IDirectSoundBuffer8& soundBuffer) {
    soundBuffer.Restore();
    return true;
}
inline bool RestoreLostMemory(IDirectSoundCaptureBuffer8& /*captureBuffer*/) {
    return false;
}

/// A part of a DirectSound buffer, in bytes, that may go on at its start.
struct ByteRange {
    std::uint32_t start;
    std::uint32_t count;
};

/// A locked part of a DirectSound buffer: one region, or two when it wraps round the end of the buffer.
///
/// **Ownership:** unlocks when it goes out of scope; borrows the DirectSound buffer.
template <class DirectSoundBuffer>
class RegionLock {
public:
    /// Locks `range`. A lost buffer is restored and tried once more. Empty when DirectSound refuses, and
    /// without a buffer (null), which counts as a refusal.
    static std::optional<RegionLock> Acquire(DirectSoundBuffer* buffer, ByteRange range) {
        if (buffer == nullptr) {
            return std::nullopt;
        }
        RegionLock lock(*buffer);
        HRESULT result = lock.Lock(range);
        // Wanted: once, and no more (docs/kept-behaviour.md).
        if (result == DSERR_BUFFERLOST && RestoreLostMemory(*buffer)) {
            result = lock.Lock(range);
        }
        if (FAILED(result)) {
            lock.Forget();
            return std::nullopt;
        }
        return lock;
    }

    RegionLock(RegionLock&& other) noexcept
        : buffer_(std::exchange(other.buffer_, nullptr)),
          first_(other.first_),
          second_(other.second_),
          firstBytes_(other.firstBytes_),
          secondBytes_(other.secondBytes_) {}
    RegionLock& operator=(RegionLock&&) = delete;

    ~RegionLock() {
        if (buffer_ != nullptr) {
            buffer_->Unlock(first_, firstBytes_, second_, secondBytes_);
        }
    }

    std::uint8_t* GetFirst() const { return static_cast<std::uint8_t*>(first_); }
    std::uint32_t GetFirstBytes() const { return firstBytes_; }
    /// Null when the lock does not wrap.
    std::uint8_t* GetSecond() const { return static_cast<std::uint8_t*>(second_); }
    std::uint32_t GetSecondBytes() const { return secondBytes_; }

    /// Nothing is unlocked in the end: for a lock that turns out to hold nothing.
    void Forget() { buffer_ = nullptr; }

private:
    explicit RegionLock(DirectSoundBuffer& buffer) : buffer_(&buffer) {}

    HRESULT Lock(ByteRange range) {
        return buffer_->Lock(range.start, range.count, &first_, &firstBytes_, &second_, &secondBytes_, 0);
    }

    /// Null while nothing is locked.
    DirectSoundBuffer* buffer_;
    void* first_ = nullptr;
    void* second_ = nullptr;
    DWORD firstBytes_ = 0;
    DWORD secondBytes_ = 0;
};

using PlaybackLock = RegionLock<IDirectSoundBuffer8>;
using CaptureLock = RegionLock<IDirectSoundCaptureBuffer8>;

} // namespace DirectSound
} // namespace Media
