#include <atomic>
#include <string>
#include <thread>

#include "interfacetest.h"

#ifdef UNDER_ADDRESS_SANITIZER
#include <sanitizer/allocator_interface.h>
#endif

extern "C" int CountMissingFunctions(void);

namespace SdkTest {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::SizeIs;

class Engine_Open : public InterfaceTest {};
class Engine_Close : public InterfaceTest {};
class Engine_Silence : public InterfaceTest {};
class Session_Open : public InterfaceTest {};
class Session_Submit : public InterfaceTest {};
class Session_Report : public InterfaceTest {};
class Session_SetVolume : public InterfaceTest {};
class Session_Close : public InterfaceTest {};
class Session_Threads : public InterfaceTest {};
class Log_Callback : public InterfaceTest {};

/// What a session's callback was told.
struct Reports {
    static void Take(void* context, RaReport const* report) {
        static_cast<Reports*>(context)->reports.push_back(*report);
    }
    std::vector<RaReport> reports;
};

TEST(Header, IsTakenByACCompilerWithAllItsFunctions) {
    EXPECT_EQ(CountMissingFunctions(), 0);
    EXPECT_EQ(RaGetInterface(), RA_INTERFACE);
    EXPECT_THAT(RaGetVersion(), testing::MatchesRegex("[0-9]+\\.[0-9]+\\.[0-9]+"));
}

// --- engines

/// Memory in use; 0 where it cannot be told.
std::size_t CountBytes() {
#ifdef UNDER_ADDRESS_SANITIZER
    return __sanitizer_get_current_allocated_bytes();
#else
    return 0;
#endif
}

TEST(Engine_Life, AThousandLeaveNothingBehind) {
    RaOptions const options = WithoutSilence();
    RaStreamFormat const format = PcmFormat();
    std::vector<std::int16_t> const samples(FrameSamples, 1);
    std::size_t bytes = 0;
    for (int life = 0; life < 1000; ++life) {
        // The simulated machine keeps what was made on it: each life has one of its own.
        Simulation::TestWorld world;
        RaEngine engine = nullptr;
        RaSession session = nullptr;
        RaCapture capture = nullptr;
        ASSERT_EQ(RaOpen(&options, &engine), RA_SUCCESS);
        ASSERT_EQ(RaSessionOpen(engine, &format, nullptr, nullptr, &session), RA_SUCCESS);
        ASSERT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &capture), RA_SUCCESS);
        RaFrame const frame = {sizeof(RaFrame), FrameBytes, samples.data(), 1, RaGetTimeNanoSec()};
        ASSERT_EQ(RaSessionSubmit(session, &frame), RA_SUCCESS);
        ASSERT_EQ(RaClose(engine), RA_SUCCESS);
        bytes = life == 100 ? CountBytes() : bytes;
    }
    // A hundred bytes a life are none of the library's objects.
    EXPECT_LE(CountBytes(), bytes + 90'000);
}

TEST_F(Engine_Open, WithoutADriverSucceedsAndRefusesSessions) {
    world.Faults().FailAlways(Simulation::Call_t::SoundCreate8, DSERR_NODRIVER);
    RaEngine another = nullptr;
    ASSERT_EQ(RaOpen(nullptr, &another), RA_SUCCESS);
    RaSession session = nullptr;
    RaStreamFormat const format = PcmFormat();
    EXPECT_EQ(RaSessionOpen(another, &format, nullptr, nullptr, &session), RA_NO_DRIVER);
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(RaClose(another), RA_SUCCESS);
}

TEST_F(Engine_Open, WithTheDeviceTakenTellsThatAndGivesNone) {
    world.Faults().Fail(Simulation::Call_t::SoundCreate8, 1, DSERR_ALLOCATED);
    RaEngine another = nullptr;
    EXPECT_EQ(RaOpen(nullptr, &another), RA_ALLOCATED);
    EXPECT_EQ(another, nullptr);
}

TEST_F(Engine_Silence, PlaysFromOpenToClose) {
    RaOptions const options = {sizeof(RaOptions), 1, 0, 0};
    RaEngine another = nullptr;
    ASSERT_EQ(RaOpen(&options, &another), RA_SUCCESS);
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
    EXPECT_TRUE(world.OnlyBuffer().IsSilent(0, RingSamples));
    ASSERT_EQ(RaClose(another), RA_SUCCESS);
    EXPECT_THAT(world.LiveBuffers(), SizeIs(0));
}

