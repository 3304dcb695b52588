#pragma once

#include <cstdint>

namespace ModelTest {

/// The numbers and choices that the model goes by. They stand apart so that a test can falsify one of them
/// and see that the difference to the module is found.
struct Rules {
    // --- the playback ring
    std::uint32_t ringSamples = 240000;
    std::int64_t ringTimeSpanNanoSec = 5'000'000'000;
    std::int64_t samplePeriodNanoSec = 20833;
    bool hasEvenPositions = true;
    std::uint32_t smallGapSamples = 10;
    /// From this share of the ring on a gap is the past.
    std::uint32_t lossLimitSamples = 120000;
    bool isLossZeroed = false;
    bool isRingClearedForEarlierFrame = true;
    bool isLostBufferRestored = true;
    bool isLastSampleFromSecondRegion = true;
    std::uint32_t soundBufferFlags = 0x81E8;

    // --- presentation
    std::uint32_t clearingThresholdSamples = 15000;
    std::uint32_t clearingGranuleSamples = 128;
    std::uint32_t lagLimitSamples = 15000;
    std::uint32_t nominalFrequencyHz = 48000;
    std::uint32_t slowFrequencyHz = 47960;
    std::uint32_t fastFrequencyHz = 48040;
    double lowerRatio = 0.98;
    double upperRatio = 1.02;
    std::int32_t windowMilliSec = 1024;
    bool isPresentedAfterFailedWrite = true;
    bool isVerdictWithCurrentLag = false;
    bool isWindowRestartedByReset = false;
    bool isVolumeRestoredAtStart = true;
    /// Presentations this far ahead or less are the past.
    std::int64_t pastLimitNanoSec = -1;

    // --- service pass
    std::int32_t idleGraceMilliSec = 500;
    std::int32_t idleLimitMilliSec = 1000;
    bool doesNewFramePreventIdleStop = true;

    // --- levels
    float volumeExponent = 0.34375F;
    double panSpan = 20000.0;

    // --- capture
    std::uint32_t blockSamples = 960;
    bool isReadCutAtRingEnd = true;
    bool isMeteringCutAtRingEnd = false;
    bool isSplitBlockMeteredTwice = true;
    std::int64_t blockNanoSec = 20'000'000;
    bool isReadPositionKeptAtRestart = true;
    float levelExponent = 0.65625F;
};

} // namespace ModelTest
