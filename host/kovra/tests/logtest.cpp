#include "kovra/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <future>
#include <stdexcept>
#include <thread>

#include "kovra/thread.h"

using Kovra::CodeLocation;
using Kovra::LogExec;
using Kovra::LoggerFacade;
using Kovra::LogLevel_t;
using Kovra::LogManager;
using Kovra::LogRecord;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

// 2023-11-14 22:13:20.125 UTC
constexpr std::int64_t SomeInstantNanoSec = 1'700'000'000'125'000'000;

class FixedClock : public Kovra::ClockSource {
public:
    std::int64_t SystemNanoSec() const override { return SomeInstantNanoSec; }
    std::int64_t MonotonicNanoSec() const override { return 77; }
};

std::shared_ptr<LoggerFacade> GetLogger(char const* channel) {
    return LogManager::Instance().GetLogger(channel, nullptr, std::string());
}

void Push(LoggerFacade const& facade, LogLevel_t level, char const* text) {
    facade.get().Push(LogExec(level, text));
}

std::string ReadFile(std::string const& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

void Require(bool condition, char const* text) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", text);
        std::abort();
    }
}

/// Made before anything of the log (which is why nothing that fetches a logger at load is included above), it
/// ends when the last of it is gone.
class LogsWhenAllIsGone {
public:
    ~LogsWhenAllIsGone() {
        std::string seen;
        LogManager& manager = LogManager::Instance();
        manager.SetObserver([&](LogRecord const& record) { seen = record.message; });
        manager.SetConsole(LogLevel_t::Debug);
        Push(*GetLogger("Test.AllIsGone"), LogLevel_t::Error, "all is gone");
        manager.SetConsole(LogLevel_t::Off);
        manager.SetObserver({});
        Require(seen == "all is gone", "the observer missed a record of the last static destructor");
    }
} const logsWhenAllIsGone;

// Fetched while the program is loaded, as every library does.
std::shared_ptr<LoggerFacade> const loadTimeLogger =
    LogManager::Instance().GetLogger("Test.LoadTime", nullptr, std::string());

/// Made after its library has fetched its logger, it ends before anything of the log.
class LogsAtUnload {
public:
    ~LogsAtUnload() {
        std::string const path = testing::TempDir() + "kovra_unload.log";
        std::remove(path.c_str());
        LogManager::Instance().SetFile(path);
        Push(*loadTimeLogger, LogLevel_t::Error, "unloading");
        LogManager::Instance().SetFile("");
        bool const isWritten = ReadFile(path).find(" error Test.LoadTime unloading\n") != std::string::npos;
        std::remove(path.c_str());
        Require(isWritten, "the file missed a record of a static destructor");
    }
} const logsAtUnload;

class Log : public testing::Test {
protected:
    Log() { Kovra::SetClockSource(&clock_); }

    ~Log() override {
        manager_.SetObserver({});
        manager_.SetConsole(LogLevel_t::Off);
        manager_.SetFile("");
        Kovra::SetClockSource(nullptr);
    }

    void Observe() {
        manager_.SetObserver([this](LogRecord const& record) { seen_.push_back(record.message); });
    }

    std::string MakePath(char const* name) {
        std::string const path = testing::TempDir() + "kovra_" + name + ".log";
        std::remove(path.c_str());
        return path;
    }

    FixedClock clock_;
    LogManager& manager_ = LogManager::Instance();
    std::vector<std::string> seen_;
};

using LogManager_GetLogger = Log;
using LogManager_SetLevel = Log;
using LogManager_SetObserver = Log;
using LogManager_SetConsole = Log;
using LogManager_SetFile = Log;
using LoggerFacade_IsEnabled = Log;

} // namespace

TEST(LogExec, TextWithoutPlacesStaysAsItIs) {
    LogExec const record(LogLevel_t::Info, "Starting buffer capture");
    EXPECT_EQ(record.GetMessage(), "Starting buffer capture");
    EXPECT_EQ(record.GetLevel(), LogLevel_t::Info);
    EXPECT_EQ(record.GetLocation(), nullptr);
}

