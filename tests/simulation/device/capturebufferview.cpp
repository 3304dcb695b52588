// The test's side of the capture buffer.

#include "simulation/device/capturebuffer.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

bool CaptureBuffer::IsCapturing() {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    return isCapturing_;
}

bool CaptureBuffer::IsLooping() {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    return isLooping_;
}

std::uint32_t CaptureBuffer::ReadByte() {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    return ByteOf(readFrame_);
}

std::uint32_t CaptureBuffer::ReadSample() {
    return ReadByte() / format_.nBlockAlign;
}

std::uint64_t CaptureBuffer::CapturedSamples() {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    return static_cast<std::uint64_t>(readFrame_);
}

void CaptureBuffer::CaptureAtOnce(std::uint64_t count) {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    MoveTo(readFrame_ + static_cast<std::int64_t>(count));
}

void CaptureBuffer::SetReadSample(std::uint32_t sample) {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    MoveTo(readFrame_ + (sample + RingFrames() - readFrame_ % RingFrames()) % RingFrames());
}

std::int16_t CaptureBuffer::SampleAt(std::uint32_t index) {
    return Samples(index, 1).front();
}

std::vector<std::int16_t> CaptureBuffer::Samples(std::uint32_t first, std::uint32_t count) {
    PlatformLock const lock(PlatformMutex());
    CatchUp();
    return ring_.Samples(first, count);
}

} // namespace Simulation
