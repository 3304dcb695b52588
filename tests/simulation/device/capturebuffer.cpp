#include "simulation/device/capturebuffer.h"

#include <algorithm>
#include <string>

#include "simulation/device/bufferdescription.h"
#include "simulation/world.h"

namespace Simulation {

CaptureBuffer::CaptureBuffer(World& world, std::uint32_t number, DSCBUFFERDESC const& description)
    : world_(world),
      number_(number),
      format_(*description.lpwfxFormat),
      flags_(description.dwFlags),
      ring_(description.dwBufferBytes, world.CaptureDevice().Get().hasRingCheck, RingMemory::Access_t::Read) {
    ApplySkew();
}

std::int64_t CaptureBuffer::Now() const {
    return world_.Clock().NowNanoSec();
}

std::uint32_t CaptureBuffer::ByteOf(std::int64_t frame) const {
    return static_cast<std::uint32_t>(frame % RingFrames() * format_.nBlockAlign);
}

void CaptureBuffer::ReportMisuse(std::string const& problem) {
    world_.ReportMisuse("capture buffer " + std::to_string(number_) + ": " + problem);
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
    std::int64_t const reported = world_.CaptureDevice().Get().ReportedFrame(cursor_.Frame(), stepOrigin_);
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
    CaptureSettings::Generator const& generator = world_.CaptureDevice().GetGenerator();
    std::size_t const channels = format_.nChannels;
    std::vector<std::int16_t> samples;
    while (fromFrame < toFrame) {
        std::int64_t const ringFrame = fromFrame % RingFrames();
        std::int64_t const count = std::min(toFrame - fromFrame, RingFrames() - ringFrame);
        samples.resize(static_cast<std::size_t>(count) * channels);
        std::int16_t* next = samples.data();
        for (std::int64_t i = 0; i < count; ++i) {
            std::int16_t const sample = generator(static_cast<std::uint64_t>(fromFrame + i));
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

void CaptureBuffer::ApplySkew() {
    CatchUp();
    cursor_.SetRate(format_.nSamplesPerSec, world_.CaptureDevice().Get().skewPartsPerBillion);
}

void CaptureBuffer::ApplyStall() {
    CatchUp();
    if (isCapturing_) {
        cursor_.Start(std::max({Now(), startNanoSec_, world_.CaptureDevice().StalledUntilNanoSec()}));
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
        *capture = ByteOf(readFrame_ + (isCapturing_ ? world_.CaptureDevice().CaptureLeadFrames() : 0));
    }
    if (read != nullptr) {
        *read = ByteOf(readFrame_);
    }
    return DS_OK;
}

HRESULT CaptureBuffer::GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) const {
    return GiveFormat(format_, format, size, written);
}

HRESULT CaptureBuffer::GetStatus(DWORD* status) {
    if (status == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    *status = (isCapturing_ ? DSCBSTATUS_CAPTURING : 0u) | (isLooping_ ? DSCBSTATUS_LOOPING : 0u);
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
    CaptureSettings const& settings = world_.CaptureDevice();
    switch (settings.LockFault()) {
        case CaptureSettings::LockFault_t::NullAddress:
            first = {nullptr, bytes};
            return DS_OK;
        case CaptureSettings::LockFault_t::ZeroBytes:
            first = {ring_.Address(offset), 0};
            return DS_OK;
        case CaptureSettings::LockFault_t::None:
            break;
    }
    std::string const problem =
        ring_.Lock(offset, bytes, settings.Get().lockSplitBytes, mayWrap, first, second);
    if (!problem.empty()) {
        ReportMisuse(problem);
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
    startNanoSec_ = Now() + world_.CaptureDevice().Get().startDelayNanoSec;
    ApplyStall();
    return DS_OK;
}

HRESULT CaptureBuffer::Stop() {
    CatchUp();
    Retire();
    return DS_OK;
}

HRESULT CaptureBuffer::Unlock(RingMemory::Region first, RingMemory::Region second) {
    std::string const problem = ring_.Unlock(first, second);
    if (!problem.empty()) {
        ReportMisuse(problem);
        return DSERR_INVALIDPARAM;
    }
    return DS_OK;
}

} // namespace Simulation
