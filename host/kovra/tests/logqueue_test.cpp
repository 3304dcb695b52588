#include <filesystem>
#include <functional>
#include <future>
#include <map>
#include <stdexcept>
#include <thread>
#include <utility>

#include "kovra/thread.h"
#include "logfixture.h"

using Kovra::CodeLocation;
using Kovra::LogExec;
using Kovra::LogLevel_t;
using Kovra::LogRecord;
using KovraTest::GetLogger;
using KovraTest::Push;
using KovraTest::ReadLog;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

class LogQueueTest : public KovraTest::LogTest {
protected:
    /// Pushes a record, and returns when the observer has been shown it; the log's thread stays there until
    /// `Release`.
    void HoldObserver() {
        held = {};
        release = {};
        manager.SetObserver([this, isFirst = true](LogRecord const& record) mutable {
            if (std::exchange(isFirst, false)) {
                held.set_value();
                release.get_future().get()();
            }
            seen.push_back(record.message);
            if (record.channel == "Kovra.Log") {
                loss = record;
            }
        });
        Push(*queueLogger, LogLevel_t::Info, "held");
        held.get_future().wait();
    }
    /// Lets the log's thread go on, with `last`.
    void Release(std::function<void()> last = [] {}) { release.set_value(std::move(last)); }

    std::shared_ptr<Kovra::LoggerFacade> const queueLogger = GetLogger("Test.Queue");
    std::promise<void> held;
    std::promise<std::function<void()>> release;
    LogRecord loss;
};

using LogManager_SetObserver = LogQueueTest;
using LogManager_Flush = LogQueueTest;
using LogManager_CountLost = LogQueueTest;
using LogManager_Push = LogQueueTest;

} // namespace

TEST_F(LogManager_SetObserver, RecordTellsWhatWhereWhenAndOnWhichThread) {
    std::vector<LogRecord> records;
    manager.SetObserver([&](LogRecord const& record) { records.push_back(record); });
    auto const logger = GetLogger("Test.Record");
    std::thread([&] {
        Kovra::SetThreadName("Test.Pusher");
        logger->get().Push(
            (LogExec(LogLevel_t::Warning, "%d Hz") % 47960).At(CodeLocation("a.cpp", "A::B", 3)));
    }).join();
    std::thread([&] { Push(*logger, LogLevel_t::Debug, "plain"); }).join();

    // That of the push, whatever it is when the record is shown.
    clock.monotonicNanoSec = 78;
    manager.Flush();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].channel, "Test.Record");
    EXPECT_EQ(records[0].level, LogLevel_t::Warning);
    EXPECT_EQ(records[0].message, "47960 Hz");
    EXPECT_EQ(records[0].file, "a.cpp");
    EXPECT_EQ(records[0].function, "A::B");
    EXPECT_EQ(records[0].line, 3);
    EXPECT_EQ(records[0].time, Kovra::JiffyTime(77));
    EXPECT_EQ(records[0].wallTime, Kovra::SysTime(KovraTest::SomeInstantNanoSec));
    EXPECT_EQ(records[0].threadName, "Test.Pusher");

    EXPECT_EQ(records[1].level, LogLevel_t::Debug);
    EXPECT_EQ(records[1].file, "");
    EXPECT_EQ(records[1].function, "");
    EXPECT_EQ(records[1].line, 0);
    EXPECT_EQ(records[1].threadName, "");
}

TEST_F(LogManager_SetObserver, IsCalledOnTheLogsOwnThreadWhoeverPushes) {
    std::vector<std::thread::id> tellers;
    std::string name;
    manager.SetObserver([&](LogRecord const&) {
        tellers.push_back(std::this_thread::get_id());
        name = Kovra::GetThreadName();
    });
    auto const logger = GetLogger("Test.Thread");
    Push(*logger, LogLevel_t::Info, "here");
    std::thread::id other;
    std::thread([&] {
        other = std::this_thread::get_id();
        Push(*logger, LogLevel_t::Info, "there");
    }).join();
    manager.Flush();
    ASSERT_EQ(tellers.size(), 2U);
    EXPECT_NE(tellers[0], std::this_thread::get_id());
    EXPECT_NE(tellers[0], other);
    EXPECT_EQ(tellers[1], tellers[0]);
    EXPECT_EQ(name, "Kovra.Log");
}