TEST(LogExec, ArgumentsFillPlacesInOrder) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d of %u ms") % -5 % 7U).GetMessage(), "-5 of 7 ms");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%i") % 0).GetMessage(), "0");
}

TEST(LogExec, ArgumentKeepsItsOwnSignWhateverThePlaceClaims) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%u") % -1).GetMessage(), "-1");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d") % 4294967295U).GetMessage(), "4294967295");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%s") % -2147483647).GetMessage(), "-2147483647");
}

TEST(LogExec, FlagsWidthAndPrecisionAreHonoured) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "[%5d|%-5d|%0+5d|%+d|%.3d]") % 42 % 42 % 42 % 42 % 42).GetMessage(),
              "[   42|42   |+0042|+42|042]");
}

TEST(LogExec, HexadecimalAndOctalShowTheBits) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%x %X %#x %o") % 255 % 255U % -1 % 8).GetMessage(),
              "ff FF 0xffffffff 10");
}

TEST(LogExec, LengthOfThePlaceIsIgnored) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%ld %llu %hhd %zu") % -3 % 3U % 300 % 4U).GetMessage(),
              "-3 3 300 4");
}

TEST(LogExec, DoublePercentIsAPercentSign) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%%%d%% %%d") % 5).GetMessage(), "%5% %d");
    EXPECT_EQ(LogExec(LogLevel_t::Info, "100%%").GetMessage(), "100%");
}

TEST(LogExec, OtherPercentIsPlainText) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%*d %! %d") % 5).GetMessage(), "%*d %! 5");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d %") % 5).GetMessage(), "5 %");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d %5.") % 5).GetMessage(), "5 %5.");
}

TEST(LogExec, EmptyPlacesStayAsTheyAreWritten) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d %05u%% %x!") % 1).GetMessage(), "1 %05u% %x!");
    EXPECT_EQ(LogExec(LogLevel_t::Info, "%d").GetMessage(), "%d");
}

TEST(LogExec, SurplusArgumentsAreIgnored) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, "%d ms") % 1 % 2 % 3U).GetMessage(), "1 ms");
    EXPECT_EQ((LogExec(LogLevel_t::Info, "") % 1).GetMessage(), "");
}

TEST(LogExec, NullTextIsEmpty) {
    EXPECT_EQ((LogExec(LogLevel_t::Info, nullptr) % 1).GetMessage(), "");
}

TEST(LogExec, LocationIsKept) {
    LogExec record(LogLevel_t::Info, "text");
    record.At(CodeLocation("some.cpp", "A::B", 12));
    ASSERT_NE(record.GetLocation(), nullptr);
    EXPECT_STREQ(record.GetLocation()->file, "some.cpp");
    EXPECT_STREQ(record.GetLocation()->function, "A::B");
    EXPECT_EQ(record.GetLocation()->line, 12);
}

TEST_F(LogManager_GetLogger, ThereIsOneManagerAndOneFacadeForEachChannel) {
    EXPECT_EQ(&LogManager::Instance(), &LogManager::Instance());
    auto const first = GetLogger("Test.Shared");
    EXPECT_EQ(first, manager_.GetLogger("Test.Shared", first.get(), "anything"));
    EXPECT_NE(first, GetLogger("Test.Other"));
    EXPECT_EQ(first->GetChannel(), "Test.Shared");
}

TEST_F(LogManager_GetLogger, NullChannelIsTheEmptyOne) {
    EXPECT_EQ(GetLogger(nullptr)->GetChannel(), "");
    EXPECT_EQ(GetLogger(nullptr), GetLogger(""));
}

TEST_F(LogManager_GetLogger, ChannelsThatWereFetchedAreListedInOrder) {
    GetLogger("Test.List.B");
    GetLogger("Test.List.A");
    manager_.SetLevel("Test.List.C", LogLevel_t::Off);
    std::vector<std::string> listed;
    for (std::string const& name : manager_.GetChannels()) {
        if (name.rfind("Test.List", 0) == 0)
            listed.push_back(name);
    }
    EXPECT_THAT(listed, ElementsAre("Test.List.A", "Test.List.B"));
}

