#include "play/livefeeder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>

#include "listening/samples.h"
#include "support/testclock.h"
#include "support/testerror.h"
#include "support/testrenderer.h"
#include "support/teststream.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;
using Result_t = StreamConnection::Result_t;

constexpr std::int64_t OpenedNanoSec = 1'000'000'000'000;
constexpr std::int64_t LeadNanoSec = 100 * NanoSecPerMilliSec;

/// Time that passes only when someone waits for it.
class SteppedTime : public Pacer {
public:
    bool WaitUntil(Kovra::JiffyTime instant) override {
        clock.nanoSec = instant.NanoSec();
        ++waits;
        onWait();
        return waits <= allowed;
    }

    TestClock clock;
    std::size_t waits = 0;
    std::size_t allowed = 1'000'000;
    std::function<void()> onWait = [] {};
};

/// For the opening, which takes no time.
class YieldingPacer : public Pacer {
public:
    bool WaitUntil(Kovra::JiffyTime) override {
        std::this_thread::yield();
        return true;
    }
};

/// Gives its packets once the stream is known to be open, then waits until it is told to end.
class HeldConnection : public TestConnection {
public:
    HeldConnection(std::deque<LivePacket> packets, Result_t end, std::shared_future<void> isOpen,
                   std::promise<void>& isRead, std::shared_future<void> goOn)
        : TestConnection(MakeTestFormat(), std::move(packets), end),
          isOpen_(std::move(isOpen)),
          isRead_(isRead),
          goOn_(std::move(goOn)) {}

    Result_t Read(LivePacket& packet, std::string& why) override {
        isOpen_.wait();
        Result_t const result = TestConnection::Read(packet, why);
        if (result != Result_t::Packet) {
            isRead_.set_value();
            goOn_.wait();
        }
        return result;
    }

private:
    std::shared_future<void> const isOpen_;
    std::promise<void>& isRead_;
    std::shared_future<void> const goOn_;
};

struct LiveFixture {
    SteppedTime time;
    PlaybackLogKeeper keeper{true};
    TestRenderer renderer;
    std::promise<void> isOpen;
    std::promise<void> isRead;
    std::promise<void> goOn;
    Result_t end = Result_t::Ended;
    /// The end comes when `goOn` is set.
    bool endsLater = false;

    /// A stream whose packets, stamped with these milliseconds, come when their stamps say, the strangers
    /// each so much later.
    std::unique_ptr<LiveStream> Open(std::vector<std::int64_t> const& milliSecs,
                                     std::vector<std::int64_t> const& strangers = {},
                                     std::int64_t laterMilliSec = 0) {
        std::deque<LivePacket> packets;
        auto const add = [&packets](std::int64_t milliSec, std::int64_t later) {
            packets.push_back(MakeTestPacket(milliSec));
            packets.back().arrival =
                Kovra::JiffyTime(OpenedNanoSec + (milliSec + later) * NanoSecPerMilliSec);
        };
        for (std::int64_t const milliSec : milliSecs) {
            add(milliSec, 0);
        }
        for (std::int64_t const milliSec : strangers) {
            add(milliSec, laterMilliSec);
        }
        auto stream = std::make_unique<LiveStream>(
            "a stream",
            [=, opened = isOpen.get_future().share(),
             goOnLater = goOn.get_future().share()](LiveStream::StopFlag const&) {
                return std::make_unique<HeldConnection>(packets, end, opened, isRead, goOnLater);
            },
            LiveStream::Settings{LeadNanoSec, false});
        YieldingPacer opening;
        EXPECT_TRUE(stream->WaitUntilOpen(opening));
        isOpen.set_value();
        isRead.get_future().wait();
        if (!endsLater) {
            goOn.set_value();
        }
        return stream;
    }

    PlaybackLog Feed(std::unique_ptr<LiveStream> stream, std::int64_t limit, bool* isComplete = nullptr) {
        Media::Pipeline pipeline(renderer, 1, [this](auto const& report) { keeper.AddReport(report); });
        Media::Pipeline::SessionId_t const session = pipeline.OpenSession({});
        std::size_t const number = keeper.AddSession(session, {});
        keeper.SetStart(Kovra::JiffyTime::Now());
        LiveFeeder feeder(pipeline, keeper, time);
        feeder.Add(session, number, std::move(stream));
        bool const result = feeder.Run(Kovra::JiffyTime::Now(), limit);
        if (isComplete) {
            *isComplete = result;
        }
        pipeline.Drain();
        Kovra::LogManager::Instance().Flush();
        return keeper.Take();
    }
};

} // namespace

