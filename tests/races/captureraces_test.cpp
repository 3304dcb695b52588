// The microphone shared by readers, meters and those who ask for either.

#include <algorithm>
#include <cstddef>
#include <map>
#include <vector>

#include "racestest.h"
#include "support/module/capturebuffertest.h"

namespace Media {
namespace {

using ::testing::AnyOf;
using ::testing::SizeIs;
using UnitTest::Meter;

class Capture_Races : public RacesTest {
protected:
    /// 2 s of blocks: no capture comes round its ring, and a slow reader loses nothing.
    static constexpr std::uint64_t Blocks = 100;
    static constexpr std::uint64_t Readers = 2;

    /// One frame as it was read.
    struct Read {
        std::uint32_t number;
        /// The block of the microphone that it holds.
        std::uint64_t block;
    };

    Capture_Races() {
        for (std::uint64_t block = 0; block < Blocks; ++block) {
            blockOf_[Simulation::CaptureSettings::Pattern(block * FrameSamples)] = block;
        }
    }

    /// What `frame` holds, which must be one whole block.
    Read MakeRead(FrameAud const& frame) const {
        auto const samples = UnitTest::SamplesOf(frame);
        auto const found = samples.empty() ? blockOf_.end() : blockOf_.find(samples.front());
        if (found == blockOf_.end()) {
            ADD_FAILURE() << "no block begins as frame " << frame.GetIdent().sequenceNumber;
            return {};
        }
        EXPECT_EQ(samples, UnitTest::PatternFrom(found->second * FrameSamples, FrameSamples));
        return {frame.GetIdent().sequenceNumber, found->second};
    }

    static void ExpectLevel(float level) { EXPECT_TRUE(level >= 0.0F && level <= 1.0F) << level; }

    /// Reads until told to stop, then once more.
    Frames ReadUntilOver(RendererAudioCaptureProxy& proxy) {
        Frames all;
        for (bool isLast = false; !isLast;) {
            isLast = isOver.load(std::memory_order_relaxed);
            Frames frames;
            EXPECT_THAT(proxy.ReadFrames(frames), AnyOf(0, -27, -30));
            all.insert(all.end(), frames.begin(), frames.end());
            ExpectLevel(proxy.GetLineLevel());
            EXPECT_TRUE(proxy.IsInitialized());
        }
        return all;
    }

    /// Starts line-level threads, each of which ends after some reports.
    void StartMeters(int count, Dice dice) {
        for (int i = 0; i < count; ++i) {
            EXPECT_NE(renderer->GetCaptureProxy(), nullptr);
            // Reports of one callback come from its one thread.
            auto const reports = std::make_shared<std::uint32_t>(dice.Throw(4));
            EXPECT_TRUE(
                renderer->GetLineLevelCallbacks([callback = meter.MakeCallback(), reports](float level) {
                    return callback(level) && (*reports)-- != 0;
                }));
        }
    }

    void StartReaders(RendererAudioCaptureProxy& proxy) {
        for (auto& frames : taken) {
            crew.Add([this, &frames, &proxy] { frames = ReadUntilOver(proxy); });
        }
    }

    /// Ends the crew; time goes on until the threads of `meter` have ended. Returns what all have read.
    std::vector<Read> EndAll() {
        isOver = true;
        crew.Join();
        // Time stands still for a meter from its first sleep on: before it the ring would go round under it.
        constexpr std::size_t PlaybackThreads = 1;
        auto const areAllAsleep = [this] {
            std::size_t const held = meter.GetHeld();
            return world.BlockedThreads() == held + PlaybackThreads;
        };
        while (meter.GetHeld() != 0) {
            EXPECT_TRUE(UnitTest::YieldUntil(areAllAsleep));
            Advance(FrameMilliSec);
        }
        std::vector<Read> reads;
        for (auto const& frames : taken) {
            for (auto const& frame : frames) {
                reads.push_back(MakeRead(*frame));
            }
        }
        return reads;
    }

    void ExpectLevelsAndOneCleanCapture() {
        for (float const level : meter.GetLevels()) {
            ExpectLevel(level);
        }
        EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(1));
        EXPECT_EQ(world.OnlyCaptureBuffer().OpenLocks(), 0U);
        EXPECT_EQ(world.LiveCaptures(), 1U);
    }

    Meter meter;
    std::atomic<bool> isOver{false};
    std::vector<Frames> taken = std::vector<Frames>(Readers);
    Crew crew;

private:
    std::map<std::int16_t, std::uint64_t> blockOf_;
};

TEST_P(Capture_Races, EachBlockGoesToOneReaderOrToTheMeter) {
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    StartReaders(*proxy);
    crew.Add([&, dice = MakeDice(0)]() mutable {
        for (int i = 0; i < 60; ++i) {
            EXPECT_THAT(proxy->SampleLineLevel(), AnyOf(0, -30));
            ExpectLevel(proxy->GetLineLevel());
            if (dice.Throw(4) == 0) {
                // While there is capture: the numbers go on.
                proxy->StartBufferCapture();
            }
        }
    });
    crew.Add([&] { StartMeters(12, MakeDice(1)); });
    for (std::uint64_t block = 0; block < Blocks; ++block) {
        Advance(FrameMilliSec);
        EXPECT_EQ(renderer->GetCaptureProxy(), proxy);
    }

    std::vector<Read> reads = EndAll();
    // In the order of their numbers, which have no hole, the frames hold later and later blocks.
    std::sort(reads.begin(), reads.end(), [](Read a, Read b) { return a.number < b.number; });
    for (std::size_t i = 0; i < reads.size(); ++i) {
        EXPECT_EQ(reads[i].number, i);
        EXPECT_TRUE(i == 0 || reads[i].block > reads[i - 1].block);
    }
    EXPECT_GE(meter.GetCalls(), 12U);
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(1));
    ExpectLevelsAndOneCleanCapture();
}

TEST_P(Capture_Races, CaptureIsStoppedAndStartedUnderReadersAndMeters) {
    constexpr int Restarts = 25;
    auto const proxy = renderer->GetCaptureProxy();
    ASSERT_NE(proxy, nullptr);
    StartReaders(*proxy);
    crew.Add([&] { StartMeters(12, MakeDice(1)); });
    // Not by the one who moves time, which stands still while a meter waits for capture.
    crew.Add([&, dice = MakeDice(2)]() mutable {
        for (int restart = 0; restart < Restarts; ++restart) {
            proxy->StopBufferCapture();
            world.Shaking().Shake();
            proxy->StartBufferCapture();
            for (std::uint32_t yields = dice.Throw(100); yields != 0; --yields) {
                std::this_thread::yield();
            }
        }
    });
    for (std::uint64_t block = 0; block < Blocks; ++block) {
        Advance(FrameMilliSec);
    }
    EndAll();
    EXPECT_THAT(world.CaptureBuffers(), SizeIs(1 + Restarts));
    ExpectLevelsAndOneCleanCapture();
}

RACES_INSTANTIATE(Capture_Races);

} // namespace
} // namespace Media