TEST_F(LogManager_GetLogger, LoggerFetchedAtLoadWorks) {
    Observe();
    Push(*loadTimeLogger, LogLevel_t::Info, "loaded");
    EXPECT_THAT(seen_, ElementsAre("loaded"));
}

TEST_F(LogManager_GetLogger, ThreadsThatFetchAtOnceShareOneFacade) {
    std::vector<std::future<std::shared_ptr<LoggerFacade>>> fetches;
    for (int thread = 0; thread < 4; ++thread)
        fetches.push_back(std::async(std::launch::async, [] { return GetLogger("Test.Race"); }));
    for (auto& fetch : fetches)
        EXPECT_EQ(fetch.get(), GetLogger("Test.Race"));
}

TEST_F(LoggerFacade_IsEnabled, NothingIsWantedWithoutASink) {
    auto const logger = GetLogger("Test.NoSink");
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Debug));
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, ObserverWantsEverythingUntilItEnds) {
    auto const logger = GetLogger("Test.Observed");
    Observe();
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Debug));
    manager_.SetObserver({});
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, FileWantsEverythingUntilItEnds) {
    auto const logger = GetLogger("Test.Filed");
    ASSERT_TRUE(manager_.SetFile(MakePath("enabled")));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Debug));
    ASSERT_TRUE(manager_.SetFile(""));
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, ConsoleWantsItsLevelAndAbove) {
    auto const logger = GetLogger("Test.Consoled");
    manager_.SetConsole(LogLevel_t::Warning);
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Info));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Warning));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Error));
    manager_.SetConsole(LogLevel_t::Off);
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, OffIsNoSeverityOfRecords) {
    Observe();
    EXPECT_FALSE(GetLogger("Test.OffRecord")->IsEnabled(LogLevel_t::Off));
    Push(*GetLogger("Test.OffRecord"), LogLevel_t::Off, "never");
    EXPECT_THAT(seen_, ElementsAre());
}

TEST_F(LogManager_SetLevel, RecordsBelowTheChannelsLevelAreNotMade) {
    auto const logger = GetLogger("Test.Level");
    Observe();
    manager_.SetLevel("Test.Level", LogLevel_t::Warning);
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Info));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Warning));
    Push(*logger, LogLevel_t::Info, "below");
    Push(*logger, LogLevel_t::Warning, "at");
    Push(*logger, LogLevel_t::Error, "above");
    EXPECT_THAT(seen_, ElementsAre("at", "above"));
}

TEST_F(LogManager_SetLevel, OffSilencesOneChannelOnly) {
    auto const silent = GetLogger("Test.Level.Silent");
    Observe();
    manager_.SetLevel("Test.Level.Silent", LogLevel_t::Off);
    EXPECT_FALSE(silent->IsEnabled(LogLevel_t::Error));
    EXPECT_TRUE(GetLogger("Test.Level.Loud")->IsEnabled(LogLevel_t::Debug));
    manager_.SetLevel("Test.Level.Silent", LogLevel_t::Debug);
    EXPECT_TRUE(silent->IsEnabled(LogLevel_t::Debug));
}

