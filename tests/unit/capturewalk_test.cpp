#include "arithmetic/capturewalk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace {

using Media::CaptureWalk::Block_t;
using Media::CaptureWalk::BlockSamples;
using Media::CaptureWalk::ForEachFrame;
using Media::CaptureWalk::ForEachMeteredBlock;
using Media::CaptureWalk::Region;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

/// Samples that count up from `first`, so that every one tells where it came from.
std::vector<std::int16_t> Count(std::int16_t first, std::size_t count) {
    std::vector<std::int16_t> samples(count);
    for (auto& sample : samples) {
        sample = first++;
    }
    return samples;
}

Region RegionOf(std::vector<std::int16_t> const& samples) {
    return {reinterpret_cast<std::uint8_t const*>(samples.data()),
            static_cast<std::uint32_t>(samples.size())};
}

constexpr Region NoRegion{nullptr, 0};

std::vector<std::int16_t> SamplesAt(std::uint8_t const* bytes, std::uint32_t count) {
    std::vector<std::int16_t> samples(count);
    std::memcpy(samples.data(), bytes, count * sizeof(std::int16_t));
    return samples;
}

/// The blocks that reading frames finds.
std::vector<std::vector<std::int16_t>> Frames(Region first, Region second, std::uint32_t take,
                                              std::size_t limit = SIZE_MAX) {
    std::vector<std::vector<std::int16_t>> frames;
    ForEachFrame(first, second, take, [&](std::uint8_t const* bytes, Block_t) {
        if (frames.size() == limit) {
            return false;
        }
        frames.push_back(SamplesAt(bytes, BlockSamples));
        return true;
    });
    return frames;
}

/// First sample and count of each stretch that is metered, and the number of blocks.
struct Metered {
    std::vector<std::pair<std::int16_t, std::uint32_t>> stretches;
    std::uint32_t blocks;
};
Metered Meter(Region first, Region second, std::uint32_t take) {
    Metered metered{};
    metered.blocks =
        ForEachMeteredBlock(first, second, take, [&](std::uint8_t const* bytes, std::uint32_t count) {
            metered.stretches.emplace_back(SamplesAt(bytes, 1).front(), count);
        });
    return metered;
}

// --- frames

TEST(CaptureWalk_ForEachFrame, CutsOneRegionIntoBlocksOf960Samples) {
    auto const ring = Count(0, 2880);
    EXPECT_THAT(Frames(RegionOf(ring), NoRegion, 2880),
                ElementsAre(Count(0, 960), Count(960, 960), Count(1920, 960)));
}

TEST(CaptureWalk_ForEachFrame, LessThanABlockGivesNothing) {
    auto const ring = Count(0, 959);
    EXPECT_THAT(Frames(RegionOf(ring), NoRegion, 959), IsEmpty());
}

TEST(CaptureWalk_ForEachFrame, TakesNoMoreThanAsked) {
    auto const ring = Count(0, 2880);
    EXPECT_THAT(Frames(RegionOf(ring), NoRegion, 1920), ElementsAre(Count(0, 960), Count(960, 960)));
    EXPECT_THAT(Frames(RegionOf(ring), NoRegion, 1919), ElementsAre(Count(0, 960)));
}

TEST(CaptureWalk_ForEachFrame, EndsWithARegionShorterThanAsked) {
    auto const ring = Count(0, 1000);
    EXPECT_THAT(Frames(RegionOf(ring), NoRegion, 1920), ElementsAre(Count(0, 960)));
}

TEST(CaptureWalk_ForEachFrame, BlocksBehindTheEndOfTheRingAreLeftOut) {
    auto const end = Count(0, 1920);
    auto const start = Count(5000, 2880);
    EXPECT_THAT(Frames(RegionOf(end), RegionOf(start), 4800), ElementsAre(Count(0, 960), Count(960, 960)));
}

TEST(CaptureWalk_ForEachFrame, EndsAtTheFirstRefusal) {
    auto const ring = Count(0, 2880);
    EXPECT_THAT(Frames(RegionOf(ring), NoRegion, 2880, 1), ElementsAre(Count(0, 960)));
}

