// Whole lives of the shipped library, with several sessions at once: what it took from DirectSound and from
// the kernel is given back to the last reference and the last event.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "codedframes.h"
#include "loadedmodule.h"
#include "modulecalls.h"
#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/facts.h"
#include "support/process/processresources.h"

namespace ContractTest {
namespace {

using Facts::FrameMilliSec;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;
using Outcome_t = Media::PipelineStageJob::Outcome_t;
using Session = Media::Pipeline::SessionId_t;

constexpr std::size_t Workers = 4;
constexpr int Frames = 6;
constexpr std::int64_t LeadMilliSec = 200;
constexpr std::uint32_t ServiceTimeoutMilliSec = 200;

/// Frame `number` of the session that was opened as number `index`: raw, telephone, AAC by turns.
std::shared_ptr<Media::FrameAud> FrameOf(std::size_t index, int number) {
    std::int64_t const timestamp = (number + 1) * FrameMilliSec * Facts::NanoSecPerMilliSec;
    switch (index % 3) {
        case 0:
            return UnitTest::ConstantFrame(timestamp, 960, 12000);
        case 1:
            return TelephoneFrame(timestamp);
        default:
            return AacFrame(timestamp);
    }
}

/// The library loaded and opened, and a pipeline of several workers on it.
class Life {
public:
    Life()
        : calls_(module_),
          renderer_(module_),
          pipeline_(*renderer_, Workers, [this](Media::Pipeline::Report_t const& report) {
              std::lock_guard<std::mutex> const guard(lock_);
              outcomes_.push_back(report.outcome);
          }) {}

    void Open() {
        ASSERT_EQ(renderer_->Initialize(), 0);
        calls_.LetThreadStart();
    }
    void Shutdown() { renderer_->Shutdown(); }

    void OpenSessions(std::size_t count) {
        while (sessions_.size() < count) {
            sessions_.push_back(pipeline_.OpenSession({}));
        }
        EXPECT_THAT(sessions_, Each(testing::Ne(Media::Pipeline::InvalidSession)));
    }

    /// Frame `number` for every session from `first` on, all on their way at once.
    void Submit(std::size_t first, int number) {
        for (std::size_t i = first; i < sessions_.size(); ++i) {
            pipeline_.Submit(sessions_[i], FrameOf(i, number),
                             Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec));
        }
    }

    /// `Frames` frames for every session from `first` on; each succeeds.
    void Play(std::size_t first = 0) {
        outcomes_.clear();
        for (int number = 0; number < Frames; ++number) {
            Submit(first, number);
            pipeline_.Drain();
            world_.Clock().AdvanceMilliSec(FrameMilliSec);
        }
        EXPECT_THAT(outcomes_, SizeIs(Frames * (sessions_.size() - first)));
        EXPECT_THAT(outcomes_, Each(Outcome_t::Succeeded));
    }

    /// Closes the sessions from `first` to before `end`, out of their order: the first of them, then the
    /// others backwards. All that are still open have frames on their way meanwhile.
    void Close(std::size_t first, std::size_t end) {
        for (std::size_t k = first; k < end; ++k) {
            std::size_t const i = k == first ? first : end - (k - first);
            std::size_t const live = world_.LiveBuffers().size();
            Submit(first, Frames);
            pipeline_.CloseSession(sessions_[i]);
            EXPECT_THAT(world_.LiveBuffers(), SizeIs(live - 1));
        }
        pipeline_.Drain();
    }