TEST_F(LogManager_SetLevel, HoldsForAChannelFetchedLater) {
    Observe();
    manager_.SetLevel("Test.Level.Early", LogLevel_t::Error);
    auto const logger = GetLogger("Test.Level.Early");
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Warning));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LogManager_SetObserver, RecordTellsWhatWhereWhenAndOnWhichThread) {
    std::vector<LogRecord> records;
    manager_.SetObserver([&](LogRecord const& record) { records.push_back(record); });
    auto const logger = GetLogger("Test.Record");
    std::thread([&] {
        Kovra::SetThreadName("Test.Pusher");
        logger->get().Push(
            (LogExec(LogLevel_t::Warning, "%d Hz") % 47960).At(CodeLocation("a.cpp", "A::B", 3)));
    }).join();
    std::thread([&] { Push(*logger, LogLevel_t::Debug, "plain"); }).join();

    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].channel, "Test.Record");
    EXPECT_EQ(records[0].level, LogLevel_t::Warning);
    EXPECT_EQ(records[0].message, "47960 Hz");
    EXPECT_STREQ(records[0].file, "a.cpp");
    EXPECT_STREQ(records[0].function, "A::B");
    EXPECT_EQ(records[0].line, 3);
    EXPECT_EQ(records[0].time, Kovra::JiffyTime(77));
    EXPECT_EQ(records[0].threadName, "Test.Pusher");

    EXPECT_EQ(records[1].level, LogLevel_t::Debug);
    EXPECT_EQ(records[1].file, nullptr);
    EXPECT_EQ(records[1].function, nullptr);
    EXPECT_EQ(records[1].line, 0);
    EXPECT_EQ(records[1].threadName, "");
}

TEST_F(LogManager_SetObserver, IsCalledOnThePushingThread) {
    std::thread::id teller;
    manager_.SetObserver([&](LogRecord const&) { teller = std::this_thread::get_id(); });
    Push(*GetLogger("Test.Thread"), LogLevel_t::Info, "here");
    EXPECT_EQ(teller, std::this_thread::get_id());
}

