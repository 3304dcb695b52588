#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "model/rules.h"
#include "model/trace.h"

namespace ModelTest {

/// What the microphone of the scenarios hears as sample number `index`: noise whose loudness changes, so that
/// levels differ and no two blocks in a row are alike.
constexpr std::int16_t MicrophoneSample(std::uint64_t index) {
    auto const noise = static_cast<std::int16_t>(static_cast<std::uint16_t>(index * 25'173));
    return static_cast<std::int16_t>(noise / (1 << (index / 7200 % 9)));
}

/// A lock that is granted and gives nothing: not, without an address, without a length.
enum class EmptyLock : std::uint8_t { None, NullAddress, ZeroBytes };

/// What the platform tells of its capture buffer at an instant.
struct CaptureView {
    std::uint32_t cursorByte = 0;
    /// Samples captured since the first start.
    std::uint64_t captured = 0;
    EmptyLock emptyLock = EmptyLock::None;
};

/// What a capture buffer knows, and the proxy that has it, in plain numbers.
struct CaptureRecord {
    bool hasBuffer = false;
    bool hasDirectSound = false;
    int proxyStatus = 0;
    std::int64_t nextTime = 0;
    std::uint32_t frameNumber = 0;
    std::uint32_t ringSamples = 0;
    std::uint32_t readPos = 0;
    std::array<std::uint8_t, 16> minRing{};
    std::array<std::uint8_t, 16> maxRing{};
    std::size_t ringIndex = 0;
    bool isLevelStale = true;
    float level = 0.0F;
};

/// A frame that a read is expected to give.
struct CapturedFrame {
    static constexpr std::size_t SizeBytes = 1920;

    std::int64_t timeNanoSec = 0;
    std::uint32_t number = 0;
    std::array<std::uint8_t, SizeBytes> samples{};
};

/// What capture through a proxy does, step by step, said once more in the plainest way.
///
/// **Ownership:** borrows the trace and the rules.
class CaptureModel {
public:
    CaptureModel(Rules const& rules, Trace& trace) : rules_(rules), trace_(trace) {}

    /// Starts or restarts; the first start makes the proxy.
    void Start(std::int64_t systemNanoSec);
    /// Destroys the buffer.
    void Stop();
    /// Stops the buffer and keeps it. There is one.
    void Halt();
    /// Creates the buffer's sound buffer (again). There is a buffer.
    int Create(std::int64_t systemNanoSec);
    /// Reads into a vector that holds `frameCount` frames already; what is added stands in `frames`.
    int Read(CaptureView const& view, std::size_t frameCount);
    int Meter(CaptureView const& view);
    float Level();

    void SetLockSplit(std::uint32_t bytes) { lockSplitBytes_ = bytes; }

    CaptureRecord record;
    std::vector<CapturedFrame> frames;
    /// Number of the platform's buffer.
    std::uint32_t number = 0;

private:
    /// A stretch of the platform's ring, in samples.
    struct Stretch {
        std::uint32_t position = 0;
        std::uint32_t count = 0;
    };

    int FindBlocks(CaptureView const& view, std::uint32_t& take);
    bool Lock(std::uint32_t take, CaptureView const& view, Stretch& first, Stretch& second);
    void Advance(std::uint32_t samples);
    void AddFrame(std::uint8_t const* bytes);
    void ReadWhole(Stretch& region, std::uint32_t& remaining, CaptureView const& view);
    std::uint32_t MeterWhole(Stretch& region, std::uint32_t& remaining, CaptureView const& view);
    void MeterStretch(Stretch region, CaptureView const& view);
    void MeterSamples(std::vector<std::int16_t> const& samples);

    Rules const& rules_;
    Trace& trace_;
    std::uint32_t lockSplitBytes_ = 0;
    std::uint32_t soundCount_ = 0;
    std::uint32_t event_ = 0;
};

} // namespace ModelTest
