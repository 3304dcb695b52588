#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/testworld.h"
#include "support/module/capturebuffertest.h"
#include "support/module/captureview.h"

namespace UnitTest {
namespace {

/// The capture side used by several threads at once. Bounded by counts; what is looked for, beside the
/// outcome, are races of the fields, which the thread sanitizer reports.
class CaptureConcurrencyTest : public testing::Test {
protected:
    /// 4 s of blocks: no capture comes round the ring, and a slow reader loses nothing.
    static constexpr int Rounds = 200;
    /// Each one costs a ring of the simulation's.
    static constexpr int Restarts = 50;
    static constexpr int Users = 3;

    CaptureConcurrencyTest() { Pipeline::SetAudioRenderer(renderer.get()); }
    ~CaptureConcurrencyTest() override { Pipeline::SetAudioRenderer(nullptr); }

    /// Runs `work` on `Users` threads, and `meanwhile` on this one until it returns; `work` is called again
    /// and again until then.
    template <class Work, class Meanwhile>
    static void RunWhile(Work work, Meanwhile meanwhile) {
        std::atomic<bool> isOver{false};
        std::vector<std::thread> threads;
        for (int user = 0; user < Users; ++user) {
            threads.emplace_back([&work, &isOver, user] {
                do {
                    work(user);
                } while (!isOver.load());
            });
        }
        meanwhile();
        isOver.store(true);
        for (auto& thread : threads) {
            thread.join();
        }
    }

    /// The same for all.
    std::shared_ptr<RendererAudioCaptureProxy> GetProxyOnSeveralThreads() {
        std::vector<std::shared_ptr<RendererAudioCaptureProxy>> proxies(Users);
        std::vector<std::thread> threads;
        for (auto& proxy : proxies) {
            threads.emplace_back([this, &proxy] { proxy = renderer->GetCaptureProxy(); });
        }
        for (auto& thread : threads) {
            thread.join();
        }
        EXPECT_THAT(proxies, Each(proxies.front()));
        return proxies.front();
    }

    Simulation::TestWorld world;
    std::unique_ptr<RendererAudio> renderer = std::make_unique<RendererAudio>();
};

class CaptureProxy_Concurrency : public CaptureConcurrencyTest {};
class CaptureDevice_Concurrency : public CaptureConcurrencyTest {};
class RendererAudio_CaptureConcurrency : public CaptureConcurrencyTest {};

// --- the proxy

TEST_F(CaptureProxy_Concurrency, ReadsGoOnWhileCaptureIsStoppedAndStarted) {
    auto const proxy = renderer->GetCaptureProxy();
    RunWhile(
        [&proxy](int) {
            Frames frames;
            // -27: the buffer was closed, or is not created yet, under the read.
            EXPECT_THAT(proxy->ReadFrames(frames), AnyOf(0, -27, -30));
            EXPECT_THAT(proxy->SampleLineLevel(), AnyOf(0, -27, -30));
            float const level = proxy->GetLineLevel();
            EXPECT_TRUE(level >= 0.0F && level <= 1.0F);
            EXPECT_TRUE(proxy->IsInitialized());
        },
        [&] {
            for (int round = 0; round < Restarts; ++round) {
                world.Clock().AdvanceMilliSec(FrameMilliSec);
                proxy->StopBufferCapture();
                proxy->StartBufferCapture();
            }
        });
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(Restarts + 1));
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(1));
    EXPECT_EQ(world.OnlyCaptureBuffer().OpenLocks(), 0U);
}

TEST_F(CaptureProxy_Concurrency, ReadsGoOnWhileCaptureIsRestarted) {
    auto const proxy = renderer->GetCaptureProxy();
    RunWhile(
        [&proxy](int) {
            Frames frames;
            EXPECT_THAT(proxy->ReadFrames(frames), AnyOf(0, -30));
            EXPECT_THAT(proxy->SampleLineLevel(), AnyOf(0, -30));
        },
        [&] {
            for (int round = 0; round < Rounds; ++round) {
                world.Clock().AdvanceMilliSec(FrameMilliSec);
                proxy->StartBufferCapture();
            }
        });
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(1));
}

TEST_F(CaptureProxy_Concurrency, EachFrameGoesToOneOfTheReaders) {
    auto const proxy = renderer->GetCaptureProxy();
    std::vector<Frames> taken(Users);
    RunWhile([&](int user) { proxy->ReadFrames(taken[static_cast<std::size_t>(user)]); },
             [&] {
                 for (int round = 0; round < Rounds; ++round) {
                     world.Clock().AdvanceMilliSec(FrameMilliSec);
                 }
             });
    // What none of them came to read any more.
    taken.emplace_back();
    proxy->ReadFrames(taken.back());
    std::vector<std::uint32_t> numbers;
    for (auto const& frames : taken) {
        for (auto const& frame : frames) {
            numbers.push_back(frame->GetIdent().sequenceNumber);
        }
    }
    std::sort(numbers.begin(), numbers.end());
    ASSERT_THAT(numbers, SizeIs(Rounds));
    for (std::uint32_t number = 0; number < Rounds; ++number) {
        EXPECT_EQ(numbers[number], number);
    }
}

