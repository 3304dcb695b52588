#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "simulation/calljournal.h"
#include "simulation/capturesettings.h"
#include "simulation/device/capturebuffer.h"
#include "simulation/device/soundbuffer.h"
#include "simulation/devicesettings.h"
#include "simulation/faultplan.h"
#include "simulation/manualclock.h"
#include "simulation/shaker.h"
#include "simulation/win32/eventtable.h"
#include "simulation/win32/scheduler.h"

namespace Simulation {

class CaptureBufferInterface;
class CaptureInterface;
class DirectSoundInterface;
class SoundBufferInterface;

/// The simulated machine that the module runs on: clock, Win32 events, sound device, capture device. One at a
/// time; a simulated call without one ends the program with a message.
///
/// In tests take `TestWorld` (testworld.h), whose complaints fail the running test:
///
///     TEST(PlaybackDevice_Open, StartsTheThreadThatBlocks) {
///         Simulation::TestWorld world;
///         world.Journal().Enable();
///         world.Faults().Fail(Simulation::Call_t::BufferLock, 2, DSERR_BUFFERLOST);
///         world.Device().SetSkewPartsPerMillion(100);
///
///         PlaybackDevice device;
///         device.Open();                            // starts a thread
///         world.WaitForBlockedThreads(1);           // it has come to its first wait
///         world.Clock().AdvanceMilliSec(1000);      // the thread ran five times, at +200, +400, ...
///
///         SoundBuffer& buffer = world.OnlyBuffer(); // what the module made
///         device.Close();
///     }                                             // leaks fail the test here
///
/// Make the world before, and end it after, everything of the module that uses it.
///
/// **Misuse** of the platform (a wrong Unlock, a release too many, a call after the last release, a handle
/// that is none, a write outside the locked region) is reported at once, through the reporter. A test that
/// provokes misuse calls `AllowMisuse()` before and looks at `TakeMisuse()`.
///
/// **Threads:** all operations from any thread, but construction and destruction.
class World : private ManualClock::Driver, public Machine {
public:
    /// Gets each complaint once, as a sentence. May run with the platform's mutex held, on any thread.
    using Reporter = std::function<void(std::string const&)>;

    /// Without a reporter a complaint ends the program.
    explicit World(Reporter reporter = nullptr);
    /// Reports every leak. No thread may be in a wait any more.
    ~World();
    World(World const&) = delete;
    World& operator=(World const&) = delete;

    ManualClock& Clock() { return clock_; }
    FaultPlan& Faults() { return faults_; }
    CallJournal& Journal() { return journal_; }
    DeviceSettings& Device() { return device_; }
    CaptureSettings& CaptureDevice() { return captureDevice_; }
    Shaker& Shaking() { return shaker_; }

    // --- sound

    /// All buffers made so far, in order, also those released.
    std::vector<SoundBuffer*> Buffers() const;
    /// Those with references.
    std::vector<SoundBuffer*> LiveBuffers() const;
    /// The one buffer with references; ends the program when there is none or more.
    SoundBuffer& OnlyBuffer() const;
    /// The latest buffer made; ends the program when there is none.
    SoundBuffer& LatestBuffer() const;

    /// DirectSound objects with references, and those made so far.
    std::size_t LiveSounds() const;
    std::size_t SoundCount() const;
    /// Of the latest DirectSound object: level (0 before it was set), window, references.
    DWORD CooperativeLevel() const;
    HWND CooperativeWindow() const;
    std::uint32_t SoundReferences() const;
    /// What GetDesktopWindow gives.
    static HWND DesktopWindow();

    // --- capture

    /// All capture buffers made so far, in order, also those released.
    std::vector<CaptureBuffer*> CaptureBuffers() const;
    /// Those with references.
    std::vector<CaptureBuffer*> LiveCaptureBuffers() const;
    /// The one capture buffer with references; ends the program when there is none or more.
    CaptureBuffer& OnlyCaptureBuffer() const;
    /// The latest capture buffer made; ends the program when there is none.
    CaptureBuffer& LatestCaptureBuffer() const;

