#pragma once

#include <cstdint>
#include <vector>

#include "simulation/device/devicebuffer.h"

namespace Simulation {

/// One simulated capture buffer: a ring that the microphone fills, and its cursors. The module calls it
/// through COM (`CaptureBufferInterface`); tests look into it here.
///
///     CaptureBuffer& buffer = world.OnlyCaptureBuffer();
///     world.Clock().AdvanceMilliSec(20);
///     EXPECT_EQ(buffer.ReadSample(), 960U);          // the clock alone moves it: 48 samples a millisecond
///     buffer.SetReadSample(1919);                    // or 959 more, at this instant
///     EXPECT_EQ(buffer.SampleAt(5), CaptureSettings::Pattern(5));
///
/// The ring holds, up to the read cursor as it is reported, what was captured; behind the cursor it holds the
/// oldest samples, or `RingMemory::FillByte` before the first lap. A buffer starts where it was stopped;
/// what a cursor step holds back at the stop is there at the next start.
///
/// **Misuse**, beside that of every buffer: a Lock of what has not been captured (while capturing, of a
/// region that reaches across the read cursor or begins at it), a write into a locked region.
///
/// It lives until its `World` ends, also when all references to it are released.
///
/// **Threads:** the test's operations from any thread, at any time. The simulation writes no byte of the ring
/// that is locked: what is captured into a locked region comes into the ring at the Unlock.
/// **Units:** a sample here is one of every channel; times are monotonic nanoseconds.
class CaptureBuffer final : public DeviceBuffer {
public:
    // --- for tests

    bool IsCapturing();
    bool IsLooping();

    /// The read cursor as it is reported now, in bytes and in samples of the ring.
    std::uint32_t ReadByte();
    std::uint32_t ReadSample();
    /// Samples that have come into the ring since the first start: the index of the next one.
    std::uint64_t CapturedSamples();

    /// The buffer captures `count` samples at this instant, also when it is stopped or stalled; the read
    /// cursor stands exactly behind them, whatever its step.
    void CaptureAtOnce(std::uint64_t count);
    /// The same, until the read cursor stands at `sample` of the ring; nothing when it does already.
    void SetReadSample(std::uint32_t sample);

    /// The 16-bit value at `index` of the ring (channels interleaved).
    std::int16_t SampleAt(std::uint32_t index);
    /// `count` 16-bit values from `first` on, across the ring's end.
    std::vector<std::int16_t> Samples(std::uint32_t first, std::uint32_t count);

    // --- for the platform, its mutex held

    CaptureBuffer(Machine& machine, CaptureEndpoint& endpoint, std::uint32_t number,
                  DSCBUFFERDESC const& description);

    HRESULT GetCaps(DSCBCAPS* caps) const;
    HRESULT GetCurrentPosition(DWORD* capture, DWORD* read);
    HRESULT GetStatus(DWORD* status);
    HRESULT Lock(DWORD offset, DWORD bytes, RingMemory::Region& first, RingMemory::Region& second,
                 bool mayWrap, DWORD flags);
    HRESULT Start(DWORD flags);
    HRESULT Stop();
    HRESULT Unlock(RingMemory::Region first, RingMemory::Region second);

    void CatchUp() override;
    void ApplySettings() override;
    /// The last reference is gone: capturing ends.
    void Retire();

private:
    /// The ring takes in what the read cursor passes on its way to `frame`.
    void ReadUpTo(std::int64_t frame);
    void Fill(std::int64_t fromFrame, std::int64_t toFrame);
    void MoveTo(std::int64_t frame);
    bool IsCaptured(DWORD offset, DWORD bytes) const;

    CaptureEndpoint const& endpoint_;
    /// The read cursor as it is reported, without wrapping.
    std::int64_t readFrame_ = 0;
    /// First frame behind the end of a buffer that does not loop.
    std::int64_t endFrame_ = INT64_MAX;
    /// When capturing began, the start delay included.
    std::int64_t startNanoSec_ = 0;
    bool isCapturing_ = false;
    bool isLooping_ = false;
};

} // namespace Simulation
