#include "simulation/device/capturebuffer.h"

#include <algorithm>

namespace Simulation {

CaptureBuffer::CaptureBuffer(Machine& machine, CaptureEndpoint& endpoint, std::uint32_t number,
                             DSCBUFFERDESC const& description)
    : DeviceBuffer(machine, endpoint, "capture buffer", number, *description.lpwfxFormat, description.dwFlags,
                   description.dwBufferBytes, RingMemory::Access_t::Read),
      endpoint_(endpoint) {
    ApplySettings();
}

// --- cursor and ring

void CaptureBuffer::CatchUp() {
    cursor_.AdvanceTo(Now());
    if (!isCapturing_) {
        return;
    }
    if (cursor_.Frame() >= endFrame_) {
        MoveTo(endFrame_);
        return;
    }
    std::int64_t const reported = endpoint_.ReportedFrame(cursor_.Frame(), stepOrigin_);
    // A step that a test has made longer does not take back what was reported.
    ReadUpTo(std::max(readFrame_, reported));
}

void CaptureBuffer::MoveTo(std::int64_t frame) {
    std::int64_t const target = std::min(frame, endFrame_);
    cursor_.SetFrame(target);
    stepOrigin_ = target;
    ReadUpTo(target);
    if (target == endFrame_) {
        Retire();
    }
}

void CaptureBuffer::ReadUpTo(std::int64_t frame) {
    // What a whole lap overwrites at once need not be made.
    Fill(std::max(readFrame_, frame - RingFrames()), frame);
    readFrame_ = frame;
}

void CaptureBuffer::Fill(std::int64_t fromFrame, std::int64_t toFrame) {
    std::size_t const channels = format_.nChannels;
    std::vector<std::int16_t> samples;
    while (fromFrame < toFrame) {
        std::int64_t const ringFrame = fromFrame % RingFrames();
        std::int64_t const count = std::min(toFrame - fromFrame, RingFrames() - ringFrame);
        samples.resize(static_cast<std::size_t>(count) * channels);
        std::int16_t* next = samples.data();
        for (std::int64_t i = 0; i < count; ++i) {
            std::int16_t const sample = endpoint_.generator(static_cast<std::uint64_t>(fromFrame + i));
            for (std::size_t channel = 0; channel < channels; ++channel) {
                *next++ = sample;
            }
        }
        ring_.Deliver(ByteOf(ringFrame), reinterpret_cast<std::uint8_t const*>(samples.data()),
                      static_cast<std::uint32_t>(samples.size() * sizeof(std::int16_t)));
        fromFrame += count;
    }
}

void CaptureBuffer::Retire() {
    isCapturing_ = false;
    isLooping_ = false;
    endFrame_ = INT64_MAX;
    cursor_.Stop();
}

void CaptureBuffer::ApplySettings() {
    CatchUp();
    cursor_.SetRate(format_.nSamplesPerSec, endpoint_.skewPartsPerBillion);
    if (isCapturing_) {
        cursor_.Start(std::max({Now(), startNanoSec_, endpoint_.stalledUntilNanoSec}));
    }
}

// --- what the module asks for

HRESULT CaptureBuffer::GetCaps(DSCBCAPS* caps) const {
    if (caps == nullptr || caps->dwSize < sizeof(DSCBCAPS)) {
        return DSERR_INVALIDPARAM;
    }
    caps->dwFlags = flags_;
    caps->dwBufferBytes = ring_.Size();
    caps->dwReserved = 0;
    return DS_OK;
}

HRESULT CaptureBuffer::GetCurrentPosition(DWORD* capture, DWORD* read) {
    if (capture == nullptr && read == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    if (capture != nullptr) {
        *capture = ByteOf(readFrame_ + (isCapturing_ ? endpoint_.leadFrames : 0));
    }
    if (read != nullptr) {
        *read = ByteOf(readFrame_);
    }
    return DS_OK;
}

HRESULT CaptureBuffer::GetStatus(DWORD* status) {
    if (status == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    *status = (isCapturing_ ? DSCBSTATUS_CAPTURING : 0U) | (isLooping_ ? DSCBSTATUS_LOOPING : 0U);
    return DS_OK;
}

bool CaptureBuffer::IsCaptured(DWORD offset, DWORD bytes) const {
    std::int64_t const captured = readFrame_ * format_.nBlockAlign;
    std::int64_t const size = ring_.Size();
    std::int64_t const end = std::int64_t{offset} + bytes;
    if (end > captured && captured < size) {
        return false;
    }
    // Against the clock's sense from the cursor back to where the lock begins.
    std::int64_t const distance = (captured % size - offset + size) % size;
    return !isCapturing_ || bytes <= distance;
}

HRESULT CaptureBuffer::Lock(DWORD offset, DWORD bytes, RingMemory::Region& first, RingMemory::Region& second,
                            bool mayWrap, DWORD flags) {
    if ((flags & ~static_cast<DWORD>(DSCBLOCK_ENTIREBUFFER)) != 0) {
        return DSERR_INVALIDPARAM;
    }
    if ((flags & DSCBLOCK_ENTIREBUFFER) != 0) {
        bytes = ring_.Size();
    }
    if (!ring_.Contains(offset, bytes)) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    if (!IsCaptured(offset, bytes)) {
        ReportMisuse("a lock of what is not captured yet");
    }
    switch (endpoint_.lockFault) {
        case LockFault_t::NullAddress:
            first = {nullptr, bytes};
            break;
        case LockFault_t::ZeroBytes:
            first = {ring_.Address(offset), 0};
            break;
        case LockFault_t::SecondAlone:
            first = {nullptr, 0};
            second = {ring_.Address(offset), bytes};
            break;
        case LockFault_t::None:
            OpenLock(offset, bytes, mayWrap, first, second);
            break;
    }
    return DS_OK;
}

HRESULT CaptureBuffer::Start(DWORD flags) {
    if ((flags & ~static_cast<DWORD>(DSCBSTART_LOOPING)) != 0) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    if (isCapturing_) {
        return DS_OK;
    }
    MoveTo(std::max(readFrame_, cursor_.Frame()));
    isCapturing_ = true;
    isLooping_ = (flags & DSCBSTART_LOOPING) != 0;
    endFrame_ = isLooping_ ? INT64_MAX : readFrame_ - readFrame_ % RingFrames() + RingFrames();
    startNanoSec_ = Now() + endpoint_.startDelayNanoSec;
    ApplySettings();
    return DS_OK;
}

HRESULT CaptureBuffer::Stop() {
    CatchUp();
    Retire();
    return DS_OK;
}

HRESULT CaptureBuffer::Unlock(RingMemory::Region first, RingMemory::Region second) {
    return CloseLock(first, second) ? DS_OK : DSERR_INVALIDPARAM;
}

} // namespace Simulation
