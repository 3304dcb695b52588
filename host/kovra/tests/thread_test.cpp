#include "kovra/thread.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <pthread.h>
#endif

using Kovra::GetThreadName;
using Kovra::GetThreadPriority;
using Kovra::SetThreadName;
using Kovra::SetThreadPriority;
using Kovra::ThreadPriority_t;

namespace {

template <class Body>
void OnNewThread(Body body) {
    std::thread(body).join();
}

} // namespace

TEST(Thread_SetThreadName, NewThreadHasNoName) {
    OnNewThread([] { EXPECT_STREQ(GetThreadName(), ""); });
}

TEST(Thread_SetThreadName, NameIsCopiedAndTheThreadsOwn) {
    OnNewThread([] {
        std::string name = "Media.Test.Outer";
        SetThreadName(name.c_str());
        name.assign("overwritten");
        OnNewThread([] {
            EXPECT_STREQ(GetThreadName(), "");
            SetThreadName("Media.Test.Inner");
            EXPECT_STREQ(GetThreadName(), "Media.Test.Inner");
        });
        EXPECT_STREQ(GetThreadName(), "Media.Test.Outer");
    });
}

TEST(Thread_SetThreadName, LaterNameReplacesEarlierAndNullIsEmpty) {
    OnNewThread([] {
        SetThreadName("A longer name");
        SetThreadName("short");
        EXPECT_STREQ(GetThreadName(), "short");
        SetThreadName(nullptr);
        EXPECT_STREQ(GetThreadName(), "");
    });
}

TEST(Thread_SetThreadName, LongNameIsCutAtItsLimit) {
    OnNewThread([] {
        std::string const longest(Kovra::MaxThreadNameBytes, 'n');
        SetThreadName(longest.c_str());
        EXPECT_EQ(GetThreadName(), longest);
        SetThreadName((longest + "x").c_str());
        EXPECT_EQ(GetThreadName(), longest);
    });
}

#ifndef _WIN32
TEST(Thread_SetThreadName, SystemIsToldTheNameCutToItsFifteenBytes) {
    OnNewThread([] {
        SetThreadName("Media.RendererAudio.Playback");
        char name[64] = "";
        ASSERT_EQ(pthread_getname_np(pthread_self(), name, sizeof name), 0);
        EXPECT_STREQ(name, "Media.RendererA");
        SetThreadName("Short");
        ASSERT_EQ(pthread_getname_np(pthread_self(), name, sizeof name), 0);
        EXPECT_STREQ(name, "Short");
    });
}
#endif

TEST(Thread_SetThreadPriority, IsNormalAtFirstAndTheThreadsOwn) {
    OnNewThread([] {
        EXPECT_EQ(GetThreadPriority(), ThreadPriority_t::Normal);
        SetThreadPriority(ThreadPriority_t::BelowNormal);
        OnNewThread([] { EXPECT_EQ(GetThreadPriority(), ThreadPriority_t::Normal); });
        EXPECT_EQ(GetThreadPriority(), ThreadPriority_t::BelowNormal);
    });
}

TEST(Thread_SetThreadPriority, EveryClassIsTakenAndRemembered) {
    OnNewThread([] {
        for (auto const priority :
             {ThreadPriority_t::Idle, ThreadPriority_t::Lowest, ThreadPriority_t::BelowNormal,
              ThreadPriority_t::AboveNormal, ThreadPriority_t::Highest, ThreadPriority_t::TimeCritical,
              ThreadPriority_t::Normal}) {
            SetThreadPriority(priority);
            EXPECT_EQ(GetThreadPriority(), priority);
        }
    });
}

#ifdef _WIN32
TEST(Thread_SetThreadPriority, SystemIsToldTheClass) {
    OnNewThread([] {
        SetThreadPriority(ThreadPriority_t::AboveNormal);
        EXPECT_EQ(::GetThreadPriority(::GetCurrentThread()), THREAD_PRIORITY_ABOVE_NORMAL);
        SetThreadPriority(ThreadPriority_t::TimeCritical);
        EXPECT_EQ(::GetThreadPriority(::GetCurrentThread()), THREAD_PRIORITY_TIME_CRITICAL);
        SetThreadPriority(ThreadPriority_t::Normal);
        EXPECT_EQ(::GetThreadPriority(::GetCurrentThread()), THREAD_PRIORITY_NORMAL);
    });
}
#endif
