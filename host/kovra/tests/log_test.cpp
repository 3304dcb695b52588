#include <cstdio>
#include <cstdlib>
#include <future>

#include "logfixture.h"

using Kovra::LoggerFacade;
using Kovra::LogLevel_t;
using Kovra::LogManager;
using Kovra::LogRecord;
using KovraTest::GetLogger;
using KovraTest::Push;
using testing::ElementsAre;

namespace {

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
        bool const isWritten =
            KovraTest::ReadLog(path).find(" error Test.LoadTime unloading\n") != std::string::npos;
        std::remove(path.c_str());
        Require(isWritten, "the file missed a record of a static destructor");
    }
} const logsAtUnload;

using LogManager_GetLogger = KovraTest::LogTest;
using LogManager_SetLevel = KovraTest::LogTest;
using LoggerFacade_IsEnabled = KovraTest::LogTest;

} // namespace

TEST_F(LogManager_GetLogger, ThereIsOneManagerAndOneFacadeForEachChannel) {
    EXPECT_EQ(&LogManager::Instance(), &LogManager::Instance());
    auto const first = GetLogger("Test.Shared");
    EXPECT_EQ(first, manager.GetLogger("Test.Shared", first.get(), "anything"));
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
    manager.SetLevel("Test.List.C", LogLevel_t::Off);
    std::vector<std::string> listed;
    for (std::string const& name : manager.GetChannels()) {
        if (name.rfind("Test.List", 0) == 0) {
            listed.push_back(name);
        }
    }
    EXPECT_THAT(listed, ElementsAre("Test.List.A", "Test.List.B"));
}

TEST_F(LogManager_GetLogger, LoggerFetchedAtLoadWorks) {
    Observe();
    Push(*loadTimeLogger, LogLevel_t::Info, "loaded");
    EXPECT_THAT(GetSeen(), ElementsAre("loaded"));
}

TEST_F(LogManager_GetLogger, ThreadsThatFetchAtOnceShareOneFacade) {
    std::vector<std::future<std::shared_ptr<LoggerFacade>>> fetches;
    for (int thread = 0; thread < 4; ++thread) {
        fetches.push_back(std::async(std::launch::async, [] { return GetLogger("Test.Race"); }));
    }
    for (auto& fetch : fetches) {
        EXPECT_EQ(fetch.get(), GetLogger("Test.Race"));
    }
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
    manager.SetObserver({});
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, FileWantsEverythingUntilItEnds) {
    auto const logger = GetLogger("Test.Filed");
    ASSERT_TRUE(manager.SetFile(MakePath("enabled")));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Debug));
    ASSERT_TRUE(manager.SetFile(""));
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, ConsoleWantsItsLevelAndAbove) {
    auto const logger = GetLogger("Test.Consoled");
    manager.SetConsole(LogLevel_t::Warning);
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Info));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Warning));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Error));
    manager.SetConsole(LogLevel_t::Off);
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
}

TEST_F(LoggerFacade_IsEnabled, OffIsNoSeverityOfRecords) {
    Observe();
    EXPECT_FALSE(GetLogger("Test.OffRecord")->IsEnabled(LogLevel_t::Off));
    Push(*GetLogger("Test.OffRecord"), LogLevel_t::Off, "never");
    EXPECT_THAT(GetSeen(), ElementsAre());
}

TEST_F(LogManager_SetLevel, RecordsBelowTheChannelsLevelAreNotMade) {
    auto const logger = GetLogger("Test.Level");
    Observe();
    manager.SetLevel("Test.Level", LogLevel_t::Warning);
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Info));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Warning));
    Push(*logger, LogLevel_t::Info, "below");
    Push(*logger, LogLevel_t::Warning, "at");
    Push(*logger, LogLevel_t::Error, "above");
    EXPECT_THAT(GetSeen(), ElementsAre("at", "above"));
}

TEST_F(LogManager_SetLevel, OffSilencesOneChannelOnly) {
    auto const silent = GetLogger("Test.Level.Silent");
    Observe();
    manager.SetLevel("Test.Level.Silent", LogLevel_t::Off);
    EXPECT_FALSE(silent->IsEnabled(LogLevel_t::Error));
    EXPECT_TRUE(GetLogger("Test.Level.Loud")->IsEnabled(LogLevel_t::Debug));
    manager.SetLevel("Test.Level.Silent", LogLevel_t::Debug);
    EXPECT_TRUE(silent->IsEnabled(LogLevel_t::Debug));
}

TEST_F(LogManager_SetLevel, HoldsForAChannelFetchedLater) {
    Observe();
    manager.SetLevel("Test.Level.Early", LogLevel_t::Error);
    auto const logger = GetLogger("Test.Level.Early");
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Warning));
    EXPECT_TRUE(logger->IsEnabled(LogLevel_t::Error));
}