TEST(LiveFeeder_Run, SubmitsEachPacketToBeHeardALeadAfterItCouldArrive) {
    LiveFixture fixture;
    bool isComplete = false;
    // The one of 260 is lost; 300 comes before 280.
    PlaybackLog const log = fixture.Feed(fixture.Open({200, 220, 240, 300, 280}), 0, &isComplete);
    EXPECT_TRUE(isComplete);
    ASSERT_EQ(fixture.renderer.rendered.size(), 5U);
    std::int64_t const first = fixture.renderer.rendered[0].timestampNanoSec;
    std::vector<std::int64_t> const places = {0, 20, 40, 80, 100};
    for (std::size_t i = 0; i < places.size(); ++i) {
        std::int64_t const place = places[i] * NanoSecPerMilliSec;
        EXPECT_EQ(fixture.renderer.rendered[i].coding, Media::MediaCoding_t::G711);
        EXPECT_EQ(fixture.renderer.rendered[i].timestampNanoSec, first + place);
        std::int64_t const due = OpenedNanoSec + 200 * NanoSecPerMilliSec + place + LeadNanoSec;
        // The clock's line is rounded.
        EXPECT_LE(std::abs(fixture.renderer.rendered[i].presentationNanoSec - due), 1'000);
    }
    SessionLog const& session = log.sessions.at(0);
    EXPECT_EQ(session.framesSent, 5U);
    ASSERT_FALSE(session.streamPoints.empty());
    StreamState const& state = session.streamPoints.back().state;
    EXPECT_EQ(state.handedNanoSec, 100 * NanoSecPerMilliSec);
    EXPECT_EQ(state.missingNanoSec, 20 * NanoSecPerMilliSec);
    EXPECT_EQ(state.clock.leadNanoSec, LeadNanoSec);
    ASSERT_EQ(session.arrivals.size(), 5U);
    EXPECT_NEAR(session.arrivals[4].spareMilliSec, 100.0, 0.01);
}

TEST(LiveFeeder_Run, EndsAtOnceWhenThePersonAsksToStop) {
    LiveFixture fixture;
    auto stream = fixture.Open({200});
    fixture.time.allowed = fixture.time.waits;
    bool isComplete = true;
    fixture.Feed(std::move(stream), 0, &isComplete);
    EXPECT_FALSE(isComplete);
    EXPECT_EQ(fixture.time.waits, fixture.time.allowed + 1);
}

TEST(LiveFeeder_Run, StopsAtTheLimitThoughTheStreamGoesOn) {
    LiveFixture fixture;
    fixture.end = Result_t::Broken;
    auto stream = fixture.Open({200});
    std::int64_t const start = fixture.time.clock.nanoSec;
    bool isComplete = false;
    fixture.Feed(std::move(stream), 500 * NanoSecPerMilliSec, &isComplete);
    EXPECT_TRUE(isComplete);
    EXPECT_GE(fixture.time.clock.nanoSec, start + 500 * NanoSecPerMilliSec);
    // The last wait is for the end of the sound, 620 ms after the first instant and 300 ms for its way.
    EXPECT_LE(fixture.time.clock.nanoSec, OpenedNanoSec + 1'000 * NanoSecPerMilliSec);
}

// Other streams may take their time to open.
TEST(LiveFeeder_Run, OfMoreThanCanWaitPlaysTheLatest) {
    LiveFixture fixture;
    std::vector<std::int64_t> milliSecs(MaxNews + 500);
    for (std::size_t i = 0; i < milliSecs.size(); ++i) {
        milliSecs[i] = 200 + 20 * static_cast<std::int64_t>(i);
    }
    // The word that it has ended would take the place of another one.
    fixture.endsLater = true;
    fixture.time.onWait = [&fixture] {
        if (fixture.time.waits == 1) {
            fixture.goOn.set_value();
        }
    };
    fixture.Feed(fixture.Open(milliSecs), 0);
    ASSERT_EQ(fixture.renderer.rendered.size(), MaxNews);
    std::int64_t const due = OpenedNanoSec + (200 + 500 * 20) * NanoSecPerMilliSec + LeadNanoSec;
    EXPECT_LE(std::abs(fixture.renderer.rendered[0].presentationNanoSec - due), 1'000);
}

TEST(LiveStream_WaitUntilOpen, OfAStreamThatDoesNotOpenThrowsItsError) {
    LiveStream stream("a stream",
                      [](LiveStream::StopFlag const&) -> std::unique_ptr<StreamConnection> {
                          throw HostError(ExitCode_t::NoStream, "nobody there.");
                      },
                      {});
    StopSignal pacer;
    std::string sentence;
    EXPECT_EQ(CodeOf([&] { stream.WaitUntilOpen(pacer); }, &sentence), ExitCode_t::NoStream);
    EXPECT_EQ(sentence, "nobody there.");
}

TEST(LiveStream_WaitUntilOpen, OfAReadingThatEndsWithoutAWordTellsSo) {
    struct NoWords {};
    LiveStream stream(
        "a stream", [](LiveStream::StopFlag const&) -> std::unique_ptr<StreamConnection> { throw NoWords(); },
        {});
    StopSignal pacer;
    std::string sentence;
    EXPECT_EQ(CodeOf([&] { stream.WaitUntilOpen(pacer); }, &sentence), ExitCode_t::Internal);
    EXPECT_EQ(sentence, "internal error: the reading of 'a stream' has ended.");
    EXPECT_TRUE(stream.IsOver());
}

TEST(LiveFeeder_Run, TellsBreaksAndWhatTheClockNoticesOnTheTimeOfThePlayback) {
    LiveFixture fixture;
    fixture.end = Result_t::Broken;
    std::atomic<bool> hasBroken{false};
    Kovra::LogManager::Instance().SetObserver([&](Kovra::LogRecord const& record) {
        fixture.keeper.AddLog(record);
        hasBroken = hasBroken || record.message.find("broke") != std::string::npos;
    });
    // Time waits for the break, which another thread tells.
    fixture.time.onWait = [&] {
        if (!hasBroken) {
            std::this_thread::yield();
            fixture.time.clock.nanoSec =
                std::min<std::int64_t>(fixture.time.clock.nanoSec, OpenedNanoSec + 600 * NanoSecPerMilliSec);
        }
    };
    // The timestamps begin anew, for long enough that it is believed.
    std::vector<std::int64_t> strangers;
    for (std::int64_t milliSec = 5260; milliSec <= 5600; milliSec += 20) {
        strangers.push_back(milliSec);
    }
    auto stream = fixture.Open({200, 220, 240}, strangers, -5000);
    PlaybackLog const log = fixture.Feed(std::move(stream), 700 * NanoSecPerMilliSec);
    Kovra::LogManager::Instance().SetObserver({});
    std::vector<std::string> told;
    for (PlayEvent const& event : log.sessions.at(0).events) {
        if (event.kind == EventKind_t::Other) {
            told.push_back(event.text);
        }
    }
    EXPECT_EQ(told, (std::vector<std::string>{
                        "the sender's timestamps begin anew, +5000.0 ms from where they would be",
                        "the stream broke: it broke"}));
}

TEST(LiveFeeder, OfManyStreamsThatNothingEndsWaitsForAllTogether) {
    StopSignal time;
    PlaybackLogKeeper keeper(false);
    TestRenderer renderer;
    Media::Pipeline pipeline(renderer, 1, [](auto const&) {});
    std::promise<void> answer;
    auto const connect = [answered = answer.get_future().share()](
                             LiveStream::StopFlag const&) -> std::unique_ptr<StreamConnection> {
        answered.wait();
        throw HostError(ExitCode_t::NoStream, "too late.");
    };
    auto feeder = std::make_unique<LiveFeeder>(pipeline, keeper, time);
    constexpr std::size_t Streams = 20;
    for (std::size_t i = 0; i < Streams; ++i) {
        feeder->Add(Media::Pipeline::InvalidSession, i,
                    std::make_unique<LiveStream>("a stream", connect, LiveStream::Settings()));
    }
    auto const start = std::chrono::steady_clock::now();
    feeder.reset();
    // A second each, were it one after the other.
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(Streams - 1));
    answer.set_value();
}

TEST(LiveStream_WaitUntilOpen, EndsWhenThePersonAsksToStopAndSoDoesTheOpening) {
    LiveStream stream("a stream",
                      [](LiveStream::StopFlag const& stop) -> std::unique_ptr<StreamConnection> {
                          while (!*stop) {
                              std::this_thread::yield();
                          }
                          throw HostError(ExitCode_t::NoStream, "stopped.");
                      },
                      {});
    StopSignal pacer;
    pacer.Request();
    EXPECT_FALSE(stream.WaitUntilOpen(pacer));
}

} // namespace AudioHost
