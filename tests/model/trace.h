#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "simulation/call.h"

namespace ModelTest {

using Simulation::Call_t;

// Results of calls, as the platform's headers number them.
constexpr std::uint32_t Ok = 0;
constexpr std::uint32_t BufferLost = 0x88780096;
constexpr std::uint32_t NoDriver = 0x88780078;
constexpr std::uint32_t Allocated = 0x8878000A;
constexpr std::uint32_t BadFormat = 0x88780064;
constexpr std::uint32_t OutOfMemory = 0x8007000E;
constexpr std::uint32_t InvalidArgument = 0x80070057;
constexpr std::uint32_t Failure = 0x80004005;

constexpr bool HasFailed(std::uint32_t result) {
    return (result & 0x80000000U) != 0;
}

/// The `nth` call of `call` within a step (1 is the first) has no effect and returns `result`, a failure.
struct Fault {
    Call_t call = Call_t::BufferLock;
    std::uint32_t nth = 1;
    std::uint32_t result = Failure;
};

/// A call with what a reader needs of its arguments.
struct CallLine {
    static constexpr std::size_t MaxArguments = 4;

    Call_t call = Call_t::BufferLock;
    /// Number of the buffer or event called, from 1 in order of creation.
    std::uint32_t object = 0;
    std::array<std::int64_t, MaxArguments> arguments{};
    /// Of a call that counts references: nothing, 0.
    std::uint32_t result = 0;

    std::string Text() const;
    friend bool operator==(CallLine const& a, CallLine const& b) {
        return a.call == b.call && a.object == b.object && a.arguments == b.arguments && a.result == b.result;
    }
};

/// A log record.
struct LogLine {
    std::string channel;
    int level = 0;
    std::string message;
    /// Empty when the record names no place in the code.
    std::string function;

    std::string Text() const;
    friend bool operator==(LogLine const& a, LogLine const& b) {
        return a.channel == b.channel && a.level == b.level && a.message == b.message &&
               a.function == b.function;
    }
};

/// What is asked of the codec: a decode, or a transcode with these numbers.
struct CodecLine {
    bool isTranscode = false;
    std::uint32_t coding = 0;
    std::uint32_t channels = 0;
    std::uint32_t frequency = 0;
    std::int64_t durationNanoSec = 0;
    bool isFlush = false;

    std::string Text() const;
    friend bool operator==(CodecLine const& a, CodecLine const& b) {
        return a.isTranscode == b.isTranscode && a.coding == b.coding && a.channels == b.channels &&
               a.frequency == b.frequency && a.durationNanoSec == b.durationNanoSec && a.isFlush == b.isFlush;
    }
};

/// Everything that one step does to the world outside, as the model expects it; and the faults planned for
/// it.
class Trace {
public:
    /// Forgets the last step and plans the faults of the next.
    void BeginStep(std::vector<Fault> const& faults);

    /// One call of the platform: its planned fault, or what `work` gives.
    template <class Work>
    std::uint32_t Issue(Call_t call, std::uint32_t object, std::initializer_list<std::int64_t> arguments,
                        Work work) {
        std::uint32_t const fault = TakeFault(call);
        std::uint32_t const result = fault != Ok ? fault : work();
        Add(call, object, arguments, result);
        return result;
    }
    /// One call that always succeeds, when it is not planned otherwise, and changes nothing in the model.
    std::uint32_t Issue(Call_t call, std::uint32_t object,
                        std::initializer_list<std::int64_t> arguments = {}) {
        return Issue(call, object, arguments, [] { return Ok; });
    }
    /// One that then sets `field` of the model to `value`.
    template <class Value>
    void IssueSet(Call_t call, std::uint32_t object, std::initializer_list<std::int64_t> arguments,
                  Value& field, Value value) {
        Issue(call, object, arguments, [&] {
            field = value;
            return Ok;
        });
    }

    /// A new event's number.
    std::uint32_t MakeEvent();
    void SetEvent(std::uint32_t number) { Add(Call_t::Win32SetEvent, number, {number}, 0); }
    void CloseEvent(std::uint32_t number) { Add(Call_t::Win32CloseHandle, number, {number}, 0); }

    std::vector<CallLine> calls;
    std::vector<LogLine> logs;
    std::vector<CodecLine> codec;
    /// Events created so far. The two devices have one each before the first step.
    std::uint32_t events = 2;

    static constexpr std::uint32_t PlaybackWakeEvent = 1;
    static constexpr std::uint32_t CaptureWakeEvent = 2;

private:
    std::uint32_t TakeFault(Call_t call);
    void Add(Call_t call, std::uint32_t object, std::initializer_list<std::int64_t> arguments,
             std::uint32_t result);

    std::vector<Fault> faults_;
};

} // namespace ModelTest