    /// Capture objects with references, and those made so far.
    std::size_t LiveCaptures() const;
    std::size_t CaptureCount() const;
    /// References of the latest capture object.
    std::uint32_t CaptureReferences() const;

    // --- Win32 events and threads

    /// Event handles that are open.
    std::size_t OpenHandles() const;
    /// True when `handle` is open and signalled; a wait would not block.
    bool IsSignalled(HANDLE handle) const;
    /// Number of the event behind `handle` (1 for the first made), 0 for none.
    std::uint32_t EventNumber(HANDLE handle) const;

    /// Returns when exactly `count` threads are blocked in waits that nothing satisfies, and no thread that
    /// has ever blocked is running (the caller aside). Ends the program after `WatchdogSeconds`.
    void WaitForBlockedThreads(std::size_t count);
    /// Returns when a thread of this name is blocked so.
    void WaitForBlockedThread(std::string const& name);
    /// Returns when WaitForMultipleObjects has been called `count` times since the world was made; for
    /// threads that never block, since their waits fail.
    void WaitForWaitCalls(std::uint64_t count);
    std::uint64_t WaitCalls() const;
    std::size_t BlockedThreads() const;

    /// Real time after which a thread that should have come to a wait ends the program.
    static constexpr int WatchdogSeconds = 30;

    // --- complaints

    /// While allowed, misuse is only recorded.
    void AllowMisuse(bool isAllowed = true);
    /// Misuse recorded so far; `TakeMisuse` forgets it.
    std::vector<std::string> Misuse() const;
    std::vector<std::string> TakeMisuse();

    /// What is not given back now: references, event handles, locks.
    std::vector<std::string> Leaks() const;

    // --- for the platform, its mutex held unless said otherwise

    /// The world there is; ends the program with `caller` in the message when there is none. The platform's
    /// mutex is not held.
    static World& Current(char const* caller);
    /// The world there is, or null. The platform's mutex is held.
    static World* Find();

    void ReportMisuse(std::string const& text) override;
    PlaybackEndpoint& Speakers() { return speakers_; }
    CaptureEndpoint& Microphone() { return microphone_; }
    Scheduler& Threads() { return scheduler_; }
    EventTable& Events() { return events_; }
    std::int64_t NextDeviceEventNanoSec() const;
    /// Does one device event that is due at `nanoSec`, of the buffer made first.
    void RunDeviceEvent(std::int64_t nanoSec);
    DirectSoundInterface& MakeSound();
    SoundBufferInterface& MakeBuffer(DSBUFFERDESC const& description);
    CaptureInterface& MakeCapture();
    CaptureBufferInterface& MakeCaptureBuffer(DSCBUFFERDESC const& description);

private:
    void RunUntil(std::int64_t targetNanoSec) override;
    std::int64_t NowNanoSec() const override { return clock_.NowNanoSec(); }
    void Reschedule() override { scheduler_.Reschedule(); }
    bool MayBeNotified(HANDLE event) override;
    bool Notify(HANDLE event) override;

    Reporter reporter_;
    Shaker shaker_;
    ManualClock clock_;
    FaultPlan faults_;
    CallJournal journal_;
    PlaybackEndpoint speakers_;
    CaptureEndpoint microphone_;
    DeviceSettings device_;
    CaptureSettings captureDevice_;
    EventTable events_;
    Scheduler scheduler_;
    std::vector<std::unique_ptr<DirectSoundInterface>> sounds_;
    std::vector<std::unique_ptr<SoundBufferInterface>> buffers_;
    std::vector<std::unique_ptr<CaptureInterface>> captures_;
    std::vector<std::unique_ptr<CaptureBufferInterface>> captureBuffers_;
    std::vector<std::string> misuse_;
    bool isMisuseAllowed_ = false;
};

} // namespace Simulation
