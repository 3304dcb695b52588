#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/world.h"
#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/fakecodec.h"
#include "support/module/modulescope.h"
#include "support/module/rendererview.h"
#include "support/module/unittest.h"

namespace UnitTest {

constexpr std::int64_t LeadMilliSec = 100;

inline Frames DecodeToConstantFrame(Frames const& frames) {
    return {ConstantFrame(frames.front()->GetTimestamp().NanoSec(), FrameSamples, 900)};
}

inline bool IsLineLevelThreadAsleep(Simulation::World& world) {
    Simulation::PlatformLock const lock(Simulation::PlatformMutex());
    return world.Threads().IsBlocked(LineLevelThreadName);
}

/// A whole life of a renderer, of one session and the microphone, told step by step. Every call into the
/// module stands in a `ModuleScope`.
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
        int const status = InModule([&] { return renderer_->Initialize(); });
        EXPECT_THAT(status, AnyOf(0, -1, -26, -41, -200, -202));
        session_ = Open();
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
        auto const microphone = GetMicrophone();
        if (microphone != nullptr) {
            Frames frames;
            for (int i = 0; i < 3; ++i) {
                world_.Clock().AdvanceMilliSec(3 * FrameMilliSec);
                ExpectReadStatus(Read(*microphone, frames));
                world_.Clock().AdvanceMilliSec(2 * FrameMilliSec);
                ExpectReadStatus(InModule([&] { return microphone->SampleLineLevel(); }));
                EXPECT_GE(InModule([&] { return microphone->GetLineLevel(); }), 0.0F);
            }
            Start(*microphone);
            InModule([&] { microphone->StopBufferCapture(); });
            EXPECT_EQ(Read(*microphone, frames), -30);
            Start(*microphone);
            world_.Clock().AdvanceMilliSec(FrameMilliSec);
            ExpectReadStatus(Read(*microphone, frames));
        }
        int calls = 0;
        Meter meter([&calls](float) { return ++calls < 3; });
        if (StartMeter(meter)) {
            // Time waits for the thread once it has come to its first sleep.
            EXPECT_TRUE(YieldUntil([&] { return meter.GetHeld() == 0 || IsLineLevelThreadAsleep(world_); }));
            for (int i = 0; i < 3; ++i) {
                world_.Clock().AdvanceMilliSec(FrameMilliSec);
            }
            EXPECT_TRUE(meter.WaitForEnd());
        }
    }

    /// Closes everything and begins again.
    void Reopen() {
        InModule([&] {
            session_.reset();
            renderer_->Shutdown();
            renderer_->Initialize();
        });
        session_ = Open();
        RenderSome(2);
    }

    /// Nothing fails any more: sessions sound and the microphone is read, as the rules have it.
    void ExpectAllIsWell() {
        if (session_ == nullptr) {
            session_ = Open();
        }
        ASSERT_NE(session_, nullptr);
        EXPECT_EQ(Render(ConstantFrame(Timestamp(), FrameSamples, 500), LeadMilliSec), Outcome_t::Succeeded);
        EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
        auto const microphone = GetMicrophone();
        ASSERT_NE(microphone, nullptr);
        EXPECT_TRUE(microphone->IsInitialized());
        Start(*microphone);
        world_.Clock().AdvanceMilliSec(2 * FrameMilliSec);
        Frames frames;
        EXPECT_EQ(Read(*microphone, frames), 0);
    }

    /// Sound buffers that DirectSound still has, of which the device knows as many: nothing is half made.
    void ExpectBuffersAreRegistered() {
        if (session_ != nullptr) {
            bool const hasSound = BufferOf(*session_).HasSoundBuffer();
            EXPECT_EQ(world_.LiveBuffers().size(), hasSound ? 1U : 0U);
            EXPECT_EQ(BuffersOf(DeviceOf(*renderer_)).size(), hasSound ? 2U : 1U);
        }
    }

    void End() {
        auto const microphone = GetMicrophone();
        InModule([&] {
            session_.reset();
            renderer_->Shutdown();
            renderer_.reset();
        });
        // A host may keep the microphone longer than the renderer.
        if (microphone != nullptr) {
            Frames frames;
            InModule([&] { microphone->StopBufferCapture(); });
            Start(*microphone);
            EXPECT_EQ(Read(*microphone, frames), -27);
        }
    }

private:
    boost::intrusive_ptr<PipelineState> Open() {
        return InModule([&] { return OpenSession(*renderer_); });
    }

    std::shared_ptr<RendererAudioCaptureProxy> GetMicrophone() {
        return InModule([&] { return renderer_->GetCaptureProxy(); });
    }

    static void Start(RendererAudioCaptureProxy& microphone) {
        InModule([&] { microphone.StartBufferCapture(); });
    }

    static int Read(RendererAudioCaptureProxy& microphone, Frames& frames) {
        return InModule([&] { return microphone.ReadFrames(frames); });
    }

    bool StartMeter(Meter& meter) {
        auto const callback = meter.MakeCallback();
        return InModule([&] { return renderer_->GetLineLevelCallbacks(callback); });
    }

    static void ExpectReadStatus(int status) {
        EXPECT_THAT(status, AnyOf(0, -1, -10, -27, -30, -41, -120, -202));
    }

    std::int64_t Timestamp() const { return FirstTimestampNanoSec + count_ * FrameNanoSec; }

    Outcome_t Render(std::shared_ptr<FrameAud> const& frame, std::int64_t leadMilliSec) {
        ++count_;
        auto const job = RenderJob(session_, frame, Kovra::JiffyTime::Now().AddMilliSec(leadMilliSec));
        InModule([&] { renderer_->Divide(job); });
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
            InModule([&] { session_->UpdateClientState(); });
        }
    }

    Simulation::World& world_;
    FakeCodec codec_;
    std::unique_ptr<RendererAudio> renderer_;
    boost::intrusive_ptr<PipelineState> session_;
    std::int64_t count_ = 0;
};

} // namespace UnitTest