TEST_F(LogManager_SetObserver, TellsTheSubjectOfThePushingThread) {
    std::vector<std::uint64_t> subjects;
    manager.SetObserver([&](LogRecord const& record) { subjects.push_back(record.subject); });
    auto const logger = GetLogger("Test.Subject");
    {
        Kovra::LogSubject const outer(7);
        Push(*logger, LogLevel_t::Info, "of 7");
        {
            Kovra::LogSubject const inner(8);
            Push(*logger, LogLevel_t::Info, "of 8");
            std::thread([&] { Push(*logger, LogLevel_t::Info, "of none"); }).join();
        }
        Push(*logger, LogLevel_t::Info, "of 7");
    }
    Push(*logger, LogLevel_t::Info, "of none");
    manager.Flush();
    EXPECT_THAT(subjects, ElementsAre(7U, 8U, 0U, 7U, 0U));
}

TEST_F(LogManager_SetObserver, LaterObserverTakesThePlaceOfTheEarlier) {
    int first = 0;
    int second = 0;
    auto const logger = GetLogger("Test.Replaced");
    manager.SetObserver([&](LogRecord const&) { ++first; });
    Push(*logger, LogLevel_t::Info, "to the first");
    manager.SetObserver([&](LogRecord const&) { ++second; });
    Push(*logger, LogLevel_t::Info, "to the second");
    Push(*logger, LogLevel_t::Info, "to the second");
    manager.SetObserver({});
    Push(*logger, LogLevel_t::Info, "to nobody");
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 2);
}

