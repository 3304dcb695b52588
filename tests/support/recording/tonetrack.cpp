#include "support/recording/tonetrack.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "listening/stats.h"

namespace TestSupport {

namespace {

/// A frame that is missing lies in one block or two, of which one then has at most half its level.
constexpr float MinLevelRatio = 0.7F;
constexpr float MaxLevelRatio = 1.3F;

/// A frame left out or repeated turns the phase by 0.3 periods, sound of five seconds ago by 0.25, and what
/// other tones' breaks spill into a block by 0.05.
constexpr float MaxStepPeriods = 0.12F;
/// Half a dozen blocks with a break in them would not change the median of so many to either side.
constexpr std::int64_t NeighbourBlocks = 8;

/// Faults of one moment may begin a block apart, since sessions are out of step by some milliseconds.
constexpr std::int64_t SameMomentBlocks = 2;

float MedianLevel(std::vector<ToneMeasure> const& tone, std::int64_t first, std::int64_t last) {
    std::vector<double> levels;
    for (std::int64_t block = first; block < last; ++block) {
        levels.push_back(static_cast<double>(tone[static_cast<std::size_t>(block)].levelLsb));
    }
    return static_cast<float>(Listening::Median(std::move(levels)));
}

/// To the nearest whole number: -0.5 to 0.5.
float Wrap(double periods) {
    return static_cast<float>(periods - std::round(periods));
}

/// By how much the phase of each block is ahead of what the block before leads to. It is the same for all
/// blocks as long as the sound is not broken, and not 0 when it plays faster or slower.
std::vector<float> MeasureTurns(std::vector<ToneMeasure> const& tone, double toneHz) {
    double const advance = toneHz * static_cast<double>(ToneBlockSamples) / Listening::SoundRateHz;
    std::vector<float> turns(tone.size(), 0.0F);
    for (std::size_t i = 1; i < tone.size(); ++i) {
        turns[i] =
            Wrap(static_cast<double>(tone[i].phase) - static_cast<double>(tone[i - 1].phase) - advance);
    }
    return turns;
}

/// How much more the phase turns over this block, from the one before to the one after, than over its
/// neighbours. Over two blocks, since that of a block with a break in it is neither the old nor the new one.
float StepAt(std::vector<float> const& turns, std::int64_t block) {
    auto const size = static_cast<std::int64_t>(turns.size());
    std::int64_t const from = std::max<std::int64_t>(1, block - NeighbourBlocks);
    std::int64_t const to = std::min(size, block + NeighbourBlocks + 1);
    if (block < 1 || block + 1 >= size) {
        return 0.0F;
    }
    std::vector<float> around(turns.begin() + from, turns.begin() + to);
    auto const middle = around.begin() + static_cast<std::ptrdiff_t>(around.size() / 2);
    std::nth_element(around.begin(), middle, around.end());
    auto const usual = static_cast<double>(*middle);
    auto const index = static_cast<std::size_t>(block);
    return Wrap(static_cast<double>(turns[index]) + static_cast<double>(turns[index + 1]) - 2.0 * usual);
}

bool IsNear(std::int64_t block, ToneFault const& fault) {
    return block >= fault.firstBlock - SameMomentBlocks &&
           block < fault.firstBlock + fault.blocks + SameMomentBlocks;
}

/// Sessions at fault in each block.
using SessionsOfBlocks = std::map<std::int64_t, std::set<std::size_t>>;

/// A break in a tone spills into those beside it when many tones lie close together.
bool IsNextToChange(std::size_t session, std::vector<Disturbance> const& frequencyChanges, std::int64_t first,
                    std::int64_t last) {
    constexpr std::size_t SpillSessions = 2;
    for (std::size_t near = session - std::min(session, SpillSessions); near <= session + SpillSessions;
         ++near) {
        if (IsDisturbed(frequencyChanges, near, first, last)) {
            return true;
        }
    }
    return false;
}

bool IsCommon(ToneFault const& fault, SessionsOfBlocks const& sessionsOfBlocks, std::size_t sessions) {
    std::set<std::size_t> together;
    auto const end = sessionsOfBlocks.end();
    for (auto at = sessionsOfBlocks.lower_bound(fault.firstBlock - SameMomentBlocks);
         at != end && IsNear(at->first, fault); ++at) {
        together.insert(at->second.begin(), at->second.end());
    }
    return together.size() > 1 && 2 * together.size() >= sessions;
}

} // namespace

std::vector<ToneMeasure> MeasureTone(Listening::SampleView heard, double toneHz) {
    std::vector<float> cosine(static_cast<std::size_t>(ToneBlockSamples));
    std::vector<float> sine(cosine.size());
    for (std::size_t i = 0; i < cosine.size(); ++i) {
        double const angle = 2.0 * Listening::Pi * toneHz * static_cast<double>(i) / Listening::SoundRateHz;
        cosine[i] = static_cast<float>(std::cos(angle));
        sine[i] = static_cast<float>(std::sin(angle));
    }
    std::vector<ToneMeasure> tone;
    tone.reserve(heard.GetSize() / cosine.size());
    for (std::size_t at = 0; at + cosine.size() <= heard.GetSize(); at += cosine.size()) {
        float real = 0.0F;
        float imaginary = 0.0F;
        for (std::size_t i = 0; i < cosine.size(); ++i) {
            auto const sample = static_cast<float>(heard[at + i]);
            real += sample * cosine[i];
            imaginary -= sample * sine[i];
        }
        // A sine that begins here has all of it in the negative imaginary part: its phase is 0.
        double const turns =
            std::atan2(static_cast<double>(real), -static_cast<double>(imaginary)) / (2.0 * Listening::Pi);
        float const level = std::hypot(real, imaginary) * 2.0F / static_cast<float>(ToneBlockSamples);
        tone.push_back({level, static_cast<float>(turns < 0.0 ? turns + 1.0 : turns)});
    }
    return tone;
}

std::vector<ToneFault> FindToneFaults(std::size_t session, std::vector<ToneMeasure> const& tone,
                                      double toneHz, std::int64_t first, std::int64_t last) {
    first = std::max<std::int64_t>(0, first);
    last = std::min(last, static_cast<std::int64_t>(tone.size()));
    float const usual = MedianLevel(tone, first, last);
    std::vector<float> const turns = MeasureTurns(tone, toneHz);
    std::vector<ToneFault> faults;
    for (std::int64_t block = first; block < last; ++block) {
        float const level = tone[static_cast<std::size_t>(block)].levelLsb;
        float const ratio = usual > 0.0F ? level / usual : 0.0F;
        float const step = StepAt(turns, block);
        if (ratio >= MinLevelRatio && ratio <= MaxLevelRatio && std::fabs(step) <= MaxStepPeriods) {
            continue;
        }
        if (faults.empty() || faults.back().firstBlock + faults.back().blocks != block) {
            faults.push_back({session, block, 0, 1.0F, 0.0F});
        }
        ToneFault& fault = faults.back();
        ++fault.blocks;
        fault.levelRatio =
            std::fabs(ratio - 1.0F) > std::fabs(fault.levelRatio - 1.0F) ? ratio : fault.levelRatio;
        fault.turn = std::fabs(step) > std::fabs(fault.turn) ? step : fault.turn;
    }
    return faults;
}

FaultTally SortFaults(std::vector<ToneFault> const& faults, std::size_t sessions,
                      std::vector<Disturbance> const& frequencyChanges,
                      std::vector<Disturbance> const& cursorMoves) {
    SessionsOfBlocks sessionsOfBlocks;
    for (ToneFault const& fault : faults) {
        for (std::int64_t block = fault.firstBlock; block < fault.firstBlock + fault.blocks; ++block) {
            sessionsOfBlocks[block].insert(fault.session);
        }
    }
    FaultTally tally;
    std::vector<Disturbance> commonPlaces;
    std::vector<ToneFault> others;
    for (ToneFault const& fault : faults) {
        if (IsCommon(fault, sessionsOfBlocks, sessions)) {
            tally.common.push_back(fault);
            commonPlaces.push_back(PlaceCommon(fault));
        } else {
            others.push_back(fault);
        }
    }
    for (ToneFault const& fault : others) {
        std::int64_t const first = fault.firstBlock * ToneBlockSamples;
        std::int64_t const last = first + fault.blocks * ToneBlockSamples;
        if (IsDisturbed(cursorMoves, fault.session, first, last)) {
            tally.atCursorMoves.push_back(fault);
        } else if (IsDisturbed(commonPlaces, fault.session, first, last)) {
            tally.besideCommon.push_back(fault);
        } else if (IsNextToChange(fault.session, frequencyChanges, first, last)) {
            tally.atFrequencyChanges.push_back(fault);
        } else {
            tally.own.push_back(fault);
        }
    }
    return tally;
}

Disturbance PlaceCommon(ToneFault const& fault) {
    return {std::nullopt, (fault.firstBlock - AftermathBlocks) * ToneBlockSamples,
            (fault.firstBlock + fault.blocks + AftermathBlocks) * ToneBlockSamples};
}

} // namespace TestSupport
