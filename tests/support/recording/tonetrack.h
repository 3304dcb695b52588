#pragma once

#include <cstdint>
#include <vector>

#include "listening/samples.h"
#include "support/recording/disturbance.h"

namespace TestSupport {

/// Tones are measured in blocks of 20 ms.
constexpr std::int64_t ToneBlockSamples = 960;

/// A tone in one block.
struct ToneMeasure {
    /// Amplitude.
    float levelLsb = 0.0F;
    /// At the block's first sample, in periods from 0 to 1.
    float phase = 0.0F;
};

/// Level and phase of a tone in every whole block of `ToneBlockSamples` of `heard`.
std::vector<ToneMeasure> MeasureTone(Listening::SampleView heard, double toneHz);

/// Blocks in a row in which a session's tone had not its level or did not go on in phase: silence, other
/// sound, or a break in it.
struct ToneFault {
    std::size_t session = 0;
    std::int64_t firstBlock = 0;
    std::int64_t blocks = 0;
    /// Of the level that the tone has otherwise, the farthest from 1.
    float levelRatio = 1.0F;
    /// By how much the phase steps, in periods, at the most.
    float turn = 0.0F;
};

/// The faults of one session's tone in the blocks `[first, last)`.
std::vector<ToneFault> FindToneFaults(std::size_t session, std::vector<ToneMeasure> const& tone,
                                      double toneHz, std::int64_t first, std::int64_t last);

/// What the faults are due to, as far as it can be told from outside.
struct FaultTally {
    /// At least half of the sessions at the same time, and more than one: the output that they share.
    std::vector<ToneFault> common;
    /// Close to such: the output comes to itself again, session by session.
    std::vector<ToneFault> besideCommon;
    /// Right after the session's playback frequency was changed: the output's resampler comes in or goes,
    /// with a shift of its own.
    std::vector<ToneFault> atFrequencyChanges;
    /// Where the module told that it touched the cursor.
    std::vector<ToneFault> atCursorMoves;
    /// All others: the session's own.
    std::vector<ToneFault> own;
};

/// Faults this close to one of all sessions belong to it: half a second.
constexpr std::int64_t AftermathBlocks = 25;

/// The stretch around a fault of all sessions in which faults are put down to it.
Disturbance PlaceCommon(ToneFault const& fault);

/// `frequencyChanges` and `cursorMoves` are where these are heard.
FaultTally SortFaults(std::vector<ToneFault> const& faults, std::size_t sessions,
                      std::vector<Disturbance> const& frequencyChanges,
                      std::vector<Disturbance> const& cursorMoves);

} // namespace TestSupport
