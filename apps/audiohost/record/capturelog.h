#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "kovra/time.h"
#include "listening/samples.h"
#include "listening/takecheck.h"
#include "mediacore/frame.h"
#include "page/facts.h"
#include "pipeline/capturelosses.h"

namespace AudioHost {

/// What one frame stands for.
constexpr std::int64_t CaptureFrameSamples = 960;
using Media::CaptureFrameNanoSec;
/// Frames after which the renderer's capture ring begins again: five seconds.
constexpr std::uint64_t CaptureRingFrames = 250;

/// A fifth of a second of a take.
struct CaptureSlot {
    static constexpr std::int64_t LengthNanoSec = Media::CaptureLossFinder::SlotNanoSec;

    /// Least time by which the sound read so far was behind the time that had passed, in nanoseconds; nothing
    /// when no frame came in this slot.
    std::optional<std::int64_t> behindNanoSec;
    /// Frames read until its end, since the beginning of the take.
    std::uint64_t framesRead = 0;
    /// Line level at its last read, 0.0 to 1.0.
    float level = 0.0F;
};

/// A place where a take holds less sound than time has passed.
struct CaptureLoss {
    /// About when, since the start of the take.
    std::int64_t timeNanoSec = 0;
    std::uint64_t frames = 0;
    /// The renderer's ring began again there, where it leaves out what it cannot read in one piece.
    bool isAtRingEnd = false;
};

/// Sound that is missing for good (`Media::CaptureLossFinder`). A loss in the last half second is not found.
std::vector<CaptureLoss> FindLosses(std::vector<CaptureSlot> const& slots);

/// One run of the record command.
struct CaptureLog {
    std::string name;
    Kovra::SysTime startedAt;
    bool isInterrupted = false;
    /// What was run, and on what.
    std::vector<Fact> facts;
    /// Why it ended before its time; empty when it did not.
    std::string failure;
    std::uint64_t frames = 0;
    /// Samples handed on: the last frames read may reach beyond the end that was asked for.
    std::uint64_t samples = 0;
    /// From the start to the first frame and to the last read, in nanoseconds.
    std::int64_t firstNanoSec = 0;
    std::int64_t lastNanoSec = 0;
    /// Frames that others than this program must have read, as the numbers tell.
    std::uint64_t numbersMissing = 0;
    /// Times that a frame's number was not above the one before.
    std::uint64_t numbersBack = 0;
    /// Frames not dated 20 ms after the one before.
    std::uint64_t timestampsOff = 0;
    /// Reads that failed, and the last one's status.
    std::uint64_t readsFailed = 0;
    int failedStatus = 0;
    /// Root mean square against a full-scale square wave, and greatest magnitude.
    double levelDecibel = 0.0;
    int peak = 0;
    std::vector<CaptureSlot> slots;
    std::vector<CaptureLoss> losses;
    /// Empty unless sound is kept.
    Listening::Samples sound;
    /// Against what was played into the microphone; empty when that is not known.
    std::optional<Listening::TakeCheck> check;

    std::int64_t GetReadNanoSec() const { return static_cast<std::int64_t>(frames) * CaptureFrameNanoSec; }
    std::uint64_t GetFramesLost() const;
};

/// Gathers a `CaptureLog` while frames are read.
///
/// **Threads:** all operations from any thread.
class CaptureLogKeeper {
public:
    /// With `keepSound` what comes is kept, 96 kB a second.
    explicit CaptureLogKeeper(bool keepSound) : keepSound_(keepSound) {}

    /// Before the first read: the instant that times count from.
    void SetStart(Kovra::JiffyTime start);

    /// Frames that one read gave, in their order, and the line level after it.
    void AddFrames(std::vector<std::shared_ptr<Media::FrameAud>> const& frames, float level);
    void AddSound(Listening::SampleView sound);
    void AddFailure(int status);

    struct Progress {
        std::int64_t readNanoSec = 0;
        std::uint64_t frames = 0;
        float level = 0.0F;
    };
    Progress GetProgress() const;

    /// The whole log, taken out.
    CaptureLog Take();

private:
    void CheckIdent(Media::FrameIdent const& ident);
    CaptureSlot& SlotAt(std::int64_t nanoSec);

    mutable std::mutex lock_;
    bool const keepSound_;
    // --- guarded by lock
    Kovra::JiffyTime start_;
    CaptureLog log_;
    std::optional<Media::FrameIdent> previous_;
    double energy_ = 0.0;
};

/// "0:03.2  160 frames  [############............] -24.0 dBFS".
std::string FormatCaptureProgress(CaptureLogKeeper::Progress const& progress);

} // namespace AudioHost
