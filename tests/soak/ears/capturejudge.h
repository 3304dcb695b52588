#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "ears/histogram.h"

namespace Soak {

/// Judges the frames of a microphone that hears `MicrophoneSample`: is any missing, or a part of one?
class CaptureJudge {
public:
    /// `samples` of the frame with this number (`FrameIdent::sequenceNumber`).
    void AddFrame(std::uint32_t sequenceNumber, std::vector<std::int16_t> const& samples);

    std::uint64_t GetFrames() const { return frames_; }
    /// Frames whose number is not the one before's plus one.
    std::uint64_t GetNumberGaps() const { return numberGaps_; }
    /// Places at which the tone does not go on in phase: something is missing between two frames, or within
    /// one.
    std::uint64_t GetBreaks() const { return breaks_; }
    /// Frames without the tone at its level.
    std::uint64_t GetFaintFrames() const { return faintFrames_; }

private:
    std::uint64_t frames_ = 0;
    std::uint64_t numberGaps_ = 0;
    std::uint64_t breaks_ = 0;
    std::uint64_t faintFrames_ = 0;
    std::uint32_t nextNumber_ = 0;
    double nextPhase_ = 0.0;
    bool hasTone_ = false;
};

/// What came through the microphone in a run.
struct Captured {
    CaptureJudge judge;
    /// From the first frame's arrival to the end.
    double seconds = 0.0;
    std::uint64_t reads = 0;
    /// Reads by what they found.
    std::uint64_t readsWithMoreThanOneFrame = 0;
    /// By status; what is usual (0, and -30 for nothing yet) left out.
    std::map<int, std::uint64_t> failures;
    Histogram intervalMilliSec{0.0, 1000.0, 0.5};
    float lowestLevel = 1.0F;
    float highestLevel = 0.0F;
};

} // namespace Soak