/// A block that the end of the ring splits `rest` samples behind its start: bytes for samples, as
/// ForEachFrame says.
std::vector<std::int16_t> Straddling(std::vector<std::int16_t> const& end,
                                     std::vector<std::int16_t> const& start, std::uint32_t rest) {
    std::vector<std::int16_t> block(BlockSamples, 0);
    auto* const bytes = reinterpret_cast<std::uint8_t*>(block.data());
    auto const* const endBytes = reinterpret_cast<std::uint8_t const*>(end.data() + end.size() - rest);
    auto const* const startBytes = reinterpret_cast<std::uint8_t const*>(start.data());
    for (std::uint32_t i = 0; i < rest; ++i) {
        bytes[i] = endBytes[i];
    }
    for (std::uint32_t i = 0; i < BlockSamples - rest; ++i) {
        bytes[2 * rest + i] = startBytes[i];
    }
    return block;
}

TEST(CaptureWalk_ForEachFrame, OfASplitBlockHalfOfEachPieceIsThere) {
    auto const end = Count(0, 100);
    auto const start = Count(5000, 1000);
    auto const frames = Frames(RegionOf(end), RegionOf(start), 960);
    ASSERT_EQ(frames.size(), 1U);
    // By hand: 100 bytes are 50 samples; 860 bytes are 430 samples, from sample 100 on.
    std::vector<std::int16_t> expected(BlockSamples, 0);
    for (std::size_t i = 0; i < 50; ++i) {
        expected[i] = static_cast<std::int16_t>(i);
    }
    for (std::size_t i = 0; i < 430; ++i) {
        expected[100 + i] = static_cast<std::int16_t>(5000 + i);
    }
    EXPECT_EQ(frames.front(), expected);
}

TEST(CaptureWalk_ForEachFrame, EverySplitIsPutTogetherAlike) {
    for (std::uint32_t const rest : {1U, 2U, 3U, 479U, 480U, 481U, 958U, 959U}) {
        auto const end = Count(0, 960 + rest);
        auto const start = Count(5000, 960 - rest + 1);
        EXPECT_THAT(Frames(RegionOf(end), RegionOf(start), 1920),
                    ElementsAre(Count(0, 960), Straddling(end, start, rest)))
            << rest;
    }
}

TEST(CaptureWalk_ForEachFrame, BehindASplitBlockTheSecondRegionIsReadFromItsStart) {
    auto const end = Count(0, 300);
    // 660 belong to the split block, and 1920 follow it.
    auto const start = Count(5000, 660 + 1920);
    EXPECT_THAT(Frames(RegionOf(end), RegionOf(start), 2880),
                ElementsAre(Straddling(end, start, 300), Count(5000, 960), Count(5960, 960)));
}

TEST(CaptureWalk_ForEachFrame, ASplitBlockNeedsOneSampleMoreThanItTakes) {
    auto const end = Count(0, 300);
    EXPECT_THAT(Frames(RegionOf(end), RegionOf(Count(5000, 660)), 960), IsEmpty());
    EXPECT_THAT(Frames(RegionOf(end), RegionOf(Count(5000, 661)), 960),
                ElementsAre(Straddling(end, Count(5000, 661), 300)));
}

TEST(CaptureWalk_ForEachFrame, ASplitBlockIsNotBegunForLessThanABlock) {
    auto const end = Count(0, 1260);
    auto const start = Count(5000, 1000);
    EXPECT_THAT(Frames(RegionOf(end), RegionOf(start), 1919), ElementsAre(Count(0, 960)));
}

TEST(CaptureWalk_ForEachFrame, BehindARefusedSplitBlockTheWalkGoesOn) {
    auto const end = Count(0, 300);
    auto const start = Count(5000, 2580);
    std::vector<Block_t> kinds;
    std::vector<std::int16_t> firsts;
    ForEachFrame(RegionOf(end), RegionOf(start), 2880, [&](std::uint8_t const* bytes, Block_t kind) {
        kinds.push_back(kind);
        firsts.push_back(SamplesAt(bytes, 1).front());
        return kind == Block_t::Whole;
    });
    EXPECT_THAT(kinds, ElementsAre(Block_t::Split, Block_t::Whole, Block_t::Whole));
    EXPECT_THAT(firsts, ElementsAre(0, 5000, 5960));
}

