// A whole life of the renderer, once for every call that it makes of DirectSound, its waits, its events and
// its window, with that call failing in every way that is documented for it. Whatever fails: nothing is
// written outside a lock, used after its end or left behind (the simulated platform says so), every status is
// a documented one, and as soon as nothing fails any more, the next frame sounds and the microphone is read.
//
// An Unlock or a CloseHandle that fails has let go all the same, as its caller can do nothing but ignore it.
// Left out is the SetEvent of a device that closes: the thread that it does not wake is joined for ever, and
// nothing but a handle that is none makes it fail.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/fakecodec.h"
#include "support/module/life.h"
#include "support/module/rendererview.h"
#include "support/module/sweep.h"

namespace UnitTest {
namespace {

/// The ways in which `call` fails.
std::vector<std::int64_t> FailuresOf(Call_t call) {
    switch (call) {
        case Call_t::Win32Wait:
            return {WAIT_FAILED, WAIT_TIMEOUT, WAIT_OBJECT_0 + 7};
        case Call_t::Win32DesktopWindow:
        case Call_t::Win32CreateEvent:
        case Call_t::Win32SetEvent:
        case Call_t::Win32CloseHandle:
            return {0};
        case Call_t::SoundCreate8:
        case Call_t::CaptureCreate8:
            // The last one succeeds without an object.
            return {CLASS_E_NOAGGREGATION, E_OUTOFMEMORY, E_INVALIDARG, DSERR_ALLOCATED,
                    DSERR_NODRIVER,        E_FAIL,        DS_OK};
        case Call_t::SoundCreateSoundBuffer:
        case Call_t::CaptureCreateCaptureBuffer:
            return {E_OUTOFMEMORY, DSERR_BADFORMAT, E_FAIL, DS_OK};
        default:
            return {DSERR_BUFFERLOST,
                    DSERR_INVALIDPARAM,
                    DSERR_PRIOLEVELNEEDED,
                    DSERR_NODRIVER,
                    E_OUTOFMEMORY,
                    E_NOINTERFACE,
                    E_FAIL};
    }
}

CallSet SweptCalls() {
    return CallSet::All() -
           CallSet{Call_t::SoundAddRef,   Call_t::SoundRelease,        Call_t::BufferAddRef,
                   Call_t::BufferRelease, Call_t::NotifyAddRef,        Call_t::NotifyRelease,
                   Call_t::CaptureAddRef, Call_t::CaptureRelease,      Call_t::CaptureBufferAddRef,
                   Call_t::Win32Sleep,    Call_t::CaptureBufferRelease};
}

/// How often each call is made in a life in which nothing fails.
std::map<Call_t, std::uint64_t> CountCalls() {
    Simulation::TestWorld world;
    world.Journal().Enable();
    Life life(world);
    life.Play();
    life.Record();
    life.ExpectAllIsWell();
    std::map<Call_t, std::uint64_t> counts;
    for (auto const& record : world.Journal().Records(SweptCalls())) {
        ++counts[record.call];
    }
    life.End();
    return counts;
}

TEST(RendererAudio_FaultSweep, EveryCallFailingAtEveryPointIsSurvivedAndTheNextFrameSounds) {
    auto const counts = CountCalls();
    // The life is whole: every kind of call that the module makes is in it.
    EXPECT_GE(counts.size(), 30U);
    std::uint64_t points = 0;
    std::uint64_t lives = 0;
    SweepSample sample;
    for (auto const& [call, count] : counts) {
        for (std::uint64_t nth = 1; nth <= count; ++nth) {
            for (std::int64_t const failure : FailuresOf(call)) {
                ++points;
                if (!sample.TakesNext()) {
                    continue;
                }
                SCOPED_TRACE(std::string(ToString(call)) + " number " + std::to_string(nth) + " gives " +
                             std::to_string(failure));
                Simulation::TestWorld world;
                world.Device().SetRingCheck(true);
                // Without its event a buffer hands DirectSound a handle that is none.
                world.AllowMisuse(call == Call_t::Win32CreateEvent);
                if (HasEffectWhenItFails(call)) {
                    world.Faults().FailAllTheSame(call, nth, failure);
                } else {
                    world.Faults().Fail(call, nth, failure);
                }
                Life life(world);
                life.Play();
                life.Record();
                world.Faults().Clear();
                life.ExpectAllIsWell();
                life.End();
                EXPECT_THAT(world.TakeMisuse(),
                            Each(HasSubstr("a notification point with a handle that is no")));
                ++lives;
                if (HasFailure()) {
                    return;
                }
            }
        }
    }
    RecordProperty("lives", static_cast<int>(lives));
    EXPECT_GE(points, 500U);
    EXPECT_EQ(lives, sample.ShareOf(points));
}

} // namespace
} // namespace UnitTest