TEST_F(Engine_Close, MakesTheHandlesOfItsSessionsVoid) {
    RaSession const session = OpenSession();
    ASSERT_EQ(RaClose(engine), RA_SUCCESS);
    EXPECT_EQ(Submit(session, 0), RA_INVALID_ARGUMENT);
    EXPECT_EQ(RaSessionClose(session), RA_INVALID_ARGUMENT);
    EXPECT_EQ(RaClose(engine), RA_INVALID_ARGUMENT);
    engine = nullptr;
}

TEST_F(Engine_Close, OfOneLeavesTheOther) {
    RaOptions const options = WithoutSilence();
    RaEngine another = nullptr;
    ASSERT_EQ(RaOpen(&options, &another), RA_SUCCESS);
    RaSession const session = OpenSession();
    ASSERT_EQ(RaClose(another), RA_SUCCESS);
    Play(session, 2);
    EXPECT_EQ(StatisticsOf(session).framesRendered, 2U);
}

TEST_F(Engine_Close, ByACallbackIsRefused) {
    struct Closer {
        RaEngine engine;
        std::vector<RaStatus> statuses;
    } closer = {engine, {}};
    RaSession const session = OpenSession(
        [](void* context, RaReport const*) {
            auto* const self = static_cast<Closer*>(context);
            self->statuses = {RaClose(self->engine), RaClose(nullptr)};
        },
        &closer);
    Play(session, 1);
    EXPECT_THAT(closer.statuses, ElementsAre(RA_REFUSED, RA_INVALID_ARGUMENT));
    Play(session, 1);
}

// --- sessions

TEST_F(Session_Open, SixtyThreeTimesIsAllThatAnEngineHas) {
    std::vector<RaSession> sessions;
    for (int i = 0; i < RA_MAX_SESSIONS; ++i) {
        sessions.push_back(OpenSession());
    }
    RaSession session = nullptr;
    RaStreamFormat const format = PcmFormat();
    EXPECT_EQ(RaSessionOpen(engine, &format, nullptr, nullptr, &session), RA_OUT_OF_MEMORY);
    EXPECT_EQ(session, nullptr);
    EXPECT_EQ(Statistics().sessions, 63U);
    ASSERT_EQ(RaSessionClose(sessions.front()), RA_SUCCESS);
    OpenSession();
}

TEST_F(Session_Submit, PlaysPcmWhereItIsDue) {
    RaSession const session = OpenSession();
    Play(session, 15, 1234);
    Simulation::SoundBuffer const& buffer = world.OnlyBuffer();
    EXPECT_TRUE(buffer.IsPlaying());
    EXPECT_EQ(buffer.SampleAt(14 * FrameSamples), 1234);
    EXPECT_EQ(StatisticsOf(session).framesRendered, 15U);
}

TEST_F(Session_Submit, PlaysG711OfBothLaws) {
    // Full scale, coded: 0x80 in mu-law, 0xAA in A-law; decoded 32124 and 32256.
    struct Case {
        std::uint32_t law;
        std::uint8_t code;
        std::int16_t value;
    };
    for (Case const& one : {Case{RA_LAW_MU, 0x80, 32124}, Case{RA_LAW_A, 0xAA, 32256}}) {
        RaSession const session = OpenSession();
        RaStreamFormat const format = G711Format(one.law);
        ASSERT_EQ(RaSessionSetFormat(session, &format), RA_SUCCESS);
        std::vector<std::uint8_t> const bytes(160, one.code);
        RaFrame frame = {sizeof(RaFrame), 160, bytes.data(), NanoSecPerSec,
                         RaGetTimeNanoSec() + NanoSecPerSec};
        ASSERT_EQ(RaSessionSubmit(session, &frame), RA_SUCCESS);
        ASSERT_EQ(RaDrain(engine), RA_SUCCESS);
        // In its middle; the resampler rings a little.
        EXPECT_NEAR(world.OnlyBuffer().SampleAt(480), one.value, 500);
        ASSERT_EQ(RaSessionClose(session), RA_SUCCESS);
    }
}

TEST_F(Session_Submit, CopiesTheData) {
    RaSession const session = OpenSession();
    std::vector<std::int16_t> samples(FrameSamples, 77);
    RaFrame const frame = {sizeof(RaFrame), FrameBytes, samples.data(), NanoSecPerSec,
                           RaGetTimeNanoSec() + NanoSecPerSec};
    ASSERT_EQ(RaSessionSubmit(session, &frame), RA_SUCCESS);
    samples.assign(FrameSamples, 0);
    ASSERT_EQ(RaDrain(engine), RA_SUCCESS);
    EXPECT_EQ(world.OnlyBuffer().SampleAt(100), 77);
}

