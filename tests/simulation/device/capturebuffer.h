#pragma once

#include <cstdint>
#include <vector>

#include "simulation/win32/dsoundheaders.h"

#include "simulation/device/cursorclock.h"
#include "simulation/device/ringmemory.h"
#include "simulation/win32/platformmutex.h"

namespace Simulation {

class World;

/// One simulated capture buffer: a ring that the microphone fills, and its cursors. The module calls it
/// through COM (`CaptureBufferInterface`); tests look into it here.
///
///     CaptureBuffer& buffer = world.OnlyCaptureBuffer();
///     world.Clock().AdvanceMilliSec(20);
///     EXPECT_EQ(buffer.ReadSample(), 960u);          // the clock alone moves it: 48 samples a millisecond
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
class CaptureBuffer {
public:
    // --- for tests

    /// Number of the buffer: 1 for the first capture buffer that the world made. The journal uses it.
    std::uint32_t Number() const { return number_; }

    WAVEFORMATEX Format() const { return format_; }
    /// `dwFlags` of the description.
    DWORD Flags() const { return flags_; }
    std::uint32_t RingBytes() const { return ring_.Size(); }

    /// COM references.
    std::uint32_t References() const;

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

    /// Successful locks so far, and those that are open now.
    std::uint64_t LockCount() const;
    std::size_t OpenLocks() const;

    /// The ring as the module would see it now.
    std::vector<std::uint8_t> Bytes();
    /// The 16-bit value at `index` of the ring (channels interleaved).
    std::int16_t SampleAt(std::uint32_t index);
    /// `count` 16-bit values from `first` on, across the ring's end.
    std::vector<std::int16_t> Samples(std::uint32_t first, std::uint32_t count);

    // --- for the platform, its mutex held

    CaptureBuffer(World& world, std::uint32_t number, DSCBUFFERDESC const& description);
    CaptureBuffer(CaptureBuffer const&) = delete;
    CaptureBuffer& operator=(CaptureBuffer const&) = delete;

    HRESULT GetCaps(DSCBCAPS* caps) const;
    HRESULT GetCurrentPosition(DWORD* capture, DWORD* read);
    HRESULT GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) const;
    HRESULT GetStatus(DWORD* status);
    HRESULT Lock(DWORD offset, DWORD bytes, RingMemory::Region& first, RingMemory::Region& second,
                 bool mayWrap, DWORD flags);
    HRESULT Start(DWORD flags);
    HRESULT Stop();
    HRESULT Unlock(RingMemory::Region first, RingMemory::Region second);

    /// Brings cursor and ring to now.
    void CatchUp();
    /// Take the device's values over from now on.
    void ApplySkew();
    void ApplyStall();
    void SetRingCheck(bool isOn) { ring_.SetCheck(isOn); }
    /// The last reference is gone: capturing ends.
    void Retire();

    std::size_t OpenLockCount() const { return ring_.OpenLocks(); }

    /// References of the COM object; the interface class counts here.
    std::uint32_t references = 0;

private:
    std::int64_t Now() const;
    /// The ring takes in what the read cursor passes on its way to `frame`.
    void ReadUpTo(std::int64_t frame);
    void Fill(std::int64_t fromFrame, std::int64_t toFrame);
    void MoveTo(std::int64_t frame);
    bool IsCaptured(DWORD offset, DWORD bytes) const;
    void ReportMisuse(std::string const& problem);
    std::int64_t RingFrames() const { return ring_.Size() / format_.nBlockAlign; }
    std::uint32_t ByteOf(std::int64_t frame) const;

    World& world_;
    std::uint32_t const number_;
    WAVEFORMATEX const format_;
    DWORD const flags_;
    RingMemory ring_;

    /// Its frame is the index of the sample that is being captured; it never wraps.
    CursorClock cursor_;
    /// Frame from which cursor steps are counted: where capturing began or the cursor was set.
    std::int64_t stepOrigin_ = 0;
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
