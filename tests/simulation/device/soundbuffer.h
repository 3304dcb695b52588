#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <vector>

#include "simulation/device/devicebuffer.h"
#include "simulation/device/speaker.h"

namespace Simulation {

/// One simulated secondary sound buffer: ring, cursors, playing state, notification points. The module
/// calls it through COM (`SoundBufferInterface`); tests look into it here.
///
///     SoundBuffer& buffer = world.OnlyBuffer();
///     EXPECT_EQ(buffer.PlayByte(), 10400U);
///     EXPECT_TRUE(buffer.IsPlaying());
///     EXPECT_EQ(buffer.SampleAt(960), 123);
///
/// It lives until its `World` ends, also when all references to it are released.
///
/// **Threads:** the test's operations from any thread. The ring's bytes belong to whoever has them locked:
/// `Holds`, `SampleAt`, `Samples` and `Write` are for times at which no other thread is between Lock and
/// Unlock (they report misuse of the simulation otherwise). The simulation itself reads ring bytes only at
/// Unlock, on the thread that had them locked and only where no other lock is open, and keeps its own copy
/// for the speaker and the comparison: a thread sanitizer sees no access of the simulation that the module
/// did not order itself.
/// **Units:** a frame is one sample of every channel; times are monotonic nanoseconds.
class SoundBuffer final : public DeviceBuffer {
public:
    // --- for tests

    /// COM references to the notify interface.
    std::uint32_t NotifyReferences() const { return Locked(notifyReferences); }

    bool IsPlaying() const { return Locked(isPlaying_); }
    bool IsLooping() const { return Locked(isLooping_); }
    bool IsLost() const { return Locked(isLost_); }
    /// The true play cursor now, in bytes and in frames of the ring, whatever step it is reported in.
    std::uint32_t PlayByte() const;
    std::uint32_t PlayFrame() const;
    /// Volume and pan in hundredths of a decibel, frequency in Hz.
    LONG Volume() const { return Locked(volume_); }
    LONG Pan() const { return Locked(pan_); }
    DWORD Frequency() const { return Locked(frequency_); }

    /// The points in force, as the module set them.
    std::vector<DSBPOSITIONNOTIFY> NotificationPoints() const { return Locked(points_); }
    /// Points passed so far whose event was signalled, and those whose handle was closed by then.
    std::uint64_t FiredNotifications() const { return Locked(firedNotifications_); }
    std::uint64_t DroppedNotifications() const { return Locked(droppedNotifications_); }

    /// True when the ring holds these `count` bytes from byte `offset` on; it must not end before them.
    bool Holds(std::uint32_t offset, std::uint8_t const* bytes, std::uint32_t count) const;
    /// The 16-bit value at sample `index` of the ring (channels interleaved).
    std::int16_t SampleAt(std::uint32_t index) const;
    /// `count` 16-bit values from sample `first` on, across the ring's end.
    std::vector<std::int16_t> Samples(std::uint32_t first, std::uint32_t count) const;
    /// True when every byte of the `count` samples from `first` on is zero.
    bool IsSilent(std::uint32_t first, std::uint32_t count) const;
    /// Overwrites 16-bit samples behind the module's back, from sample `first` on.
    void Write(std::uint32_t first, std::vector<std::int16_t> const& samples);

    /// Takes the memory away, as another program in exclusive mode would: playing stops, and Lock, Play and
    /// Unlock give DSERR_BUFFERLOST until Restore. The content survives.
    void Lose();

    /// From now on what is heard is kept.
    Speaker& EnableSpeaker();
    /// The speaker, brought up to now. `EnableSpeaker` comes first.
    Speaker& GetSpeaker();

    // --- for the platform, its mutex held

    SoundBuffer(Machine& machine, PlaybackEndpoint& endpoint, std::uint32_t number,
                DSBUFFERDESC const& description);

