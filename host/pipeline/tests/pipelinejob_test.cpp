#include "pipeline/pipelinejob.h"

#include <gtest/gtest.h>

#include "pipelinetest.h"

using boost::intrusive_ptr;
using Kovra::JiffyTime;
using Media::FrameAud;
using Media::FrameAudRaw;
using Media::FrameIdent;
using Media::IPipelineRenderer;
using Media::MediaCoding_t;
using Media::ParamsAud;
using Media::ParamsAudRaw;
using Media::PipelineJob;
using Media::PipelineRegisters;
using Media::PipelineStageJob;
using Media::PipelineStageRenderJob;
using Media::PipelineState;
using PipelineTests::MakeCoded;
using PipelineTests::MakeRaw;

namespace {

class WatchedJob : public PipelineJob {
public:
    explicit WatchedJob(bool& hasEnded) : hasEnded_(hasEnded) {}
    ~WatchedJob() override { hasEnded_ = true; }

private:
    bool& hasEnded_;
};

} // namespace

TEST(PipelineRegisters, LeaveTheArgumentAsItIsWithoutAFrame) {
    PipelineRegisters const registers;
    std::shared_ptr<FrameAudRaw> raw = MakeRaw();
    std::shared_ptr<FrameAud> coded = MakeCoded();
    auto const rawBefore = raw;
    auto const codedBefore = coded;
    registers.get(raw);
    registers.get(coded);
    EXPECT_EQ(raw, rawBefore);
    EXPECT_EQ(coded, codedBefore);
}

TEST(PipelineRegisters, KeepOneFrameOfEachType) {
    PipelineRegisters registers;
    auto const raw = MakeRaw();
    auto const coded = MakeCoded();
    registers.set(MakeRaw());
    registers.set(raw);
    registers.set(coded);
    std::shared_ptr<FrameAudRaw> gotRaw;
    std::shared_ptr<FrameAud> gotCoded;
    registers.get(gotRaw);
    registers.get(gotCoded);
    EXPECT_EQ(gotRaw, raw);
    EXPECT_EQ(gotCoded, coded);
}

TEST(PipelineRegisters, RawFrameIsNotFoundAsACodedOne) {
    PipelineRegisters registers;
    registers.set(MakeRaw());
    std::shared_ptr<FrameAud> coded;
    registers.get(coded);
    EXPECT_EQ(coded, nullptr);
}

TEST(PipelineJob, EndsWithItsLastHolder) {
    bool hasEnded = false;
    intrusive_ptr<PipelineJob> first(new WatchedJob(hasEnded));
    intrusive_ptr<PipelineJob> second = first;
    first.reset();
    EXPECT_FALSE(hasEnded);
    second.reset();
    EXPECT_TRUE(hasEnded);
}

TEST(PipelineStageJob, StartsUncompletedWithItsStateAndNoTimestamp) {
    intrusive_ptr<PipelineState> const state(new PipelineState);
    PipelineStageJob job(state);
    EXPECT_EQ(job.State(), state);
    EXPECT_EQ(job.GetPresentationTimestamp(), JiffyTime());
    EXPECT_EQ(job.GetOutcome(), PipelineStageJob::Outcome_t::Uncompleted);
}

TEST(PipelineStageJob, StateRegistersAndTimestampAreWritable) {
    PipelineStageJob job(nullptr);
    intrusive_ptr<PipelineState> const state(new PipelineState);
    auto const coded = MakeCoded();
    job.State() = state;
    job.Registers().set(coded);
    job.GetPresentationTimestamp() = JiffyTime(9);
    EXPECT_EQ(job.State(), state);
    EXPECT_EQ(job.GetPresentationTimestamp(), JiffyTime(9));
    std::shared_ptr<FrameAud> got;
    job.Registers().get(got);
    EXPECT_EQ(got, coded);
}

TEST(PipelineStageJob, FirstCompletionCounts) {
    PipelineStageJob succeeding(nullptr);
    succeeding.Success();
    succeeding.Abort();
    EXPECT_EQ(succeeding.GetOutcome(), PipelineStageJob::Outcome_t::Succeeded);

    PipelineStageJob aborting(nullptr);
    aborting.Abort();
    aborting.Success();
    EXPECT_EQ(aborting.GetOutcome(), PipelineStageJob::Outcome_t::Aborted);
}

TEST(PipelineStageRenderJob, HasTheParametersThatItWasMadeWith) {
    intrusive_ptr<PipelineStageRenderJob> const job(
        new PipelineStageRenderJob(nullptr, IPipelineRenderer::Params_t{JiffyTime(123)}));
    ASSERT_NE(job->Params(), nullptr);
    EXPECT_EQ(job->Params()->presentationTime, JiffyTime(123));
}
