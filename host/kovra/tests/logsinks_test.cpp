#include <cstddef>
#include <filesystem>
#include <sstream>
#include <thread>

#include "kovra/thread.h"
#include "logfixture.h"

using Kovra::LogLevel_t;
using KovraTest::GetLogger;
using KovraTest::Push;
using KovraTest::ReadLog;
using testing::ElementsAre;
using testing::UnorderedElementsAre;
using testing::UnorderedElementsAreArray;

namespace {

std::vector<std::string> ReadLines(std::string const& path) {
    std::istringstream text(ReadLog(path));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);) {
        lines.push_back(line);
    }
    return lines;
}

class LogSinksTest : public KovraTest::LogTest {
protected:
    /// What was written to the standard error stream since its capture began.
    std::string TakeConsole() {
        manager.Flush();
        return testing::internal::GetCapturedStderr();
    }

    /// A line of 100 bytes for each letter, full of that letter.
    static void PushLines(std::string const& letters) {
        auto const logger = GetLogger("Test.File");
        constexpr std::size_t TextBytes = 100 - sizeof "2023-11-14T22:13:20.125Z info Test.File ";
        for (char const letter : letters) {
            Push(*logger, LogLevel_t::Info, std::string(TextBytes, letter));
        }
    }
    /// The letters of those lines.
    static std::vector<char> ReadTexts(std::string const& path) {
        std::vector<char> letters;
        for (std::string const& line : ReadLines(path)) {
            letters.push_back(line.back());
        }
        return letters;
    }
};

class FoldingTest : public LogSinksTest {
protected:
    FoldingTest() { EXPECT_TRUE(manager.SetFile(path)); }

    void PushAt(int second, std::string const& text) {
        clock.monotonicNanoSec = second * Kovra::NanoSecPerSec;
        Push(*GetLogger("Test.Fold"), LogLevel_t::Info, text);
    }

    /// What stands behind the channels in the file.
    std::vector<std::string> TakeTexts() const {
        std::vector<std::string> texts;
        for (std::string const& line : ReadLines(path)) {
            texts.push_back(line.substr(line.find(' ', line.find("Test.")) + 1));
        }
        return texts;
    }

    std::string const path = MakePath("folded");
};

using LogManager_SetConsole = LogSinksTest;
using LogManager_SetFile = LogSinksTest;
using LogManager_Folding = FoldingTest;

} // namespace

TEST_F(LogManager_SetConsole, WritesOneLineToTheStandardErrorStream) {
    testing::internal::CaptureStderr();
    manager.SetConsole(LogLevel_t::Debug);
    auto const logger = GetLogger("Test.Console");
    std::thread([&] {
        Push(*logger, LogLevel_t::Debug, "plain");
        Kovra::SetThreadName("Test.Named");
        logger->get().Push(
            (Kovra::LogExec(LogLevel_t::Info, "%d Hz") % 48000).At(Kovra::CodeLocation("a.cpp", "A::B", 3)));
    }).join();
    EXPECT_EQ(TakeConsole(),
              "2023-11-14T22:13:20.125Z debug Test.Console plain\n"
              "2023-11-14T22:13:20.125Z info Test.Console [Test.Named] 48000 Hz (a.cpp:3 A::B)\n");
}

TEST_F(LogManager_SetConsole, ShowsTheSessionBehindTheThread) {
    testing::internal::CaptureStderr();
    manager.SetConsole(LogLevel_t::Debug);
    auto const logger = GetLogger("Test.Console");
    std::thread([&] {
        Kovra::LogSubject const subject(12);
        Push(*logger, LogLevel_t::Debug, "unnamed");
        Kovra::SetThreadName("Test.Named");
        Push(*logger, LogLevel_t::Debug, "named");
    }).join();
    EXPECT_EQ(TakeConsole(), std::string(KovraTest::LineTime) + "debug Test.Console [session 12] unnamed\n" +
                                 KovraTest::LineTime + "debug Test.Console [Test.Named session 12] named\n");
}