TEST_F(LogManager_SetObserver, ShowsOneRecordAtATimeInTheOrderOfEachThread) {
    constexpr int Threads = 4;
    constexpr int RecordsPerThread = 250;
    // Not atomic: the observer needs no lock of its own.
    int count = 0;
    std::map<std::uint64_t, std::string> latest;
    manager.SetObserver([&](LogRecord const& record) {
        ++count;
        // Of one length, so that they stand in the order of their numbers.
        EXPECT_LT(std::exchange(latest[record.subject], record.message), record.message);
    });
    auto const logger = GetLogger("Test.OneAtATime");
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&logger, thread] {
            Kovra::LogSubject const subject(static_cast<std::uint64_t>(thread));
            for (int record = 0; record < RecordsPerThread; ++record) {
                logger->get().Push(LogExec(LogLevel_t::Info, "%04d") % record);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    manager.SetObserver({});
    EXPECT_EQ(count, Threads * RecordsPerThread);
}

TEST_F(LogManager_SetObserver, NoCallOfThePreviousObserverRunsOnceItReturns) {
    constexpr int Replacements = 300;
    constexpr int BurstRecords = 10;
    auto const logger = GetLogger("Test.Handover");
    std::atomic<bool> isDone{false};
    std::thread pusher([&] {
        while (!isDone) {
            for (int record = 0; record < BurstRecords; ++record) {
                Push(*logger, LogLevel_t::Info, "text");
            }
            // Else thousands would wait for each replacement.
            manager.Flush();
        }
    });
    for (int replacement = 0; replacement < Replacements; ++replacement) {
        // Not atomic: written only once the observer that reads it is out of the way.
        auto isReplaced = std::make_unique<bool>(false);
        manager.SetObserver([&flag = *isReplaced](LogRecord const&) {
            EXPECT_FALSE(flag);
            std::this_thread::yield();
            EXPECT_FALSE(flag);
        });
        std::this_thread::yield();
        manager.SetObserver({});
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
    manager.SetObserver([&](LogRecord const&) {
        entered.set_value();
        replacing.get_future().wait();
        for (int turn = 0; turn < 1000; ++turn) {
            std::this_thread::yield();
        }
        hadReturned = hasReturned;
    });
    Push(*logger, LogLevel_t::Info, "text");
    entered.get_future().wait();
    replacing.set_value();
    manager.SetObserver({});
    hasReturned = true;
    EXPECT_FALSE(hadReturned);
}

TEST_F(LogManager_SetObserver, WhatWasPushedBeforeGoesToThePreviousOne) {
    constexpr int Records = 100;
    auto const logger = GetLogger("Test.Before");
    Observe();
    for (int record = 0; record < Records; ++record) {
        Push(*logger, LogLevel_t::Info, "to the first");
    }
    int second = 0;
    manager.SetObserver([&](LogRecord const&) { ++second; });
    EXPECT_EQ(seen.size(), static_cast<std::size_t>(Records));
    manager.SetObserver({});
    EXPECT_EQ(second, 0);
}

TEST_F(LogManager_SetObserver, RecordsThatTheObserverPushesAreNotShownToItButReachTheOtherSinks) {
    std::string const path = MakePath("nested");
    ASSERT_TRUE(manager.SetFile(path));
    auto const logger = GetLogger("Test.Nested");
    manager.SetObserver([&](LogRecord const& record) {
        seen.push_back(record.message);
        Push(*logger, LogLevel_t::Info, "inner");
    });
    Push(*logger, LogLevel_t::Info, "outer");
    EXPECT_THAT(GetSeen(), ElementsAre("outer"));
    EXPECT_THAT(ReadLog(path), HasSubstr("inner"));
    EXPECT_THAT(ReadLog(path), HasSubstr("outer"));
}

TEST_F(LogManager_SetObserver, ObserverMayEndItself) {
    auto const logger = GetLogger("Test.EndsItself");
    auto const kept = std::make_shared<int>(5);
    manager.SetObserver([this, kept](LogRecord const&) {
        manager.SetObserver({});
        seen.push_back(std::to_string(*kept));
    });
    Push(*logger, LogLevel_t::Info, "first");
    Push(*logger, LogLevel_t::Info, "second");
    EXPECT_THAT(GetSeen(), ElementsAre("5"));
    EXPECT_EQ(kept.use_count(), 1);
}

TEST_F(LogManager_SetObserver, ObserverMayPutAnotherInItsPlace) {
    auto const logger = GetLogger("Test.Replaces");
    manager.SetObserver([this](LogRecord const&) { Observe(); });
    Push(*logger, LogLevel_t::Info, "to the first");
    Push(*logger, LogLevel_t::Info, "to the second");
    EXPECT_THAT(GetSeen(), ElementsAre("to the second"));
}

TEST_F(LogManager_SetObserver, WhatTheObserverThrowsCostsItsOwnCallAndNothingElse) {
    std::string const path = MakePath("throws");
    ASSERT_TRUE(manager.SetFile(path));
    auto const logger = GetLogger("Test.Throws");
    int calls = 0;
    manager.SetObserver([&](LogRecord const&) {
        ++calls;
        throw std::runtime_error("observer");
    });
    EXPECT_NO_THROW(Push(*logger, LogLevel_t::Info, "first"));
    EXPECT_NO_THROW(Push(*logger, LogLevel_t::Info, "second"));
    EXPECT_THAT(ReadLog(path), HasSubstr("Throws second\n"));
    EXPECT_THAT(ReadLog(path), HasSubstr("Throws first\n"));
    EXPECT_EQ(calls, 2);
}

// --- flush

TEST_F(LogManager_Flush, WaitsForAnObserverThatRuns) {
    std::atomic<bool> hasReturned{false};
    bool hadReturned = true;
    HoldObserver();
    std::thread flusher([&] {
        manager.Flush();
        hasReturned = true;
    });
    Push(*queueLogger, LogLevel_t::Info, "another");
    Release([&] {
        for (int turn = 0; turn < 1000; ++turn) {
            std::this_thread::yield();
        }
        hadReturned = hasReturned;
    });
    flusher.join();
    EXPECT_FALSE(hadReturned);
    EXPECT_THAT(GetSeen(), ElementsAre("held", "another"));
}

TEST_F(LogManager_Flush, OfAnObserverReturnsAtOnceAndTakesNothingFromThatOfOthers) {
    std::promise<void> isFlushed;
    HoldObserver();
    Push(*queueLogger, LogLevel_t::Info, "another");
    Release([&] {
        manager.Flush();
        isFlushed.set_value();
        for (int turn = 0; turn < 1000; ++turn) {
            std::this_thread::yield();
        }
    });
    isFlushed.get_future().wait();
    EXPECT_THAT(GetSeen(), ElementsAre("held", "another"));
}

TEST_F(LogManager_Flush, MayBeCalledByManyThreadsAtOnce) {
    constexpr int Threads = 4;
    constexpr int Turns = 100;
    std::atomic<int> count{0};
    manager.SetObserver([&](LogRecord const&) { ++count; });
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([&] {
            for (int turn = 1; turn <= Turns; ++turn) {
                Push(*queueLogger, LogLevel_t::Info, "text");
                manager.Flush();
                EXPECT_GE(count, turn);
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(count, Threads * Turns);
}

// --- the queue's end

TEST_F(LogManager_CountLost, RecordsThatFindTheQueueFullAreCountedAndToldOfInTheirPlace) {
    std::uint64_t const before = manager.CountLost();
    HoldObserver();
    for (std::size_t record = 0; record < Kovra::MaxWaitingLogRecords; ++record) {
        Push(*queueLogger, LogLevel_t::Info, "kept");
    }
    EXPECT_EQ(manager.CountLost(), before);
    clock.monotonicNanoSec = 78;
    for (int record = 0; record < 5; ++record) {
        Push(*queueLogger, LogLevel_t::Info, "lost");
    }
    EXPECT_EQ(manager.CountLost(), before + 5);
    Release();
    manager.Flush();
    Push(*queueLogger, LogLevel_t::Info, "after");

    ASSERT_EQ(GetSeen().size(), Kovra::MaxWaitingLogRecords + 3);
    EXPECT_EQ(seen[Kovra::MaxWaitingLogRecords], "kept");
    EXPECT_EQ(seen[Kovra::MaxWaitingLogRecords + 1], "5 records lost, for want of time or memory");
    EXPECT_EQ(seen.back(), "after");
    EXPECT_EQ(loss.channel, "Kovra.Log");
    EXPECT_EQ(loss.level, LogLevel_t::Warning);
    EXPECT_EQ(loss.time, Kovra::JiffyTime(78));
    EXPECT_EQ(manager.CountLost(), before + 5);
}

TEST_F(LogManager_CountLost, LossesOfTwoTimesAreToldTwice) {
    for (int time = 0; time < 2; ++time) {
        HoldObserver();
        for (std::size_t record = 0; record < Kovra::MaxWaitingLogRecords + 1; ++record) {
            Push(*queueLogger, LogLevel_t::Info, "kept");
        }
        Release();
        EXPECT_EQ(GetSeen().back(), "1 record lost, for want of time or memory");
    }
}

// --- who need not wait

TEST_F(LogManager_Push, WaitsForNoObserverAndWritesNothing) {
    std::string const path = MakePath("held");
    ASSERT_TRUE(manager.SetFile(path));
    HoldObserver();
    for (int record = 0; record < 100; ++record) {
        Push(*queueLogger, LogLevel_t::Info, "text");
    }
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
    Release();
    EXPECT_THAT(ReadLog(path), HasSubstr("text ... 99 times in 1 s\n"));
}
