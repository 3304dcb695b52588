// What a session's jobs come to.

#include <thread>
#include <vector>

#include "support/module/fakecodec.h"
#include "support/module/renderertest.h"

namespace UnitTest {
namespace {

class RendererAudio_Divide : public RendererTest {
protected:
    RendererAudio_Divide() : session(OpenSession(*renderer)) {}

    /// A job of the session for its frame number `number`, of 20 ms, all samples 5.
    boost::intrusive_ptr<PipelineStageRenderJob> MakeJob(std::int64_t number = 0,
                                                         std::int64_t leadMilliSec = 100) {
        return RenderJob(session,
                         ConstantFrame(FirstTimestampNanoSec + number * FrameNanoSec, FrameSamples, 5),
                         InMilliSec(leadMilliSec));
    }

    boost::intrusive_ptr<PipelineState> session;
};

TEST_F(RendererAudio_Divide, NullJobIsIgnored) {
    renderer->Divide(nullptr);
}

TEST_F(RendererAudio_Divide, JobWithoutStateIsAbortedWithItsTimestampUntouched) {
    auto const job =
        RenderJob(nullptr, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 5), InMilliSec(100));
    Kovra::JiffyTime const before(42);
    job->GetPresentationTimestamp() = before;
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Aborted);
    EXPECT_EQ(job->GetPresentationTimestamp(), before);
    EXPECT_THAT(world.Buffers(), IsEmpty());
}

TEST_F(RendererAudio_Divide, WrittenFrameSucceeds) {
    auto const job = MakeJob();
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_THAT(world.OnlyBuffer().Samples(0, 960), Each(5));
}

TEST_F(RendererAudio_Divide, JobWithoutFrameStaysUncompletedYetGetsItsTimestamp) {
    auto const job = RenderJob(session, nullptr, InMilliSec(70));
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(70));
    EXPECT_THAT(world.Buffers(), IsEmpty());
}

TEST_F(RendererAudio_Divide, TimestampIsThatOfTheRenderParametersWhateverItWas) {
    auto const job = MakeJob();
    job->GetPresentationTimestamp() = InMilliSec(-1000);
    renderer->Divide(job);
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(100));
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
    EXPECT_EQ(world.OnlyBuffer().PlayFrame(), 235200U);
}

TEST_F(RendererAudio_Divide, TimestampComesBackAsAchievedWhilePlaying) {
    renderer->Divide(MakeJob());
    auto const job = MakeJob(1, 150);
    renderer->Divide(job);
    // 4800 + 960 samples lie ahead: 5760 x 20833 ns = 119,998,080 ns, truncated.
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(119));
    EXPECT_EQ(job->Params()->presentationTime, InMilliSec(150));
}

TEST_F(RendererAudio_Divide, RawFrameWinsOverACodedOne) {
    FakeCodec codec;
    auto const job = MakeJob();
    job->Registers().set(CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec));
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_THAT(codec.decodeCalls, IsEmpty());
    EXPECT_THAT(world.OnlyBuffer().Samples(0, 960), Each(5));
}

TEST_F(RendererAudio_Divide, CodedFrameIsRenderedWhenThereIsNoRawOne) {
    FakeCodec codec;
    codec.decode = [](Frames const&) { return Frames{ConstantFrame(FirstTimestampNanoSec, 160, 9)}; };
    auto const coded = CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec);
    auto const job = RenderJob(session, coded, InMilliSec(100));
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    ASSERT_THAT(codec.decodeCalls, SizeIs(1));
    EXPECT_THAT(codec.decodeCalls[0], ElementsAre(coded));
    EXPECT_THAT(world.OnlyBuffer().Samples(0, 160), Each(9));
}

TEST_F(RendererAudio_Divide, FailedCreationOfTheSoundBufferLeavesTheJobUncompleted) {
    world.Faults().Fail(Call_t::SoundCreateSoundBuffer, 1, DSERR_OUTOFMEMORY);
    auto const job = MakeJob();
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(100));
}

TEST_F(RendererAudio_Divide, FailedWriteLeavesTheJobUncompletedAndPlays) {
    // Lock 1 clears the new ring, lock 2 is the frame's.
    world.Faults().Fail(Call_t::BufferLock, 2, DSERR_GENERIC);
    auto const job = MakeJob();
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Uncompleted);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(RendererAudio_Divide, PresentationInThePastStopsAndStillSucceeds) {
    renderer->Divide(MakeJob());
    auto const job = MakeJob(1, -1);
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_FALSE(world.OnlyBuffer().IsPlaying());
    EXPECT_EQ(job->GetPresentationTimestamp(), InMilliSec(-1));
}

TEST_F(RendererAudio_Divide, ExceptionOfTheCodecLeavesTheJobUncompletedAndTheSessionUsable) {
    FakeCodec codec;
    codec.decode = [](Frames const&) -> Frames { throw std::bad_alloc(); };
    auto const lost =
        RenderJob(session, CodedFrame(MediaCoding_t::G711, FirstTimestampNanoSec), InMilliSec(100));
    EXPECT_NO_THROW(renderer->Divide(lost));
    EXPECT_EQ(lost->GetOutcome(), Outcome_t::Uncompleted);

    auto const next = MakeJob();
    renderer->Divide(next);
    EXPECT_EQ(next->GetOutcome(), Outcome_t::Succeeded);
}

TEST_F(RendererAudio_Divide, OnADisabledRendererPlays) {
    ASSERT_FALSE(renderer->IsEnabled());
    auto const job = MakeJob();
    renderer->Divide(job);
    EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(RendererAudio_Divide, SessionsHaveSoundBuffersOfTheirOwn) {
    auto const other = OpenSession(*renderer);
    renderer->Divide(MakeJob());
    renderer->Divide(
        RenderJob(other, ConstantFrame(FirstTimestampNanoSec, FrameSamples, 6), InMilliSec(200)));
    ASSERT_THAT(world.LiveBuffers(), SizeIs(2));
    EXPECT_THAT(world.LiveBuffers()[0]->Samples(0, 960), Each(5));
    EXPECT_THAT(world.LiveBuffers()[1]->Samples(0, 960), Each(6));
}

TEST_F(RendererAudio_Divide, OfSeveralSessionsRunsOnSeveralThreadsAtOnce) {
    constexpr int Rounds = 50;
    std::vector<std::thread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.emplace_back([this] {
            auto const another = OpenSession(*renderer);
            for (int round = 0; round < Rounds; ++round) {
                auto const job = RenderJob(
                    another, ConstantFrame(FirstTimestampNanoSec + round * FrameNanoSec, FrameSamples, 5),
                    InMilliSec(100));
                renderer->Divide(job);
                EXPECT_EQ(job->GetOutcome(), Outcome_t::Succeeded);
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(world.LiveBuffers(), IsEmpty());
    EXPECT_THAT(world.Buffers(), SizeIs(3));
}

} // namespace
} // namespace UnitTest