TEST_F(LogManager_SetConsole, LineBreaksInATextBecomeBlanks) {
    testing::internal::CaptureStderr();
    manager.SetConsole(LogLevel_t::Debug);
    Push(*GetLogger("Test.Console"), LogLevel_t::Error, "two\r\nlines");
    EXPECT_EQ(TakeConsole(), "2023-11-14T22:13:20.125Z error Test.Console two  lines\n");
}

TEST_F(LogManager_SetConsole, RecordsBelowItsLevelStayAwayEvenWhenAnotherSinkTakesThem) {
    Observe();
    ASSERT_TRUE(manager.SetFile(MakePath("besides")));
    testing::internal::CaptureStderr();
    manager.SetConsole(LogLevel_t::Warning);
    auto const logger = GetLogger("Test.Console");
    Push(*logger, LogLevel_t::Info, "only observed");
    Push(*logger, LogLevel_t::Warning, "both");
    manager.SetConsole(LogLevel_t::Off);
    Push(*logger, LogLevel_t::Error, "only observed again");
    EXPECT_EQ(TakeConsole(), "2023-11-14T22:13:20.125Z warning Test.Console both\n");
    EXPECT_THAT(GetSeen(), ElementsAre("only observed", "both", "only observed again"));
}

TEST_F(LogManager_SetConsole, NothingIsPrintedWithoutASink) {
    testing::internal::CaptureStderr();
    testing::internal::CaptureStdout();
    Observe();
    auto const logger = GetLogger("Test.Console");
    Push(*logger, LogLevel_t::Error, "observed only");
    manager.SetObserver({});
    Push(*logger, LogLevel_t::Error, "nowhere");
    EXPECT_EQ(TakeConsole(), "");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(LogManager_SetFile, EveryRecordIsInTheFileOnceItIsFlushed) {
    std::string const path = MakePath("file");
    ASSERT_TRUE(manager.SetFile(path));
    auto const logger = GetLogger("Test.File");
    Push(*logger, LogLevel_t::Debug, "one");
    EXPECT_EQ(ReadLog(path), "2023-11-14T22:13:20.125Z debug Test.File one\n");
    Push(*logger, LogLevel_t::Error, "two");
    EXPECT_EQ(ReadLog(path),
              "2023-11-14T22:13:20.125Z debug Test.File one\n"
              "2023-11-14T22:13:20.125Z error Test.File two\n");
}

TEST_F(LogManager_SetFile, EmptyPathEndsItAndTheSamePathGoesOnAtItsEnd) {
    std::string const path = MakePath("append");
    auto const logger = GetLogger("Test.File");
    ASSERT_TRUE(manager.SetFile(path));
    Push(*logger, LogLevel_t::Info, "one");
    ASSERT_TRUE(manager.SetFile(""));
    Push(*logger, LogLevel_t::Info, "lost");
    ASSERT_TRUE(manager.SetFile(path));
    Push(*logger, LogLevel_t::Info, "two");
    EXPECT_EQ(ReadLog(path),
              "2023-11-14T22:13:20.125Z info Test.File one\n"
              "2023-11-14T22:13:20.125Z info Test.File two\n");
}

TEST_F(LogManager_SetFile, NewFileTakesThePlaceOfTheEarlier) {
    std::string const first = MakePath("first");
    std::string const second = MakePath("second");
    auto const logger = GetLogger("Test.File");
    ASSERT_TRUE(manager.SetFile(first));
    Push(*logger, LogLevel_t::Info, "one");
    ASSERT_TRUE(manager.SetFile(second));
    Push(*logger, LogLevel_t::Info, "two");
    EXPECT_EQ(ReadLog(first), "2023-11-14T22:13:20.125Z info Test.File one\n");
    EXPECT_EQ(ReadLog(second), "2023-11-14T22:13:20.125Z info Test.File two\n");
}

TEST_F(LogManager_SetFile, FileThatCannotBeOpenedLeavesTheEarlierInUse) {
    std::string const path = MakePath("kept");
    auto const logger = GetLogger("Test.File");
    EXPECT_FALSE(manager.SetFile(testing::TempDir() + "no/such/folder/file.log"));
    EXPECT_FALSE(logger->IsEnabled(LogLevel_t::Error));
    ASSERT_TRUE(manager.SetFile(path));
    EXPECT_FALSE(manager.SetFile(testing::TempDir() + "no/such/folder/file.log"));
    Push(*logger, LogLevel_t::Info, "still here");
    EXPECT_EQ(ReadLog(path), "2023-11-14T22:13:20.125Z info Test.File still here\n");
}

TEST_F(LogManager_SetFile, LinesOfSeveralThreadsDoNotMix) {
    constexpr int Threads = 4;
    constexpr int RecordsPerThread = 50;
    std::string const path = MakePath("threads");
    ASSERT_TRUE(manager.SetFile(path));
    auto const logger = GetLogger("Test.File");
    std::vector<std::string> expected;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        std::vector<std::string> texts;
        for (int record = 1; record <= RecordsPerThread; ++record) {
            texts.emplace_back(static_cast<std::size_t>(record), static_cast<char>('a' + thread));
        }
        for (std::string const& text : texts) {
            expected.push_back(KovraTest::LineTime + ("info Test.File " + text));
        }
        threads.emplace_back([&logger, texts] {
            for (std::string const& text : texts) {
                Push(*logger, LogLevel_t::Info, text);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_THAT(ReadLines(path), UnorderedElementsAreArray(expected));
}

TEST_F(LogManager_SetFile, PathMayHaveAnyCharacters) {
    std::string const path = MakePath(u8"Gr\u00f6\u00dfe \u97f3");
    ASSERT_TRUE(manager.SetFile(path));
    Push(*GetLogger("Test.File"), LogLevel_t::Info, "there");
    EXPECT_EQ(ReadLog(path), "2023-11-14T22:13:20.125Z info Test.File there\n");
    // Under no other name.
    std::size_t found = 0;
    for (auto const& entry : std::filesystem::directory_iterator(testing::TempDir())) {
        found += entry.path().filename() == std::filesystem::u8path(path).filename() ? 1 : 0;
    }
    EXPECT_EQ(found, 1U);
}

TEST_F(LogManager_SetFile, PathThatIsNoUtf8NamesNoFolder) {
    EXPECT_FALSE(manager.SetFile(testing::TempDir() + "\xff/file.log"));
}

// --- rotation

TEST_F(LogManager_SetFile, FullFileIsPutAsideAndTheOldestGoes) {
    std::string const path = MakePath("rotated");
    // Two lines of 100 bytes.
    ASSERT_TRUE(manager.SetFile(path, {200, 2}));
    PushLines("abcdefg");
    EXPECT_THAT(ReadTexts(path), ElementsAre('g'));
    EXPECT_THAT(ReadTexts(path + ".1"), ElementsAre('e', 'f'));
    EXPECT_THAT(ReadTexts(path + ".2"), ElementsAre('c', 'd'));
    EXPECT_FALSE(std::filesystem::exists(path + ".3"));
}

TEST_F(LogManager_SetFile, WithoutOldFilesAFullOneBeginsAnew) {
    std::string const path = MakePath("anew");
    ASSERT_TRUE(manager.SetFile(path, {200, 0}));
    PushLines("abc");
    EXPECT_THAT(ReadTexts(path), ElementsAre('c'));
    EXPECT_FALSE(std::filesystem::exists(path + ".1"));
}

TEST_F(LogManager_SetFile, WhatAnEarlierRunHasWrittenCounts) {
    std::string const path = MakePath("earlier");
    // Two lines, whatever ends them.
    Kovra::LogFileLimits const limits{250, 1};
    ASSERT_TRUE(manager.SetFile(path, limits));
    PushLines("a");
    ASSERT_TRUE(manager.SetFile(""));
    ASSERT_TRUE(manager.SetFile(path, limits));
    PushLines("bc");
    EXPECT_THAT(ReadTexts(path), ElementsAre('c'));
    EXPECT_THAT(ReadTexts(path + ".1"), ElementsAre('a', 'b'));
}

TEST_F(LogManager_SetFile, LineLongerThanTheLimitHasAFileOfItsOwn) {
    std::string const path = MakePath("long");
    ASSERT_TRUE(manager.SetFile(path, {50, 2}));
    PushLines("ab");
    EXPECT_THAT(ReadTexts(path), ElementsAre('b'));
    EXPECT_THAT(ReadTexts(path + ".1"), ElementsAre('a'));
    EXPECT_FALSE(std::filesystem::exists(path + ".2"));
}

TEST_F(LogManager_SetFile, FileThatCannotBePutAsideGoesOn) {
    std::string const path = MakePath("stuck");
    std::filesystem::create_directories(path + ".1/in the way");
    ASSERT_TRUE(manager.SetFile(path, {200, 1}));
    PushLines("abcde");
    EXPECT_THAT(ReadTexts(path), ElementsAre('a', 'b', 'c', 'd', 'e'));
}

// --- folding

TEST_F(LogManager_Folding, RecordsAlikeButForTheirNumbersAreOneLineAfterTheFirst) {
    Observe();
    PushAt(0, "gap of 10");
    PushAt(1, "gap of 12");
    PushAt(2, "other");
    PushAt(3, "gap of 8");
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 10", "other", "gap of 8 ... 2 times in 3 s"));
    EXPECT_THAT(GetSeen(), ElementsAre("gap of 10", "gap of 12", "other", "gap of 8"));
}

// At 10 s the line before is ten seconds old: it was the first, of 0 s. The next stands for 1 to 9 s, and is
// ten seconds old at 19 s.
TEST_F(LogManager_Folding, LineComesEveryTenSeconds) {
    for (int second = 0; second < 25; ++second) {
        PushAt(second, "gap of " + std::to_string(second));
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 0", "gap of 9 ... 9 times in 9 s",
                                         "gap of 18 ... 9 times in 9 s", "gap of 24 ... 6 times in 6 s"));
}

TEST_F(LogManager_Folding, AnyRecordBringsTheLineThatIsDue) {
    PushAt(0, "gap of 1");
    PushAt(4, "gap of 2");
    PushAt(5, "gap of 3");
    PushAt(10, "other");
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 1", "gap of 3 ... 2 times in 5 s", "other"));
}

TEST_F(LogManager_Folding, SingleRepetitionIsWrittenAsItIs) {
    PushAt(0, "gap of 1");
    PushAt(1, "gap of 2");
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 1", "gap of 2"));
}

TEST_F(LogManager_Folding, KindThatWasSilentForTenSecondsBeginsAnew) {
    PushAt(0, "gap of 1");
    PushAt(1, "gap of 2");
    PushAt(60, "gap of 3");
    PushAt(61, "gap of 4");
    PushAt(62, "gap of 5");
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 1", "gap of 2", "gap of 3", "gap of 5 ... 2 times in 2 s"));
}

TEST_F(LogManager_Folding, ClockThatWasPutBackEndsTheTenSeconds) {
    PushAt(60, "gap of 1");
    PushAt(61, "gap of 2");
    PushAt(0, "gap of 3");
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 1", "gap of 2", "gap of 3"));
}

TEST_F(LogManager_Folding, TextChannelLevelAndPlaceTellKindsApart) {
    auto const logger = GetLogger("Test.Kind");
    auto const push = [&logger](LogLevel_t level, int line) {
        logger->get().Push((Kovra::LogExec(level, "gap of %d") % line).At({"a.cpp", "A::B", line}));
    };
    for (int time = 0; time < 3; ++time) {
        push(LogLevel_t::Info, 1);
        push(LogLevel_t::Info, 2);
        push(LogLevel_t::Debug, 2);
        Push(*logger, LogLevel_t::Info, "gap of 3");
        Push(*GetLogger("Test.Kind.Other"), LogLevel_t::Info, "gap of 4");
    }
    EXPECT_THAT(
        TakeTexts(),
        UnorderedElementsAre("gap of 1 (a.cpp:1 A::B)", "gap of 2 (a.cpp:2 A::B)", "gap of 2 (a.cpp:2 A::B)",
                             "gap of 3", "gap of 4", "gap of 1 ... 2 times in 1 s (a.cpp:1 A::B)",
                             "gap of 2 ... 2 times in 1 s (a.cpp:2 A::B)",
                             "gap of 2 ... 2 times in 1 s (a.cpp:2 A::B)", "gap of 3 ... 2 times in 1 s",
                             "gap of 4 ... 2 times in 1 s"));
}

TEST_F(LogManager_Folding, SessionsAreToldApart) {
    Observe();
    for (int second = 0; second < 3; ++second) {
        for (std::uint64_t const session : {7U, 8U}) {
            Kovra::LogSubject const subject(session);
            PushAt(second, "gap of " + std::to_string(second));
        }
    }
    EXPECT_THAT(TakeTexts(), ElementsAre("[session 7] gap of 0", "[session 8] gap of 0",
                                         "[session 7] gap of 2 ... 2 times in 2 s",
                                         "[session 8] gap of 2 ... 2 times in 2 s"));
    EXPECT_EQ(GetSeen().front(), "gap of 0") << "observers have the session beside the text";
}

// Two kinds, one ten seconds younger than the other: the older one's line does not bring the younger one's.
TEST_F(LogManager_Folding, EachKindHasTenSecondsOfItsOwn) {
    PushAt(0, "gap of 1");
    PushAt(1, "gap of 2");
    PushAt(8, "jump of 1");
    PushAt(9, "jump of 2");
    PushAt(10, "other");
    PushAt(18, "another");
    EXPECT_THAT(TakeTexts(),
                ElementsAre("gap of 1", "jump of 1", "gap of 2", "other", "jump of 2", "another"));
}

// 1024 are told apart at a time.
TEST_F(LogManager_Folding, KindsThatWereSilentForTenSecondsAreForgotten) {
    std::string text;
    for (int kind = 0; kind < 1023; ++kind) {
        PushAt(0, text += 'x');
    }
    PushAt(60, "gap of 1");
    PushAt(60, "other");
    PushAt(61, "gap of 2");
    PushAt(62, "gap of 3");
    EXPECT_THAT(TakeTexts().back(), "gap of 3 ... 2 times in 2 s");
}

TEST_F(LogManager_Folding, OfEverNewTextsHoldsBackNoneForLong) {
    PushAt(0, "first 1");
    PushAt(0, "first 2");
    std::string text;
    for (int kind = 0; kind < 1024; ++kind) {
        PushAt(0, text += 'x');
    }
    PushAt(0, "first 3");
    std::vector<std::string> const texts = TakeTexts();
    ASSERT_EQ(texts.size(), 1027U);
    EXPECT_EQ(texts[0], "first 1");
    EXPECT_EQ(texts[1025], "first 2");
    EXPECT_EQ(texts[1026], "first 3");
}

TEST_F(LogManager_Folding, WhatIsHeldBackGoesWhereItsFirstWent) {
    for (int second = 0; second < 3; ++second) {
        PushAt(second, "gap of " + std::to_string(second));
    }
    std::string const other = MakePath("folded_other");
    ASSERT_TRUE(manager.SetFile(other));
    PushAt(3, "gap of 3");
    EXPECT_THAT(TakeTexts(), ElementsAre("gap of 0", "gap of 2 ... 2 times in 2 s"));
    EXPECT_THAT(ReadLog(other), testing::EndsWith(" gap of 3\n"));
}

TEST_F(LogManager_Folding, HoldsForTheConsoleToo) {
    testing::internal::CaptureStderr();
    manager.SetConsole(LogLevel_t::Info);
    for (int second = 0; second < 4; ++second) {
        PushAt(second, "gap of " + std::to_string(second));
    }
    EXPECT_EQ(TakeConsole(), std::string(KovraTest::LineTime) + "info Test.Fold gap of 0\n" +
                                 KovraTest::LineTime + "info Test.Fold gap of 3 ... 3 times in 3 s\n");
}