TEST_F(LogManager_SetObserver, LaterObserverTakesThePlaceOfTheEarlier) {
    int first = 0;
    int second = 0;
    auto const logger = GetLogger("Test.Replaced");
    manager_.SetObserver([&](LogRecord const&) { ++first; });
    Push(*logger, LogLevel_t::Info, "to the first");
    manager_.SetObserver([&](LogRecord const&) { ++second; });
    Push(*logger, LogLevel_t::Info, "to the second");
    Push(*logger, LogLevel_t::Info, "to the second");
    manager_.SetObserver({});
    Push(*logger, LogLevel_t::Info, "to nobody");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

TEST_F(LogManager_SetObserver, ShowsOneRecordAtATimeToWhateverThreadPushes) {
    constexpr int Threads = 4;
    constexpr int RecordsPerThread = 250;
    // Not atomic: the observer needs no lock of its own.
    int inside = 0;
    int count = 0;
    manager_.SetObserver([&](LogRecord const&) {
        EXPECT_EQ(++inside, 1);
        ++count;
        --inside;
    });
    auto const logger = GetLogger("Test.OneAtATime");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&] {
            for (int record = 0; record < RecordsPerThread; ++record)
                Push(*logger, LogLevel_t::Info, "text");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    manager_.SetObserver({});
    EXPECT_EQ(count, Threads * RecordsPerThread);
}

TEST_F(LogManager_SetObserver, NoCallOfThePreviousObserverRunsOnceItReturns) {
    constexpr int Replacements = 300;
    auto const logger = GetLogger("Test.Handover");
    std::atomic<bool> isDone{false};
    std::thread pusher([&] {
        while (!isDone)
            Push(*logger, LogLevel_t::Info, "text");
    });
    for (int replacement = 0; replacement < Replacements; ++replacement) {
        // Not atomic: written only once the observer that reads it is out of the way.
        auto isReplaced = std::make_unique<bool>(false);
        manager_.SetObserver([&flag = *isReplaced](LogRecord const&) {
            EXPECT_FALSE(flag);
            std::this_thread::yield();
            EXPECT_FALSE(flag);
        });
        std::this_thread::yield();
        manager_.SetObserver({});
        *isReplaced = true;
    }
    isDone = true;
    pusher.join();
}

TEST_F(LogManager_SetObserver, WaitsForACallThatRuns) {
    auto const logger = GetLogger("Test.Waits");
    std::promise<void> entered;
    std::promise<void> replacing;
    std::atomic<bool> hasReturned{false};
    bool hadReturned = true;
    manager_.SetObserver([&](LogRecord const&) {
        entered.set_value();
        replacing.get_future().wait();
        for (int turn = 0; turn < 1000; ++turn)
            std::this_thread::yield();
        hadReturned = hasReturned;
    });
    std::thread pusher([&] { Push(*logger, LogLevel_t::Info, "text"); });
    entered.get_future().wait();
    replacing.set_value();
    manager_.SetObserver({});
    hasReturned = true;
    EXPECT_FALSE(hadReturned);
    pusher.join();
}

TEST_F(LogManager_SetObserver, RecordsThatTheObserverPushesAreNotShownToItButReachTheOtherSinks) {
    std::string const path = MakePath("nested");
    ASSERT_TRUE(manager_.SetFile(path));
    auto const logger = GetLogger("Test.Nested");
    manager_.SetObserver([&](LogRecord const& record) {
        seen_.push_back(record.message);
        Push(*logger, LogLevel_t::Info, "inner");
    });
    Push(*logger, LogLevel_t::Info, "outer");
    EXPECT_THAT(seen_, ElementsAre("outer"));
    EXPECT_THAT(ReadFile(path), HasSubstr("inner"));
    EXPECT_THAT(ReadFile(path), HasSubstr("outer"));
}

TEST_F(LogManager_SetObserver, ObserverMayEndItself) {
    auto const logger = GetLogger("Test.EndsItself");
    auto const kept = std::make_shared<int>(5);
    manager_.SetObserver([this, kept](LogRecord const&) {
        manager_.SetObserver({});
        seen_.push_back(std::to_string(*kept));
    });
    Push(*logger, LogLevel_t::Info, "first");
    Push(*logger, LogLevel_t::Info, "second");
    EXPECT_THAT(seen_, ElementsAre("5"));
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(LogManager_SetObserver, WhatTheObserverThrowsIsDropped) {
    auto const logger = GetLogger("Test.Throws");
    int calls = 0;
    manager_.SetObserver([&](LogRecord const&) {
        ++calls;
        throw std::runtime_error("observer");
    });
    EXPECT_NO_THROW(Push(*logger, LogLevel_t::Info, "first"));
    EXPECT_NO_THROW(Push(*logger, LogLevel_t::Info, "second"));
    EXPECT_EQ(calls, 2);
}

TEST_F(LogManager_SetConsole, WritesOneLineToTheStandardErrorStream) {
    testing::internal::CaptureStderr();
    manager_.SetConsole(LogLevel_t::Debug);
    auto const logger = GetLogger("Test.Console");
    std::thread([&] {
        Push(*logger, LogLevel_t::Debug, "plain");
        Kovra::SetThreadName("Test.Named");
        logger->get().Push((LogExec(LogLevel_t::Info, "%d Hz") % 48000).At(CodeLocation("a.cpp", "A::B", 3)));
    }).join();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "2023-11-14T22:13:20.125Z debug Test.Console plain\n"
              "2023-11-14T22:13:20.125Z info Test.Console [Test.Named] 48000 Hz (a.cpp:3 A::B)\n");
}

TEST_F(LogManager_SetConsole, LineBreaksInATextBecomeBlanks) {
    testing::internal::CaptureStderr();
    manager_.SetConsole(LogLevel_t::Debug);
    Push(*GetLogger("Test.Console"), LogLevel_t::Error, "two\r\nlines");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "2023-11-14T22:13:20.125Z error Test.Console two  lines\n");
}

TEST_F(LogManager_SetConsole, RecordsBelowItsLevelStayAwayEvenWhenAnotherSinkTakesThem) {
    Observe();
    testing::internal::CaptureStderr();
    manager_.SetConsole(LogLevel_t::Warning);
    auto const logger = GetLogger("Test.Console");
    Push(*logger, LogLevel_t::Info, "only observed");
    Push(*logger, LogLevel_t::Warning, "both");
    manager_.SetConsole(LogLevel_t::Off);
    Push(*logger, LogLevel_t::Error, "only observed again");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "2023-11-14T22:13:20.125Z warning Test.Console both\n");
    EXPECT_THAT(seen_, ElementsAre("only observed", "both", "only observed again"));
}

