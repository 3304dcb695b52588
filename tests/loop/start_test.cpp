#include <gtest/gtest.h>

#include <cstdint>
#include <random>

#include "arithmetic/ring.h"
#include "extent.h"
#include "simulation/testworld.h"
#include "support/module/builders.h"
#include "support/module/peers.h"

namespace ClosedLoop {
namespace {

using Media::Ring::ForwardDistance;
using Media::Ring::LengthSamples;
using Media::Ring::SamplePeriodNanoSec;
using Media::Ring::TimeSpanNanoSec;

/// A buffer that is stopped and started again and again, each time for one frame of one sample.
class Starter {
public:
    Starter() {
        world_.Device().SetRingCheck(false);
        Media::RendererAudioPlaybackDevicePeer::OpenWithoutThread(device_);
        EXPECT_EQ(buffer_.CreateSoundBuffer(MakeFrame(0)), 0);
    }

    /// Starts playback for a frame that belongs to position `pos` in some lap of the ring, and lets the lead
    /// pass: how many samples the play cursor is then behind the frame; negative when it is past it.
    int Start(std::uint32_t pos, std::int64_t leadNanoSec) {
        Kovra::JiffyTime past(world_.Clock().MonotonicNanoSec() - 1);
        buffer_.Present(past);
        EXPECT_FALSE(world_.OnlyBuffer().IsPlaying());

        // Every timestamp from one sample before an even position to one behind it belongs there.
        std::int64_t const firstNanoSec = pos == 0 ? 0 : (pos - 1) * SamplePeriodNanoSec;
        std::int64_t const choices = (pos == 0 ? 1 : 2) * SamplePeriodNanoSec;
        std::int64_t const lap = Draw(Laps);
        EXPECT_TRUE(buffer_.WriteFrame(MakeFrame(lap * TimeSpanNanoSec + firstNanoSec + Draw(choices))));
        // A frame right behind the one before is moved back to it: its place is where it stands.
        std::uint32_t const writePos = Media::RendererAudioPlaybackBufferPeer::GetFields(buffer_).writePos;
        EXPECT_LE(ForwardDistance(writePos, pos, LengthSamples), Media::Ring::SmallGapLimitSamples);

        Kovra::JiffyTime presentation(world_.Clock().MonotonicNanoSec() + leadNanoSec);
        buffer_.Present(presentation);
        EXPECT_TRUE(world_.OnlyBuffer().IsPlaying());
        world_.Clock().AdvanceTo(presentation.NanoSec());
        auto const distance =
            static_cast<int>(ForwardDistance(world_.OnlyBuffer().PlayFrame(), writePos, LengthSamples));
        return distance < HalfRing ? distance : distance - 2 * HalfRing;
    }

    std::int64_t Draw(std::int64_t choices) {
        return static_cast<std::int64_t>((random_() << 31 ^ random_()) % static_cast<std::uint64_t>(choices));
    }

private:
    static constexpr std::int64_t OriginNanoSec = 7'000'000'000'123;
    static constexpr std::int64_t Laps = 1'000'000;
    static constexpr int HalfRing = LengthSamples / 2;

    static std::shared_ptr<Media::FrameAudRaw> MakeFrame(std::int64_t offsetNanoSec) {
        return UnitTest::ConstantFrame(OriginNanoSec + offsetNanoSec, 1, 1);
    }

    Simulation::TestWorld world_;
    Media::RendererAudioPlaybackDevice device_;
    Media::RendererAudioPlaybackBuffer buffer_{device_};
    std::mt19937_64 random_{20260101};
};

/// Visits every even position once in `LengthSamples / 2` starts: the stride has no divisor in common with
/// it.
constexpr std::uint32_t PositionStride = 75011;

std::uint32_t PositionOf(std::int64_t start) {
    return static_cast<std::uint32_t>(start * PositionStride % (LengthSamples / 2) * 2);
}

// The lead is taken for floor(lead / 20833) samples of really 20833 1/3 ns: up to one sample less than it is,
// by the truncation, and a 62500th more, which comes to one sample at 62500 samples, 1.302 s.
TEST(ClosedLoop_Start, IsWithinOneSampleAtEveryPositionForLeadsBelowASecond) {
    constexpr std::int64_t LongestNanoSec = 1'000'000'000;
    Starter starter;
    for (std::int64_t i = 0; i < Extent::Get().starts; ++i) {
        std::int64_t const leadNanoSec = starter.Draw(LongestNanoSec);
        int const distance = starter.Start(PositionOf(i), leadNanoSec);
        // Half a sample on the way in the cursor already stands in the frame before.
        ASSERT_GE(distance, 0) << "position " << PositionOf(i) << ", lead " << leadNanoSec << " ns";
        ASSERT_LE(distance, 1) << "position " << PositionOf(i) << ", lead " << leadNanoSec << " ns";
    }
}

// 240000 / 62500 = 3.84 samples more at the far end. Beyond 240000 x 20833 ns = 4.99992 s the start is
// elsewhere (Ring_StartPosition pins it).
TEST(ClosedLoop_Start, IsWithinFourSamplesForLeadsUpToTheWholeRing) {
    constexpr std::int64_t LongestNanoSec = std::int64_t{LengthSamples} * SamplePeriodNanoSec;
    Starter starter;
    for (std::int64_t i = 0; i < Extent::Get().starts; ++i) {
        std::int64_t const leadNanoSec = starter.Draw(LongestNanoSec);
        int const distance = starter.Start(PositionOf(i), leadNanoSec);
        ASSERT_GE(distance, 0) << "position " << PositionOf(i) << ", lead " << leadNanoSec << " ns";
        ASSERT_LE(distance, 4) << "position " << PositionOf(i) << ", lead " << leadNanoSec << " ns";
    }
}

} // namespace
} // namespace ClosedLoop
