#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

#include "model/trace.h"

namespace ModelTest {

constexpr std::int64_t NotANumber = INT64_MIN;
/// Frames are cut from this much noise, from any place in its first part on.
constexpr std::int64_t NoiseBytes = 1 << 20;
constexpr std::int64_t MaxFrameBytes = 500'000;
/// What an advance is cut to while a cursor moves.
constexpr std::int64_t MaxBusyAdvanceNanoSec = 60'000'000'000;

// What a step of a scenario does, in numbers of 64 bits. Those that make no sense are taken for the nearest
// that do.

/// A frame; the last six numbers count when it is coded.
struct Render {
    std::int64_t timestampNanoSec = 7'000'000'000'000;
    std::int64_t coding = 0x300;
    /// Length of the frame's data; -1: the frame has no buffer.
    std::int64_t bytes = 1920;
    /// Where in the noise the frame's data is taken.
    std::int64_t dataAt = 0;
    std::int64_t rate = 48000;
    std::int64_t channels = 1;
    /// From now to the presentation; saturates.
    std::int64_t aheadNanoSec = 100'000'000;
    /// Frames that a decode gives; the last one holds the samples, unless it is null.
    std::int64_t decoded = 1;
    std::int64_t decodedRate = 48000;
    std::int64_t decodedBytes = 1920;
    std::int64_t endsInNull = 0;
    std::int64_t transcoded = 1;
    std::int64_t transcodedBytes = 1920;

    Render With(std::int64_t Render::*number, std::int64_t value) const {
        Render changed = *this;
        changed.*number = value;
        return changed;
    }
};

/// The client's levels in thousandths, or `NotANumber`.
struct Client {
    std::int64_t volume = 1000;
    std::int64_t balance = 500;
};

struct Service {};

/// Both clocks go on; by a minute at most while something plays or is captured.
struct Advance {
    std::int64_t nanoSec = 0;
};

/// The user sets the system clock on.
struct StepSystemClock {
    std::int64_t nanoSec = 0;
};

/// Another program takes the sound buffer's memory.
struct Lose {};

// --- the playback device

struct Skew {
    std::int64_t partsPerMillion = 0;
};

struct CursorStep {
    std::int64_t frames = 0;
    std::int64_t phaseFrames = 0;
};

struct StartDelay {
    std::int64_t nanoSec = 0;
};

struct LockSplit {
    std::int64_t bytes = 0;
};

// --- capture

/// The proxy starts; the first time it is made.
struct CaptureStart {};

struct CaptureStop {};

/// The proxy's buffer is stopped.
struct CaptureHalt {};

/// The proxy's buffer is created again.
struct CaptureCreate {};

struct CaptureRead {
    /// Frames that stand in the vector already.
    std::int64_t heldFrames = 0;
    /// 1: the lock gives no address, 2: no length.
    std::int64_t emptyLock = 0;
};

struct CaptureMeter {};

struct CaptureLevel {};

/// The microphone hears so much at this instant.
struct CaptureAtOnce {
    std::int64_t samples = 0;
};

struct CaptureSkew {
    std::int64_t partsPerMillion = 0;
};

struct CaptureCursorStep {
    std::int64_t frames = 0;
    std::int64_t phaseFrames = 0;
};

struct CaptureLockSplit {
    std::int64_t bytes = 0;
};

/// The capture device stands still.
struct CaptureStall {
    std::int64_t nanoSec = 0;
};

using Action =
    std::variant<Render, Client, Service, Advance, StepSystemClock, Lose, Skew, CursorStep, StartDelay,
                 LockSplit, CaptureStart, CaptureStop, CaptureHalt, CaptureCreate, CaptureRead, CaptureMeter,
                 CaptureLevel, CaptureAtOnce, CaptureSkew, CaptureCursorStep, CaptureLockSplit, CaptureStall>;

/// Where the numbers of an action are, in the order of its fields.
std::vector<std::int64_t*> NumbersOf(Action& action);
/// What the numbers of such an action are unless somebody says otherwise.
Action DefaultOf(Action const& action);

/// One step of a scenario: an action, and the faults planned for it.
///
///     Step(Render{}.With(&Render::bytes, 3)).Failing(Call_t::BufferLock, 1, BufferLost)
struct Step {
    /// An action alone is a step without faults.
    template <class Kind, class = std::enable_if_t<std::is_constructible_v<Action, Kind>>>
    Step(Kind kind) : action(std::move(kind)) {}

    Step& Failing(Call_t call, std::uint32_t nth, std::uint32_t result) {
        faults.push_back({call, nth, result});
        return *this;
    }
    template <class Kind>
    bool Is() const {
        return std::holds_alternative<Kind>(action);
    }

    /// The step as C++.
    std::string Text() const;

    Action action;
    std::vector<Fault> faults;
};

using Scenario = std::vector<Step>;

/// The scenario as an entry for the table of regressions_test.cpp.
std::string ToText(Scenario const& scenario);

} // namespace ModelTest
