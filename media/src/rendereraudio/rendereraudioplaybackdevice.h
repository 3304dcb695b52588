#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <memory>

// Declared only: a host that includes the module's headers shall not get DirectSound's.
struct IDirectSound8;

namespace Media {

class RendererAudioPlaybackBuffer;

/// The module's one DirectSound output: the system's default playback device, the registry of the live
/// playback buffers, and the thread that services them.
///
/// **Threads:** `Open`, `GetSound`, `AddBuffer` and `RemoveBuffer` from any thread. `Close` only while
/// nothing else opens, closes or uses the device: when the renderer is shut down or destroyed. The playback
/// thread, "Media.RendererAudio.Playback", runs from `Open` to `Close`.
/// **Ownership:** owned by the renderer, outlives every session. Owns DirectSound, the thread and the
/// events; holds plain pointers to the buffers.
class RendererAudioPlaybackDevice {
public:
    /// Closed, with no device known. Creates the wake event.
    RendererAudioPlaybackDevice();
    /// Closes the device and frees the events.
    ~RendererAudioPlaybackDevice();
    RendererAudioPlaybackDevice(RendererAudioPlaybackDevice const&) = delete;
    RendererAudioPlaybackDevice& operator=(RendererAudioPlaybackDevice const&) = delete;

    /// Enumerates the outputs unless some are known, creates DirectSound on the default one with the priority
    /// cooperative level on the desktop window, and starts the playback thread. Does nothing when open.
    ///
    /// 0; -26 (enumeration failed), the statuses of `StatusOfCreateFailure`, -1 (cooperative level refused).
    /// A failure of creation without a status of its own gives 0 with the device still closed. Passes
    /// through what thread creation throws; the device is then closed.
    int Open();

    /// Ends the playback thread and releases DirectSound. Does nothing when closed. Known devices and
    /// registered buffers stay, which keep DirectSound's object and sound on, unserviced, until they go or
    /// the device is opened again: it may be, any number of times.
    void Close();

    /// The DirectSound object to create sound buffers with; null unless the device is open and at least one
    /// output is known.
    boost::intrusive_ptr<IDirectSound8> GetSound() const;

    /// Registers `buffer` for servicing and returns its event (a Win32 handle), for DirectSound to signal.
    /// The event is the device's, closed by `RemoveBuffer`; null when the system has none left.
    void* AddBuffer(RendererAudioPlaybackBuffer& buffer);

    /// Ends the servicing of `buffer`: when this returns, no service pass of it runs or will run. An unknown
    /// buffer is ignored.
    void RemoveBuffer(RendererAudioPlaybackBuffer const& buffer);

private:
    friend struct RendererAudioPlaybackDevicePeer;

    void RunPlaybackThread();
    void WaitAndService();

    struct Fields;
    std::unique_ptr<Fields> const fields_;
};

} // namespace Media
