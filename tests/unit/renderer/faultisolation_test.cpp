// A life of two sessions and the microphone side by side, once for every call that is made in it, with that
// call failing. Whatever fails concerns the one for whom the call was made: the others make the same calls at
// the same times, get the same statuses and levels, and the same bytes lie in their rings as if nothing had
// failed. The one concerned gets the status that is documented for the failing call, and goes on as before in
// the end.

#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "support/module/sweep.h"
#include "unit/renderer/sharedlife.h"

namespace UnitTest {
namespace {

/// The ways in which `call` fails here: those with statuses of their own, and one for all others.
std::vector<std::int64_t> FailuresOf(Call_t call) {
    switch (call) {
        case Call_t::Win32Wait:
            return {WAIT_FAILED};
        case Call_t::Win32SetEvent:
        case Call_t::Win32CloseHandle:
            return {0};
        case Call_t::SoundCreateSoundBuffer:
        case Call_t::CaptureCreateCaptureBuffer:
            // The last one succeeds without an object.
            return {E_OUTOFMEMORY, DS_OK};
        case Call_t::CaptureBufferGetCurrentPosition:
            return {E_OUTOFMEMORY, E_INVALIDARG, DSERR_NODRIVER, E_FAIL};
        case Call_t::BufferLock:
            return {DSERR_BUFFERLOST, E_FAIL};
        default:
            return {E_FAIL};
    }
}

/// What a sweep goes through. Without an event of its own a playback buffer makes every wait fail for all:
/// that the renderer lives through it, faultsweep_test.cpp shows.
bool IsSwept(Made const& made) {
    static CallSet const unswept =
        CallSet::References() | CallSet{Call_t::Win32Sleep, Call_t::Win32CreateEvent};
    static CallSet const queries{Call_t::BufferQueryBuffer8, Call_t::BufferQueryNotify,
                                 Call_t::CaptureBufferQueryBuffer8};
    if (made.party == Nobody) {
        return made.record.call == Call_t::Win32Wait;
    }
    return queries.Contains(made.record.call) || !unswept.Contains(made.record.call);
}

/// What the turn comes to in which the undisturbed life's call `made` fails; its first word counts.
std::string DocumentedResult(Made const& made, Fault const& fault) {
    switch (fault.call) {
        case Call_t::SoundCreateSoundBuffer:
        case Call_t::BufferQueryBuffer8:
        // The buffer stays lost.
        case Call_t::BufferRestore:
            return "uncompleted";
        case Call_t::BufferLock: {
            // What is cleared is longer than any frame; a lost buffer is restored, once.
            bool const isClearing = static_cast<std::size_t>(made.record.arguments[1]) > FrameSamples * 2;
            bool const isRestored = fault.result == DSERR_BUFFERLOST && !made.isAfterRestore;
            return isClearing || isRestored ? "succeeded" : "uncompleted";
        }
        case Call_t::CaptureBufferGetCurrentPosition:
            return fault.result == E_OUTOFMEMORY    ? "-202"
                   : fault.result == E_INVALIDARG   ? "-41"
                   : fault.result == DSERR_NODRIVER ? "-120"
                                                    : "-1";
        case Call_t::CaptureBufferLock:
            return "-10";
        case Call_t::CaptureCreateCaptureBuffer:
        case Call_t::CaptureBufferQueryBuffer8:
            return made.result == "proxy" ? "no proxy" : "not started";
        default:
            return made.result;
    }
}

/// The call that a life's fault met: the n-th of its kind.
Made const* FindCall(Story const& story, Fault const& fault) {
    std::uint64_t count = 0;
    for (auto const& made : story.calls) {
        if (made.record.call == fault.call && ++count == fault.nth) {
            return &made;
        }
    }
    return nullptr;
}

class RendererAudio_FaultIsolation : public testing::Test {
protected:
    void ExpectSame(Story const& story, Party_t party) const {
        SCOPED_TRACE(std::string("as seen by ") + ToString(party));
        Account const& expected = undisturbed.accounts[party];
        Account const& actual = story.accounts[party];
        EXPECT_EQ(actual.calls, expected.calls);
        EXPECT_EQ(actual.callsOfThreads, expected.callsOfThreads);
        EXPECT_EQ(actual.results, expected.results);
        EXPECT_TRUE(actual.rings == expected.rings);
    }

    /// The life with `fault`, which meets the call `swept` of the undisturbed one.
    void ExpectIsolated(Made const& swept, Fault const& fault) const {
        Story const story = SharedLife::Tell(fault);
        for (Party_t const party : {First, Second, Microphone}) {
            if (party != swept.party) {
                ExpectSame(story, party);
            }
        }
        Made const* const made = FindCall(story, fault);
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->party, swept.party);
        if (!swept.result.empty()) {
            EXPECT_EQ(FirstWordOf(made->result), FirstWordOf(DocumentedResult(swept, fault)));
        }
        if (swept.party != Nobody) {
            // The last turn but one, as in the last one the party ends; unless the call failed in that one.
            std::string const result = *(story.accounts[swept.party].results.end() - 2);
            EXPECT_TRUE(result == made->result ||
                        FirstWordOf(result) ==
                            FirstWordOf(*(undisturbed.accounts[swept.party].results.end() - 2)))
                << result;
        }
    }

    Story const undisturbed = SharedLife::Tell({});
};

TEST_F(RendererAudio_FaultIsolation, TheLifeIsTheSameEveryTime) {
    Story const story = SharedLife::Tell({});
    for (Party_t const party : {First, Second, Microphone}) {
        ExpectSame(story, party);
    }
}

TEST_F(RendererAudio_FaultIsolation, AFailingCallConcernsOnlyTheOneItWasMadeFor) {
    std::map<Call_t, std::uint64_t> counts;
    std::uint64_t points = 0;
    std::uint64_t lives = 0;
    SweepSample sample;
    for (auto const& swept : undisturbed.calls) {
        Call_t const call = swept.record.call;
        std::uint64_t const nth = ++counts[call];
        for (std::int64_t const failure : IsSwept(swept) ? FailuresOf(call) : std::vector<std::int64_t>()) {
            ++points;
            if (!sample.TakesNext()) {
                continue;
            }
            SCOPED_TRACE(std::string(Simulation::ToString(call)) + " number " + std::to_string(nth) + " of " +
                         ToString(swept.party) + " gives " + std::to_string(failure));
            ExpectIsolated(swept, {call, nth, failure, HasEffectWhenItFails(call)});
            ++lives;
            if (HasFailure()) {
                return;
            }
        }
    }
    RecordProperty("lives", static_cast<int>(lives));
    EXPECT_GE(points, 500U);
    EXPECT_EQ(lives, sample.ShareOf(points));
}

} // namespace
} // namespace UnitTest
