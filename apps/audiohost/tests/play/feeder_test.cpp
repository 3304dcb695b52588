#include "play/feeder.h"

#include <gtest/gtest.h>

#include "files/mediafile.h"
#include "listening/tests/testsounds.h"
#include "support/testfiles.h"
#include "support/testrenderer.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;
constexpr std::int64_t FeedNanoSec = 5'000'000'000;
constexpr std::int64_t BaseNanoSec = 1'000'000'000'000;

/// Time that passes only when someone waits for it.
class JumpingPacer : public Pacer {
public:
    bool WaitUntil(Kovra::JiffyTime instant) override {
        waits.push_back(instant.NanoSec() - FeedNanoSec);
        return waits.size() <= allowed;
    }

    std::vector<std::int64_t> waits;
    std::size_t allowed = 1000;
};

struct FeederFixture {
    PlaybackLogKeeper keeper{true};
    TestRenderer renderer;
    JumpingPacer pacer;
    TestFolder folder;

    /// Feeds a file for each of `counts`, that many samples long; the fed one's log comes back.
    PlaybackLog Feed(std::vector<std::int64_t> const& counts, std::int64_t limit,
                     bool* isComplete = nullptr) {
        Media::Pipeline pipeline(renderer, 1, [this](auto const& report) { keeper.AddReport(report); });
        Feeder feeder(pipeline, keeper, pacer);
        for (std::int64_t const count : counts) {
            std::string const path = folder.Write(std::to_string(count) + ".wav",
                                                  MakeWav({}, BytesOf(Listening::MakeVoice(count))));
            Media::Pipeline::SessionId_t const session = pipeline.OpenSession({});
            std::size_t const number = keeper.AddSession(session, {});
            feeder.Add(session, number, std::make_unique<MediaFile>(path, Kovra::SysTime(BaseNanoSec)));
        }
        bool const result = feeder.Run(Kovra::JiffyTime(FeedNanoSec), 200, limit);
        if (isComplete) {
            *isComplete = result;
        }
        pipeline.Drain();
        return keeper.Take();
    }
};

} // namespace

TEST(Feeder_Run, SubmitsEachFrameAtItsPositionToBeHeardLeadLater) {
    FeederFixture fixture;
    bool isComplete = false;
    PlaybackLog const log = fixture.Feed({1920}, 0, &isComplete);
    EXPECT_TRUE(isComplete);
    // Two frames at 0 and 20 ms; then the lead, the whole sound and 300 ms.
    EXPECT_EQ(fixture.pacer.waits,
              (std::vector<std::int64_t>{0, 20 * NanoSecPerMilliSec, (200 + 40 + 300) * NanoSecPerMilliSec}));
    ASSERT_EQ(fixture.renderer.rendered.size(), 2U);
    EXPECT_EQ(fixture.renderer.rendered[1].timestampNanoSec, BaseNanoSec + 20 * NanoSecPerMilliSec);
    EXPECT_EQ(fixture.renderer.rendered[1].presentationNanoSec, FeedNanoSec + 220 * NanoSecPerMilliSec);
    EXPECT_EQ(log.sessions[0].framesSent, 2U);
    EXPECT_EQ(log.sessions[0].sentNanoSec, 40 * NanoSecPerMilliSec);
    EXPECT_EQ(log.sessions[0].sound, Listening::MakeVoice(1920));
}

TEST(Feeder_Run, OfSeveralFilesGoesBySoundPositionAndEndsWithTheLongest) {
    FeederFixture fixture;
    PlaybackLog const log = fixture.Feed({960, 1920}, 0);
    EXPECT_EQ(fixture.pacer.waits,
              (std::vector<std::int64_t>{0, 0, 20 * NanoSecPerMilliSec, 540 * NanoSecPerMilliSec}));
    EXPECT_EQ(log.sessions[0].framesSent, 1U);
    EXPECT_EQ(log.sessions[1].framesSent, 2U);
}

TEST(Feeder_Run, StopsAtTheLimit) {
    FeederFixture fixture;
    PlaybackLog const log = fixture.Feed({9600}, 60 * NanoSecPerMilliSec);
    EXPECT_EQ(log.sessions[0].framesSent, 3U);
}

TEST(Feeder_Run, EndsAtOnceWhenThePersonAsksToStop) {
    FeederFixture fixture;
    fixture.pacer.allowed = 2;
    bool isComplete = true;
    PlaybackLog const log = fixture.Feed({9600}, 0, &isComplete);
    EXPECT_FALSE(isComplete);
    EXPECT_EQ(log.sessions[0].framesSent, 2U);
}

} // namespace AudioHost