TEST(CaptureWalk_ForEachFrame, NothingFollowsTheSecondRegion) {
    auto const end = Count(0, 300);
    auto const start = Count(5000, 660 + 1000);
    // Asked for more than the regions hold.
    EXPECT_THAT(Frames(RegionOf(end), RegionOf(start), 9600),
                ElementsAre(Straddling(end, start, 300), Count(5000, 960)));
}

TEST(CaptureWalk_ForEachFrame, NothingComesOfNothing) {
    EXPECT_THAT(Frames(NoRegion, NoRegion, 960), IsEmpty());
    EXPECT_THAT(Frames(NoRegion, RegionOf(Count(0, 1920)), 1920), IsEmpty());
}

// --- meter

TEST(CaptureWalk_ForEachMeteredBlock, MetersEveryBlockOfOneRegion) {
    auto const ring = Count(0, 2880);
    auto const metered = Meter(RegionOf(ring), NoRegion, 2880);
    EXPECT_THAT(metered.stretches, ElementsAre(Pair(0, 960U), Pair(960, 960U), Pair(1920, 960U)));
    EXPECT_EQ(metered.blocks, 3U);
}

TEST(CaptureWalk_ForEachMeteredBlock, LessThanABlockIsNotMetered) {
    auto const metered = Meter(RegionOf(Count(0, 959)), NoRegion, 959);
    EXPECT_THAT(metered.stretches, IsEmpty());
    EXPECT_EQ(metered.blocks, 0U);
}

TEST(CaptureWalk_ForEachMeteredBlock, GoesOnBehindTheEndOfTheRing) {
    auto const metered = Meter(RegionOf(Count(0, 1920)), RegionOf(Count(5000, 2880)), 4800);
    EXPECT_THAT(metered.stretches, ElementsAre(Pair(0, 960U), Pair(960, 960U), Pair(5000, 960U),
                                               Pair(5960, 960U), Pair(6920, 960U)));
    EXPECT_EQ(metered.blocks, 5U);
}

TEST(CaptureWalk_ForEachMeteredBlock, ASplitBlockIsMeteredInTwoPiecesAndCountsOnce) {
    auto const metered = Meter(RegionOf(Count(0, 1060)), RegionOf(Count(5000, 860 + 960)), 2880);
    EXPECT_THAT(metered.stretches,
                ElementsAre(Pair(0, 960U), Pair(960, 100U), Pair(5000, 860U), Pair(5860, 960U)));
    EXPECT_EQ(metered.blocks, 3U);
}

TEST(CaptureWalk_ForEachMeteredBlock, PiecesMayBeOneSampleLong) {
    auto const lastOfEnd = Meter(RegionOf(Count(0, 1)), RegionOf(Count(5000, 959)), 960);
    EXPECT_THAT(lastOfEnd.stretches, ElementsAre(Pair(0, 1U), Pair(5000, 959U)));
    auto const firstOfStart = Meter(RegionOf(Count(0, 959)), RegionOf(Count(5000, 1)), 960);
    EXPECT_THAT(firstOfStart.stretches, ElementsAre(Pair(0, 959U), Pair(5000, 1U)));
}

TEST(CaptureWalk_ForEachMeteredBlock, ASplitBlockThatIsNotAllThereIsNotMetered) {
    auto const metered = Meter(RegionOf(Count(0, 1060)), RegionOf(Count(5000, 859)), 1920);
    EXPECT_THAT(metered.stretches, ElementsAre(Pair(0, 960U)));
    EXPECT_EQ(metered.blocks, 1U);
}

TEST(CaptureWalk_ForEachMeteredBlock, TakesNoMoreThanAsked) {
    auto const metered = Meter(RegionOf(Count(0, 1920)), RegionOf(Count(5000, 1920)), 2880);
    EXPECT_THAT(metered.stretches, ElementsAre(Pair(0, 960U), Pair(960, 960U), Pair(5000, 960U)));
    EXPECT_EQ(Meter(RegionOf(Count(0, 1060)), RegionOf(Count(5000, 1920)), 1919).blocks, 1U);
}

TEST(CaptureWalk_ForEachMeteredBlock, NothingComesOfNothing) {
    EXPECT_EQ(Meter(NoRegion, NoRegion, 960).blocks, 0U);
    auto const onlySecond = Meter(NoRegion, RegionOf(Count(5000, 960)), 960);
    EXPECT_THAT(onlySecond.stretches, ElementsAre(Pair(5000, 960U)));
}

} // namespace