TEST_F(CaptureProxy_Concurrency, ALineLevelThreadGoesOnWhileCaptureIsStoppedAndStarted) {
    Meter meter;
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    world.WaitForBlockedThreads(1);
    auto const proxy = renderer->GetCaptureProxy();
    // Time stands still while the thread spins, so that the one who starts capture must not wait for time.
    std::thread stopping([&proxy] {
        for (int round = 0; round < Restarts; ++round) {
            proxy->StopBufferCapture();
            std::this_thread::yield();
            proxy->StartBufferCapture();
        }
    });
    for (int round = 0; round < Rounds; ++round) {
        world.Clock().AdvanceMilliSec(FrameMilliSec);
    }
    stopping.join();
    world.WaitForBlockedThreads(1);
    // Each sleep ends in one report, however long the thread spun.
    EXPECT_EQ(meter.GetCalls(), Rounds + 1U);
    renderer->Shutdown();
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_TRUE(meter.WaitForEnd());
}

TEST_F(CaptureProxy_Concurrency, ReadersAndALineLevelThreadShareTheBlocks) {
    Meter meter;
    ASSERT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    world.WaitForBlockedThreads(1);
    auto const proxy = renderer->GetCaptureProxy();
    RunWhile(
        [&proxy](int) {
            Frames frames;
            EXPECT_THAT(proxy->ReadFrames(frames), AnyOf(0, -30));
            proxy->GetLineLevel();
        },
        [&] {
            for (int round = 0; round < Rounds; ++round) {
                world.Clock().AdvanceMilliSec(FrameMilliSec);
            }
        });
    EXPECT_EQ(meter.GetCalls(), Rounds + 1U);
    renderer->Shutdown();
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_TRUE(meter.WaitForEnd());
}

// --- the device

TEST_F(CaptureDevice_Concurrency, ProxiesComeAndGoWhileTheDeviceClosesAndOpens) {
    RendererAudioCaptureDevice device;
    RunWhile(
        [&device](int) {
            RendererAudioCaptureProxy proxy(device);
            Frames frames;
            EXPECT_EQ(proxy.ReadFrames(frames), proxy.IsInitialized() ? -30 : -27);
        },
        [&] {
            for (int round = 0; round < Restarts; ++round) {
                EXPECT_EQ(device.Initialize(), 0);
                device.Close();
            }
        });
    EXPECT_THAT(BuffersOf(device), ElementsAre(nullptr));
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    // The wake events of the renderer's two devices and of this one.
    EXPECT_EQ(world.OpenHandles(), 3U);
}

TEST_F(CaptureDevice_Concurrency, TheDrainingThreadIsJoinedWheneverTheDeviceCloses) {
    RendererAudioCaptureDevice device;
    for (int round = 0; round < Restarts; ++round) {
        ASSERT_EQ(device.Initialize(), 0);
        ASSERT_TRUE(CaptureDevicePeer::StartCaptureThread(device));
        std::atomic<bool> isClosed{false};
        std::thread closing([&] {
            device.Close();
            isClosed.store(true);
        });
        // The thread may sleep already, or come to its first sleep, or to none. Time goes on while it sleeps.
        while (!isClosed.load()) {
            if (world.BlockedThreads() != 0) {
                world.Clock().AdvanceMilliSec(FrameMilliSec);
            }
            std::this_thread::yield();
        }
        closing.join();
        EXPECT_EQ(world.BlockedThreads(), 0U);
        EXPECT_FALSE(HasCapture(device));
        EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
    }
}

// --- the renderer

TEST_F(RendererAudio_CaptureConcurrency, SeveralThreadsAtOnceGetTheSameProxy) {
    world.Journal().Enable();
    EXPECT_NE(GetProxyOnSeveralThreads(), nullptr);
    EXPECT_THAT(world.Journal().Records({Call_t::CaptureCreate8}), SizeIs(1));
    EXPECT_THAT(world.Journal().Records({Call_t::CaptureCreateCaptureBuffer}), SizeIs(1));
}

TEST_F(RendererAudio_CaptureConcurrency, SeveralThreadsAtOnceReplaceAFailedProxyByOne) {
    auto const old = renderer->GetCaptureProxy();
    old->StopBufferCapture();
    world.Faults().Fail(Call_t::CaptureCreateCaptureBuffer, 1, DSERR_GENERIC);
    old->StartBufferCapture();
    auto const proxy = GetProxyOnSeveralThreads();
    EXPECT_NE(proxy, nullptr);
    EXPECT_NE(proxy, old);
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(1));
}

TEST_F(RendererAudio_CaptureConcurrency, SeveralThreadsAtOnceStartLineLevelThreadsThatShareOneCapture) {
    Meter meter([](float) { return false; });
    std::atomic<std::size_t> started{0};
    RunWhile(
        [&](int) {
            EXPECT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
            ++started;
            EXPECT_NE(renderer->GetCaptureProxy(), nullptr);
            // No more than a few threads at a time.
            EXPECT_TRUE(meter.WaitForEnd());
        },
        [&] { EXPECT_TRUE(YieldUntil([&] { return meter.GetCalls() >= 30; })); });
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), started.load());
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(1));
    EXPECT_EQ(world.CaptureCount(), 1U);
}

TEST_F(RendererAudio_CaptureConcurrency, ShutdownWhileLineLevelThreadsSleepEndsThemAll) {
    constexpr std::size_t Threads = 5;
    Meter meter;
    for (std::size_t i = 0; i < Threads; ++i) {
        ASSERT_TRUE(renderer->GetLineLevelCallbacks(meter.MakeCallback()));
    }
    world.WaitForBlockedThreads(Threads);
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_EQ(meter.GetCalls(), 2 * Threads);
    renderer->Shutdown();
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_TRUE(meter.WaitForEnd());
    EXPECT_EQ(meter.GetCalls(), 2 * Threads);
    EXPECT_EQ(world.BlockedThreads(), 0U);
    EXPECT_THAT(world.LiveCaptureBuffers(), IsEmpty());
}

} // namespace
} // namespace UnitTest