TEST_F(Session_Report, TellsOfEachFrameWhatWasAskedForAndAchieved) {
    Reports told;
    RaSession const session = OpenSession(Reports::Take, &told);
    std::int64_t const firstDue = RaGetTimeNanoSec() + 200 * NanoSecPerMilliSec;
    Play(session, 20);
    ASSERT_THAT(told.reports, SizeIs(20));
    for (std::uint64_t number = 0; number < 20; ++number) {
        RaReport const& report = told.reports[number];
        EXPECT_EQ(report.size, sizeof(RaReport));
        EXPECT_EQ(report.isRendered, 1U);
        EXPECT_EQ(report.frameNumber, number);
        EXPECT_EQ(report.requestedNanoSec, firstDue + static_cast<std::int64_t>(number) * FrameNanoSec);
        // Whole milliseconds, rounded down.
        EXPECT_NEAR(static_cast<double>(report.achievedNanoSec - report.requestedNanoSec), 0.0, 2e6);
    }
    RaSessionStatistics const statistics = StatisticsOf(session);
    EXPECT_EQ(statistics.lastRequestedNanoSec, told.reports.back().requestedNanoSec);
    EXPECT_EQ(statistics.lastAchievedNanoSec, told.reports.back().achievedNanoSec);
}

TEST_F(Session_Report, CountsFramesThatFailApart) {
    world.Faults().FailAlways(Simulation::Call_t::SoundCreateSoundBuffer, DSERR_OUTOFMEMORY);
    Reports told;
    RaSession const session = OpenSession(Reports::Take, &told);
    Play(session, 1);
    ASSERT_THAT(told.reports, SizeIs(1));
    EXPECT_EQ(told.reports.front().isRendered, 0U);
    RaSessionStatistics const statistics = StatisticsOf(session);
    EXPECT_EQ(statistics.framesSubmitted, 1U);
    EXPECT_EQ(statistics.framesRendered, 0U);
    EXPECT_EQ(statistics.framesFailed, 1U);
    RaSessionClose(session);
    // The engine's counts keep what closed sessions did.
    EXPECT_EQ(Statistics().framesFailed, 1U);
    EXPECT_EQ(Statistics().framesSubmitted, 1U);
    EXPECT_EQ(Statistics().sessions, 0U);
}

TEST_F(Session_SetVolume, SetsTheBuffersVolumeAndPan) {
    RaSession const session = OpenSession();
    Play(session, 15);
    ASSERT_EQ(RaSessionSetVolume(session, 0.0F, 1.0F), RA_SUCCESS);
    ASSERT_EQ(RaDrain(engine), RA_SUCCESS);
    EXPECT_EQ(world.OnlyBuffer().Volume(), DSBVOLUME_MIN);
    EXPECT_EQ(world.OnlyBuffer().Pan(), DSBPAN_RIGHT);
}

TEST_F(Session_Close, RunsWhatWaitsAndTellsIt) {
    Reports told;
    RaSession const session = OpenSession(Reports::Take, &told);
    for (std::uint64_t number = 0; number < 10; ++number) {
        ASSERT_EQ(Submit(session, number), RA_SUCCESS);
    }
    ASSERT_EQ(RaSessionClose(session), RA_SUCCESS);
    EXPECT_THAT(told.reports, SizeIs(10));
    EXPECT_EQ(RaSessionClose(session), RA_INVALID_ARGUMENT);
    EXPECT_THAT(world.LiveBuffers(), SizeIs(0));
}

TEST_F(Session_Close, ByItsOwnCallbackIsTheLastThatItHears) {
    struct Closer {
        RaSession session = nullptr;
        std::atomic<bool> mayClose{false};
        std::atomic<int> calls{0};
        std::atomic<RaStatus> status{RA_REFUSED};
    } closer;
    closer.session = OpenSession(
        [](void* context, RaReport const*) {
            auto& self = *static_cast<Closer*>(context);
            ++self.calls;
            while (!self.mayClose) {
                std::this_thread::yield();
            }
            self.status = RaSessionClose(self.session);
        },
        &closer);
    for (std::uint64_t number = 0; number < 5; ++number) {
        ASSERT_EQ(Submit(closer.session, number), RA_SUCCESS);
    }
    closer.mayClose = true;
    ASSERT_EQ(RaDrain(engine), RA_SUCCESS);
    EXPECT_EQ(closer.calls, 1);
    EXPECT_EQ(closer.status, RA_SUCCESS);
}

