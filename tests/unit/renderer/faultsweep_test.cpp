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
#include "support/module/rendererview.h"
#include "support/module/sweepsample.h"
#include "unit/renderer/sweep.h"

namespace UnitTest {
namespace {

/// One life, told step by step.
class Life {
public:
    explicit Life(Simulation::World& world) : world_(world) {
        codec_.decode = DecodeToConstantFrame;
        renderer_ = std::make_unique<RendererAudio>();
        Pipeline::SetAudioRenderer(renderer_.get());
    }
    ~Life() { Pipeline::SetAudioRenderer(nullptr); }
    Life(Life const&) = delete;
    Life& operator=(Life const&) = delete;

    void Play() {
        EXPECT_THAT(renderer_->Initialize(), AnyOf(0, -1, -26, -41, -200, -202));
        session_ = OpenSession(*renderer_);
        RenderSome(4);
        SetClientState(0.25F, 0.5F);
        // Another rate builds the sound buffer anew, a coded frame is decoded.
        Render(RawFrame(Timestamp(), std::vector<std::int16_t>(160, 800), 8000), LeadMilliSec);
        Render(CodedFrame(MediaCoding_t::Aac, Timestamp()), LeadMilliSec);
        RenderSome(3);
        // In the past, then in time again.
        Render(ConstantFrame(Timestamp(), FrameSamples, 700), -LeadMilliSec);
        RenderSome(2);
        // Before the origin: the ring is cleared.
        Render(ConstantFrame(FirstTimestampNanoSec - 1, FrameSamples, 600), LeadMilliSec);
        // Idle: the service pass stops the buffer.
        world_.Clock().AdvanceMilliSec(2500);
        RenderSome(2);
    }

    void Record() {
        auto const microphone = renderer_->GetCaptureProxy();
        if (microphone != nullptr) {
            Frames frames;
            for (int i = 0; i < 3; ++i) {
                world_.Clock().AdvanceMilliSec(3 * FrameMilliSec);
                ExpectReadStatus(microphone->ReadFrames(frames));
                world_.Clock().AdvanceMilliSec(2 * FrameMilliSec);
                ExpectReadStatus(microphone->SampleLineLevel());
                EXPECT_GE(microphone->GetLineLevel(), 0.0F);
            }
            microphone->StartBufferCapture();
            microphone->StopBufferCapture();
            EXPECT_EQ(microphone->ReadFrames(frames), -30);
            microphone->StartBufferCapture();
            world_.Clock().AdvanceMilliSec(FrameMilliSec);
            ExpectReadStatus(microphone->ReadFrames(frames));
        }
        int calls = 0;
        Meter meter([&calls](float) { return ++calls < 3; });
        if (renderer_->GetLineLevelCallbacks(meter.MakeCallback())) {
            // Time waits for the thread once it has come to its first sleep.
            EXPECT_TRUE(YieldUntil([&] { return meter.GetHeld() == 0 || IsLineLevelThreadAsleep(world_); }));
            for (int i = 0; i < 3; ++i) {
                world_.Clock().AdvanceMilliSec(FrameMilliSec);
            }
            EXPECT_TRUE(meter.WaitForEnd());
        }
    }

    /// Nothing fails any more: sessions sound and the microphone is read, as the rules have it.
    void ExpectAllIsWell() {
        if (session_ == nullptr) {
            session_ = OpenSession(*renderer_);
        }
        ASSERT_NE(session_, nullptr);
        EXPECT_EQ(Render(ConstantFrame(Timestamp(), FrameSamples, 500), LeadMilliSec), Outcome_t::Succeeded);
        EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
        auto const microphone = renderer_->GetCaptureProxy();
        ASSERT_NE(microphone, nullptr);
        EXPECT_TRUE(microphone->IsInitialized());
        microphone->StartBufferCapture();
        world_.Clock().AdvanceMilliSec(2 * FrameMilliSec);
        Frames frames;
        EXPECT_EQ(microphone->ReadFrames(frames), 0);
    }

    void End() {
        session_.reset();
        renderer_->Shutdown();
        renderer_.reset();
    }

private:
    static void ExpectReadStatus(int status) {
        EXPECT_THAT(status, AnyOf(0, -1, -10, -27, -30, -41, -120, -202));
    }

    std::int64_t Timestamp() const { return FirstTimestampNanoSec + count_ * FrameNanoSec; }

    Outcome_t Render(std::shared_ptr<FrameAud> const& frame, std::int64_t leadMilliSec) {
        ++count_;
        auto const job = RenderJob(session_, frame, Kovra::JiffyTime::Now().AddMilliSec(leadMilliSec));
        renderer_->Divide(job);
        EXPECT_EQ(job->GetOutcome() == Outcome_t::Aborted, session_ == nullptr);
        world_.Clock().AdvanceMilliSec(FrameMilliSec);
        return job->GetOutcome();
    }

    void RenderSome(int frames) {
        for (int i = 0; i < frames; ++i) {
            Render(ConstantFrame(Timestamp(), FrameSamples, 1000), LeadMilliSec);
        }
    }

    void SetClientState(float balance, float volume) {
        if (session_ != nullptr) {
            PipelineClientState_t client;
            client.balance = balance;
            client.volume = volume;
            session_->SetClientState(client);
            session_->UpdateClientState();
        }
    }

    Simulation::World& world_;
    FakeCodec codec_;
    std::unique_ptr<RendererAudio> renderer_;
    boost::intrusive_ptr<PipelineState> session_;
    std::int64_t count_ = 0;
};

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