    Simulation::TestWorld& World() { return world_; }
    ModuleCalls& Calls() { return calls_; }

private:
    // Whatever is left when they end fails the test: of references the world, of events the calls.
    Simulation::TestWorld world_;
    LoadedModule module_;
    ModuleCalls calls_;
    LoadedRenderer renderer_;
    std::mutex lock_;
    std::vector<Outcome_t> outcomes_;
    std::vector<Session> sessions_;
    Media::Pipeline pipeline_;
};

void LiveAndEndInOrder(std::size_t sessions) {
    Life life;
    life.Open();
    life.OpenSessions(sessions);
    life.Play();
    EXPECT_THAT(life.World().LiveBuffers(), SizeIs(sessions));
    // The thread waits for the wake event and one event for each session.
    life.Calls().AwaitWait(static_cast<std::uint32_t>(1 + sessions), ServiceTimeoutMilliSec);
    life.Close(0, sessions);
    life.Calls().AwaitWait(1, INFINITE);
    EXPECT_EQ(life.World().LiveSounds(), 1U);
    life.Shutdown();
    EXPECT_EQ(life.World().LiveSounds(), 0U);
}

/// The first half of the sessions ends before the shutdown, the others after it, having played on.
void LiveBeyondShutdown(std::size_t sessions) {
    Life life;
    life.Open();
    life.OpenSessions(sessions);
    life.Play();
    life.Close(0, sessions / 2);
    life.Shutdown();
    EXPECT_THAT(life.World().LiveBuffers(), SizeIs(sessions - sessions / 2));
    life.Play(sessions / 2);
    life.Close(sessions / 2, sessions);
    EXPECT_EQ(life.World().LiveSounds(), 0U);
}

/// Nobody closes anything: the sessions end with the pipeline, which has frames on their way, the devices
/// with the renderer.
void LiveAndLetGo(std::size_t sessions) {
    Life life;
    life.Open();
    life.OpenSessions(sessions);
    life.Play();
    life.Submit(0, Frames);
}

/// The devices are closed and opened again under the sessions, which go on with the buffers that they have
/// and come to hear of the new thread.
void LiveAcrossAReopening(std::size_t sessions) {
    Life life;
    life.Open();
    life.OpenSessions(sessions);
    life.Play();
    life.Shutdown();
    life.Open();
    life.Calls().AwaitWait(static_cast<std::uint32_t>(1 + sessions), ServiceTimeoutMilliSec);
    life.Play();
    life.Close(0, sessions);
    EXPECT_THAT(life.World().LiveBuffers(), IsEmpty());
    life.Shutdown();
    EXPECT_EQ(life.World().LiveSounds(), 0U);
}

struct Story {
    char const* name;
    void (*live)(std::size_t sessions);

    friend std::ostream& operator<<(std::ostream& out, Story const& story) { return out << story.name; }
};

class Library_Life : public testing::TestWithParam<std::tuple<Story, std::size_t>> {};

TEST_P(Library_Life, GivesEveryReferenceAndEveryEventBack) {
    auto const& [story, sessions] = GetParam();
    story.live(sessions);
    EXPECT_FALSE(LoadedModule::IsLoaded());
}

TEST_P(Library_Life, LivedAgainAndAgainLeavesNoHandleAndNoThreadBehind) {
    auto const& [story, sessions] = GetParam();
    // One thing left behind in each would be seen.
    constexpr int Lives = static_cast<int>(TestSupport::PassingResources) + 1;
    // The first brings in what stays: the libraries, and what threads leave in them.
    story.live(sessions);
    std::uint32_t const handles = TestSupport::CountHandles();
    std::uint32_t const threads = TestSupport::CountThreads();
    for (int i = 0; i < Lives; ++i) {
        story.live(sessions);
    }
    EXPECT_LE(TestSupport::CountHandles(), handles + TestSupport::PassingResources);
    EXPECT_LE(TestSupport::CountThreads(), threads + TestSupport::PassingResources);
}

INSTANTIATE_TEST_SUITE_P(Sessions, Library_Life,
                         testing::Combine(testing::Values(Story{"EndInOrder", LiveAndEndInOrder},
                                                          Story{"BeyondShutdown", LiveBeyondShutdown},
                                                          Story{"LetGo", LiveAndLetGo},
                                                          Story{"AcrossAReopening", LiveAcrossAReopening}),
                                          testing::Values(1, 3, 16)),
                         [](auto const& parameters) {
                             return std::get<0>(parameters.param).name +
                                    std::to_string(std::get<1>(parameters.param));
                         });

} // namespace
} // namespace ContractTest
