#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include "model/rules.h"
#include "model/trace.h"

namespace ModelTest {

/// Bytes that somebody else owns; null for none.
struct Bytes {
    std::uint8_t const* data = nullptr;
    std::uint32_t count = 0;
};

/// A frame as the codec gives it.
struct DecodedFrame {
    bool isNull = false;
    std::uint32_t rate = 48000;
    std::int64_t durationNanoSec = 0;
    Bytes samples;
};

/// A frame and what the codec will make of it.
struct IncomingFrame {
    std::int64_t timestampNanoSec = 0;
    std::uint32_t coding = 0x300;
    std::uint32_t rate = 48000;
    std::uint32_t channels = 1;
    Bytes samples;
    std::vector<DecodedFrame> decoded;
    std::vector<DecodedFrame> transcoded;
};

/// What a playback buffer knows, in plain numbers. Positions are samples, times nanoseconds.
struct PlaybackRecord {
    bool hasSound = false;
    bool hasNotify = false;
    std::uint32_t notifyByte = 0;
    std::uint32_t notifyEvent = 0;
    std::uint32_t ringSamples = 0;
    std::uint32_t sourceFrequency = 0;
    std::uint32_t playFrequency = 0;
    std::uint32_t bytesPerSample = 2;
    std::uint32_t writePos = 0;
    std::uint32_t writeEnd = 0;
    std::uint32_t clearedEnd = 0;
    std::uint32_t lastServicedWritePos = 0;
    std::uint32_t measuredLagSum = 0;
    std::uint32_t expectedLagSum = 0;
    std::int64_t nsPerSample = 1;
    std::int64_t baseTimestamp = 0;
    std::int64_t lastPresentTime = 0;
    std::int64_t driftWindowStart = 0;
    float volume = 1.0F;
    float pan = 0.5F;
    std::uint16_t lastSample = 0;
    std::uint8_t active = 0;
    bool hasDecoded = false;
    Bytes decoded;
};

/// The sound buffer as the platform has it, but for its cursor.
struct SoundModel {
    std::uint32_t number = 0;
    std::vector<std::uint8_t> ring;
    bool isPlaying = false;
    bool isLost = false;
    std::int32_t volume = 0;
    std::int32_t pan = 0;
    std::uint32_t frequency = 48000;
};

/// What a playback session does, step by step, said once more in the plainest way.
///
/// **Ownership:** borrows the trace and the rules.
class PlaybackModel {
public:
    PlaybackModel(Rules const& rules, Trace& trace, std::int64_t nowNanoSec);

    /// Writes and presents a frame; `playByte` is where the platform reports the cursor now. Gives the
    /// result, and the time in `presentation`.
    bool Render(IncomingFrame const& frame, std::int64_t& presentation, std::int64_t nowNanoSec,
                std::uint32_t playByte);
    void ApplyClientState(float volume, float balance);
    void Service(std::int64_t nowNanoSec, std::uint32_t playByte);
    /// The sound buffer's end, which is the session's.
    void ReleaseSound();

    /// The platform takes the buffer's memory away, or splits locks from now on.
    void Lose();
    void SetLockSplit(std::uint32_t bytes) { lockSplitBytes_ = bytes; }

    PlaybackRecord record;
    SoundModel sound;
    /// Stretches of the ring (first byte, count) that the last step wrote; the runner clears it.
    std::vector<std::pair<std::uint32_t, std::uint32_t>> changes;

private:
    struct Regions {
        std::uint32_t first = 0;
        std::uint32_t firstBytes = 0;
        bool hasSecond = false;
        std::uint32_t second = 0;
        std::uint32_t secondBytes = 0;
    };

    void Log(int level, std::string message);
    void CreateSound(IncomingFrame const& frame);
    bool Write(IncomingFrame const& frame);
    void Place(std::int64_t timestampNanoSec);
    void CloseGap();
    bool Decode(IncomingFrame const& frame);
    bool Copy(Bytes samples, std::uint32_t coding);
    bool Clear(std::uint32_t position, std::uint32_t count);
    void ClearPlayed(std::uint32_t play);
    bool Lock(std::uint32_t byte, std::uint32_t count, Regions& regions);
    std::uint32_t TryLock(std::uint32_t byte, std::uint32_t count, Regions& regions);
    void Unlock(Regions const& regions);
    void Put(std::uint32_t byte, std::uint8_t const* data, std::uint32_t count);
    void Present(std::int64_t& presentation, std::int64_t nowNanoSec, std::uint32_t playByte);
    void Start(std::uint32_t position);
    void Jump(std::uint32_t position);
    void SetSoundFrequency(std::uint32_t hertz);
    void ControlDrift(std::int64_t nowNanoSec, std::uint32_t lag, std::uint32_t ahead);
    void StopIdle(std::int32_t idleMilliSec);
    void StopSound();
    void SetSoundVolume(std::int32_t volume);
    void ApplyVolume();
    void ApplyPan();

    Rules const& rules_;
    Trace& trace_;
    std::uint32_t lockSplitBytes_ = 0;
    std::uint32_t soundCount_ = 0;
};

} // namespace ModelTest