    HRESULT GetCaps(DSBCAPS* caps) const;
    HRESULT GetCurrentPosition(DWORD* play, DWORD* write);
    HRESULT GetVolume(LONG* volume) const { return GetControl(DSBCAPS_CTRLVOLUME, volume_, volume); }
    HRESULT GetPan(LONG* pan) const { return GetControl(DSBCAPS_CTRLPAN, pan_, pan); }
    HRESULT GetFrequency(DWORD* frequency) const;
    HRESULT GetStatus(DWORD* status);
    HRESULT Lock(DWORD offset, DWORD bytes, RingMemory::Region& first, RingMemory::Region& second,
                 bool mayWrap, DWORD flags);
    HRESULT Play(DWORD reserved, DWORD priority, DWORD flags);
    HRESULT SetCurrentPosition(DWORD byte);
    HRESULT SetVolume(LONG volume) {
        return SetControl(DSBCAPS_CTRLVOLUME, volume_, DSBVOLUME_MIN, DSBVOLUME_MAX, volume);
    }
    HRESULT SetPan(LONG pan) { return SetControl(DSBCAPS_CTRLPAN, pan_, DSBPAN_LEFT, DSBPAN_RIGHT, pan); }
    HRESULT SetFrequency(DWORD frequency);
    HRESULT Stop();
    HRESULT Unlock(RingMemory::Region first, RingMemory::Region second);
    HRESULT Restore();
    HRESULT SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points);

    /// When the next notification point or the end of a buffer that does not loop is reached.
    std::int64_t NextEventNanoSec() const { return nextEventNanoSec_; }
    /// Does what is due at `nanoSec`.
    void RunEvent(std::int64_t nanoSec);
    void CatchUp() override { CatchUp(Now()); }
    void ApplySettings() override;
    /// The last reference is gone: playing ends, silently.
    void Retire();

    /// References of the notify interface, counted where the buffer's are.
    std::uint32_t notifyReferences = 0;

private:
    struct NotificationPoint {
        std::int64_t ringFrame;
        HANDLE event;
    };

    /// Brings cursor and speaker to `nanoSec`.
    void CatchUp(std::int64_t nanoSec);
    void Hear(CursorClock const& before, std::int64_t frame);
    /// Finds the next event behind frame `fromFrame`.
    void Schedule(std::int64_t fromFrame);
    void Schedule() { Schedule(cursor_.Frame()); }
    void Halt();
    void Signal(HANDLE event);
    void CheckMayRead(char const* what) const;
    /// Volume and pan, which a buffer has when its description asks for `flag`.
    HRESULT GetControl(DWORD flag, LONG control, LONG* value) const;
    HRESULT SetControl(DWORD flag, LONG& control, LONG lowest, LONG highest, LONG value);
    /// Returns when no other thread has any of these bytes locked. The platform's mutex is given up
    /// meanwhile.
    void WaitForForeignLocks(std::uint32_t offset, std::uint32_t bytes);

    PlaybackEndpoint const& endpoint_;
    std::condition_variable unlocked_;

    bool isPlaying_ = false;
    bool isLooping_ = false;
    bool isLost_ = false;
    LONG volume_ = DSBVOLUME_MAX;
    LONG pan_ = DSBPAN_CENTER;
    DWORD frequency_;

    std::vector<DSBPOSITIONNOTIFY> points_;
    std::vector<NotificationPoint> positions_;
    std::int64_t nextEventNanoSec_ = INT64_MAX;
    std::int64_t nextEventFrame_ = 0;
    std::uint64_t firedNotifications_ = 0;
    std::uint64_t droppedNotifications_ = 0;

    std::unique_ptr<Speaker> speaker_;
    /// First frame that the speaker has not heard.
    std::int64_t nextUnheardFrame_ = 0;
    /// First frame behind the end of a buffer that does not loop.
    std::int64_t endFrame_ = INT64_MAX;
};

} // namespace Simulation