TEST_F(Session_Threads, EightPlayOpenAndCloseAtOnceAndNoneLosesAFrame) {
    std::vector<std::thread> threads;
    std::atomic<std::uint64_t> rendered{0};
    for (int thread = 0; thread < 8; ++thread) {
        threads.emplace_back([this, &rendered] {
            for (int life = 0; life < 4; ++life) {
                Reports told;
                RaSession const session = OpenSession(Reports::Take, &told);
                for (std::uint64_t number = 0; number < 20; ++number) {
                    EXPECT_EQ(Submit(session, number), RA_SUCCESS);
                    EXPECT_EQ(RaSessionSetVolume(session, 0.5F, 0.5F), RA_SUCCESS);
                }
                EXPECT_EQ(RaSessionClose(session), RA_SUCCESS);
                rendered += told.reports.size();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(rendered, 8U * 4U * 20U);
    EXPECT_EQ(Statistics().framesRendered, 8U * 4U * 20U);
}

TEST_F(Session_Threads, NoFrameHasEndedBeforeItCountsAsSubmitted) {
    // So many show it in nearly every run. Under the thread sanitizer, where they would take seconds, each
    // operation needs to meet the other but once.
#ifdef UNDER_THREAD_SANITIZER
    constexpr std::uint64_t Frames = 200;
#else
    constexpr std::uint64_t Frames = 2000;
#endif
    std::atomic<bool> isOver{false};
    std::thread submitter([this, &isOver] {
        RaSession const session = OpenSession();
        for (std::uint64_t number = 0; number < Frames; ++number) {
            EXPECT_EQ(Submit(session, number), RA_SUCCESS);
            EXPECT_EQ(RaDrain(engine), RA_SUCCESS);
        }
        isOver = true;
    });
    while (!isOver) {
        RaStatistics const counts = Statistics();
        EXPECT_GE(counts.framesSubmitted, counts.framesRendered + counts.framesFailed);
    }
    submitter.join();
}

TEST_F(Session_Threads, AnEngineMayBeClosedWhileOthersUseIt) {
    std::vector<std::thread> threads;
    std::atomic<int> started{0};
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([this, &started] {
            RaSession const session = OpenSession();
            ++started;
            std::uint64_t number = 0;
            while (Submit(session, number) == RA_SUCCESS) {
                ++number;
            }
            EXPECT_EQ(Submit(session, number), RA_INVALID_ARGUMENT);
        });
    }
    while (started < 4) {
        std::this_thread::yield();
    }
    EXPECT_EQ(RaClose(engine), RA_SUCCESS);
    engine = nullptr;
    for (auto& thread : threads) {
        thread.join();
    }
}

// --- log

TEST_F(Log_Callback, HearsRecordsFromItsLevelOnUntilItIsEnded) {
    struct Records {
        static void Take(void* context, RaLogRecord const* record) {
            auto& self = *static_cast<Records*>(context);
            self.levels.push_back(record->level);
            self.texts.emplace_back(std::string(record->channel) + ": " + record->message);
            // It may call what it likes, but must not end what it would wait for.
            self.status = RaClose(self.engine);
        }
        RaEngine engine;
        std::vector<std::int32_t> levels;
        std::vector<std::string> texts;
        RaStatus status = RA_SUCCESS;
    } records{engine, {}, {}};
    ASSERT_EQ(RaSetLog(Records::Take, &records, RA_LOG_INFO), RA_SUCCESS);
    RaSession const session = OpenSession();
    Play(session, 15);
    ASSERT_EQ(RaSetLog(nullptr, nullptr, RA_LOG_INFO), RA_SUCCESS);
    EXPECT_THAT(records.levels, Each(testing::Ge(RA_LOG_INFO)));
    EXPECT_THAT(records.texts, testing::Contains(testing::StartsWith("Media.RendererAudio")));
    EXPECT_EQ(records.status, RA_REFUSED);
    // Nothing of the playing is a warning.
    records.texts.clear();
    ASSERT_EQ(RaSetLog(Records::Take, &records, RA_LOG_WARNING), RA_SUCCESS);
    Play(OpenSession(), 15);
    ASSERT_EQ(RaSetLog(nullptr, nullptr, RA_LOG_INFO), RA_SUCCESS);
    EXPECT_THAT(records.texts, SizeIs(0));
    std::size_t const heard = records.texts.size();
    ASSERT_EQ(RaSessionClose(session), RA_SUCCESS);
    Play(OpenSession(), 15);
    EXPECT_THAT(records.texts, SizeIs(heard));
}

} // namespace
} // namespace SdkTest
