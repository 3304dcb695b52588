#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "model/trace.h"

namespace ModelTest {

/// What a step of a scenario does, and which numbers it takes.
enum class Action : std::uint8_t {
    /// A frame: Timestamp, Coding, Bytes, DataAt, Rate, Channels, Ahead; coded: Decoded, DecodedRate,
    /// DecodedBytes, EndsInNull, Transcoded, TranscodedBytes.
    Render,
    /// The client's Volume and Balance.
    Client,
    Service,
    /// Both clocks go on by Amount nanoseconds; by a minute at most while something plays or is captured.
    Advance,
    /// The user sets the system clock on by Amount nanoseconds.
    StepSystemClock,
    /// Another program takes the sound buffer's memory.
    Lose,
    /// The playback device: parts per million; frames and Phase; nanoseconds; bytes.
    Skew,
    CursorStep,
    StartDelay,
    LockSplit,
    /// The capture proxy starts (the first time it is made) and stops; its buffer is halted, created again.
    CaptureStart,
    CaptureStop,
    CaptureHalt,
    CaptureCreate,
    /// Amount frames stand in the vector already; Phase 1: a lock without address, 2: without length.
    CaptureRead,
    CaptureMeter,
    CaptureLevel,
    /// Amount samples at this instant.
    CaptureAtOnce,
    /// The capture device, as above; it stands still for Amount nanoseconds.
    CaptureSkew,
    CaptureCursorStep,
    CaptureLockSplit,
    CaptureStall,
};
constexpr std::size_t ActionCount = 22;

/// The numbers of a step.
enum class Number : std::uint8_t {
    Timestamp,
    Coding,
    /// Length of the frame's data; -1: the frame has no buffer.
    Bytes,
    /// Where in the noise the frame's data is taken.
    DataAt,
    Rate,
    Channels,
    /// Nanoseconds from now to the presentation; saturates.
    Ahead,
    /// Frames that a decode gives; the last one holds the samples, unless it is null.
    Decoded,
    DecodedRate,
    DecodedBytes,
    EndsInNull,
    Transcoded,
    TranscodedBytes,
    /// Thousandths, or `NotANumber`.
    Volume,
    Balance,
    Amount,
    Phase,
};
constexpr std::size_t NumberCount = 17;

constexpr std::int64_t NotANumber = INT64_MIN;
/// Frames are cut from this much noise, from any place in its first part on.
constexpr std::int64_t NoiseBytes = 1 << 20;
constexpr std::int64_t MaxFrameBytes = 500'000;
/// What an advance is cut to while a cursor moves.
constexpr std::int64_t MaxBusyAdvanceNanoSec = 60'000'000'000;

char const* ToString(Action action);
char const* ToString(Number number);
std::int64_t DefaultOf(Number number);

/// One step of a scenario: an action, its numbers where they differ from the defaults, the faults planned.
///
///     Step(Action::Render).With(Number::Timestamp, 0).With(Number::Bytes, 3).Failing(Call::Lock, 1,
///     BufferLost)
class Step {
public:
    explicit Step(Action action_);

    Step& With(Number number, std::int64_t value) {
        numbers[static_cast<std::size_t>(number)] = value;
        return *this;
    }
    Step& Failing(Call call, std::uint32_t nth, std::uint32_t result) {
        faults.push_back({call, nth, result});
        return *this;
    }

    std::int64_t Get(Number number) const { return numbers[static_cast<std::size_t>(number)]; }
    std::uint32_t Get32(Number number) const { return static_cast<std::uint32_t>(Get(number)); }

    /// The step as C++.
    std::string Text() const;

    Action action;
    std::array<std::int64_t, NumberCount> numbers;
    std::vector<Fault> faults;
};

using Scenario = std::vector<Step>;

/// The scenario as an entry for the table of regressions_test.cpp.
std::string ToText(Scenario const& scenario);

} // namespace ModelTest
