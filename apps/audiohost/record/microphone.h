#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "mediacore/frame.h"

namespace AudioHost {

/// A running capture.
///
/// **Threads:** `ReadFrames` and `Restart` from one, `GetLevel` from any.
class Microphone {
public:
    virtual ~Microphone() = default;

    /// Appends the frames captured since the last call, each 20 ms of raw mono PCM at `SoundRateHz`. 0 when
    /// there are any, `NothingYet` when there are none yet, any other negative status when it failed.
    virtual int ReadFrames(std::vector<std::shared_ptr<Media::FrameAud>>& frames) = 0;
    /// Captures anew, with another DirectSound buffer.
    virtual void Restart() = 0;
    /// Line level of the last 320 ms read, 0.0 to 1.0.
    virtual float GetLevel() const = 0;

    static constexpr int NothingYet = -30;
};

/// The renderer's capture side, as the commands need it.
class CaptureAccess {
public:
    virtual ~CaptureAccess() = default;

    /// Starts capture, or joins the one that runs; null when there is no microphone.
    virtual std::shared_ptr<Microphone> Open() = 0;
    /// Has a copy of `callback` called with the line level about every 20 ms, on another thread, until it
    /// returns false; then the copy is destroyed. False when that cannot be had.
    virtual bool StartMeter(std::function<bool(float)> const& callback) = 0;
};

} // namespace AudioHost