TEST_F(LogManager_SetConsole, NothingIsPrintedWithoutASink) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    Observe();
    auto const logger = GetLogger("Test.Console");
    Push(*logger, LogLevel_t::Error, "observed only");
    manager_.SetObserver({});
    Push(*logger, LogLevel_t::Error, "nowhere");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(LogManager_SetFile, EachRecordIsInTheFileAsSoonAsItIsPushed) {
    std::string const path = MakePath("file");
    ASSERT_TRUE(manager_.SetFile(path));
    auto const logger = GetLogger("Test.File");
    Push(*logger, LogLevel_t::Debug, "one");
    EXPECT_EQ(ReadFile(path), "2023-11-14T22:13:20.125Z debug Test.File one\n");
    Push(*logger, LogLevel_t::Error, "two");
    EXPECT_EQ(ReadFile(path),
              "2023-11-14T22:13:20.125Z debug Test.File one\n"
              "2023-11-14T22:13:20.125Z error Test.File two\n");
}

TEST_F(LogManager_SetFile, EmptyPathEndsItAndTheSamePathGoesOnAtItsEnd) {
    std::string const path = MakePath("append");
    auto const logger = GetLogger("Test.File");
    ASSERT_TRUE(manager_.SetFile(path));
    Push(*logger, LogLevel_t::Info, "one");
    ASSERT_TRUE(manager_.SetFile(""));
    Push(*logger, LogLevel_t::Info, "lost");
    ASSERT_TRUE(manager_.SetFile(path));
    Push(*logger, LogLevel_t::Info, "two");
    EXPECT_EQ(ReadFile(path),
              "2023-11-14T22:13:20.125Z info Test.File one\n"
              "2023-11-14T22:13:20.125Z info Test.File two\n");
}

TEST_F(LogManager_SetFile, NewFileTakesThePlaceOfTheEarlier) {
    std::string const first = MakePath("first");
    std::string const second = MakePath("second");
    auto const logger = GetLogger("Test.File");
    ASSERT_TRUE(manager_.SetFile(first));
    Push(*logger, LogLevel_t::Info, "one");
    ASSERT_TRUE(manager_.SetFile(second));
    Push(*logger, LogLevel_t::Info, "two");
    EXPECT_EQ(ReadFile(first), "2023-11-14T22:13:20.125Z info Test.File one\n");
    EXPECT_EQ(ReadFile(second), "2023-11-14T22:13:20.125Z info Test.File two\n");
}

TEST_F(LogManager_SetFile, FileThatCannotBeOpenedLeavesTheEarlierInUse) {
    std::string const path = MakePath("kept");
    auto const logger = GetLogger("Test.File");
    EXPECT_FALSE(manager_.SetFile(testing::TempDir() + "no/such/folder/file.log"));
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
    ASSERT_TRUE(manager_.SetFile(path));
    EXPECT_FALSE(manager_.SetFile(testing::TempDir() + "no/such/folder/file.log"));
    Push(*logger, LogLevel_t::Info, "still here");
    EXPECT_EQ(ReadFile(path), "2023-11-14T22:13:20.125Z info Test.File still here\n");
}

TEST_F(LogManager_SetFile, LinesOfSeveralThreadsDoNotMix) {
    constexpr int Threads = 4;
    constexpr int RecordsPerThread = 50;
    std::string const path = MakePath("threads");
    ASSERT_TRUE(manager_.SetFile(path));
    auto const logger = GetLogger("Test.File");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&] {
            for (int record = 0; record < RecordsPerThread; ++record)
                Push(*logger, LogLevel_t::Info, "a text of some length");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::ifstream file(path);
    int lines = 0;
    for (std::string line; std::getline(file, line); ++lines)
        EXPECT_EQ(line, "2023-11-14T22:13:20.125Z info Test.File a text of some length");
    EXPECT_EQ(lines, Threads * RecordsPerThread);
}
