#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "simulation/call.h"

namespace Simulation {

/// One call that the platform served.
struct CallRecord {
    static constexpr std::size_t MaxArguments = 4;

    Call_t call = Call_t::Win32CreateEvent;
    /// Number of the object, buffer or event that was called (each kind counts from 1); 0 for none.
    std::uint32_t object = 0;
    std::array<std::int64_t, MaxArguments> arguments{};
    std::uint32_t argumentCount = 0;
    /// The value returned; an HRESULT stands as its unsigned 32 bits.
    std::int64_t result = 0;
    bool hasFailed = false;
    /// Monotonic time of the return.
    std::int64_t nanoSec = 0;
    /// Name of the calling thread, empty for one without.
    std::string threadName;

    /// "Lock(0, 1920)"; of a call that failed "Lock(0, 1920) = 0x88780096".
    std::string Text() const;
};

/// All calls served since the start or the last `Clear`, in order. Off at first: it costs memory.
///
///     world.Journal().Enable();
///     ...
///     EXPECT_THAT(world.Journal().Texts({Call_t::BufferLock, Call_t::BufferUnlock}),
///                 ElementsAre("Lock(0, 1920)", "Unlock(1920, 0)"));
///     EXPECT_THAT(world.Journal().Texts(CallSet::Buffer()), ...);        // no AddRef, no Release
///
/// Arguments in texts are those that matter to a reader: pointers are left out.
///
///     CreateEventA(manual, initial)          WaitForMultipleObjects(count, timeout)
///     SetEvent(event number)                 CloseHandle(event number)
///     CreateSoundBuffer(flags, bytes)        SetCooperativeLevel(level)
///     Lock(offset, bytes)                    Unlock(bytes 1, bytes 2)
///     Play(flags)  Stop()  Restore()         SetCurrentPosition(byte)  SetFrequency(Hz)
///     SetVolume(hundredths of dB)            SetPan(hundredths of dB)
///     SetNotificationPositions(count, first offset, first event number)
///     CreateCaptureBuffer(flags, bytes)      Start(flags)
///
/// **Threads:** all operations from any thread.
class CallJournal {
public:
    void Enable(bool isEnabled = true);
    void Clear();

    /// Texts of the calls in `calls`, on object number `object` alone when that is not 0.
    std::vector<std::string> Texts(CallSet const& calls = CallSet::All(), std::uint32_t object = 0) const;
    std::vector<CallRecord> Records(CallSet const& calls = CallSet::All(), std::uint32_t object = 0) const;

    /// For the platform, its mutex held.
    bool IsEnabled() const { return isEnabled_; }
    void Add(CallRecord record) { records_.push_back(std::move(record)); }

private:
    bool isEnabled_ = false;
    std::vector<CallRecord> records_;
};

} // namespace Simulation
