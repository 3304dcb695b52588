#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace Media {

/// How the two captured regions of a read are cut into blocks: pure functions on memory.
///
/// The two reads differ where a read wraps round the end of the ring. Reading frames leaves out what lies
/// behind the end, unless the end splits a block; metering goes on to the last block.
///
/// **Units:** samples (16 bits, mono), unless a name says otherwise.
namespace CaptureWalk {

constexpr std::uint32_t SampleSizeBytes = 2;
/// 20 ms at 48000 Hz.
constexpr std::uint32_t BlockSamples = 960;
constexpr std::uint32_t BlockBytes = BlockSamples * SampleSizeBytes;

/// Captured samples in one piece.
struct Region {
    std::uint8_t const* data;
    std::uint32_t samples;

    bool HasBlock() const { return data != nullptr && samples >= BlockSamples; }

    void Skip(std::uint32_t count) {
        data += static_cast<std::size_t>(count) * SampleSizeBytes;
        samples -= count;
    }
};

/// Whether a block lies in one piece.
enum class Block_t { Whole, Split };

/// Calls `onBlock(bytes, kind)` for each block of `BlockBytes` bytes that reading frames finds in the `take`
/// samples of both regions. A false ends the walk at a whole block; behind a split one it goes on.
///
/// A block that the end of the ring splits is put together of as many *bytes* of each piece as it has
/// samples, the second piece where it would start if it were whole; and what follows starts at the second
/// region's start again. The ring holds whole blocks only, so that no read of it meets such a block.
/// Wanted, with the blocks that are left out behind the end (docs/kept-behaviour.md).
template <class OnBlock>
void ForEachFrame(Region first, Region second, std::uint32_t take, OnBlock onBlock) {
    Region region = first;
    Region next = second;
    // Samples, as which its reader takes it.
    std::array<std::int16_t, BlockSamples> straddling{};
    auto* const straddlingBytes = reinterpret_cast<std::uint8_t*>(straddling.data());
    while (take >= BlockSamples) {
        for (; take >= BlockSamples && region.HasBlock(); take -= BlockSamples) {
            if (!onBlock(region.data, Block_t::Whole)) {
                return;
            }
            region.Skip(BlockSamples);
        }
        std::uint32_t const rest = region.samples;
        std::uint32_t const missing = BlockSamples - rest;
        // No rest: the read wraps between two blocks, and the blocks behind the end of the ring are left out.
        if (next.data == nullptr || take < BlockSamples || rest == 0 || next.samples <= missing) {
            return;
        }
        std::memcpy(straddlingBytes, region.data, rest);
        std::memcpy(straddlingBytes + rest * SampleSizeBytes, next.data, missing);
        onBlock(straddlingBytes, Block_t::Split);
        take -= BlockSamples;
        region = Region{next.data, next.samples - missing};
        next = Region{nullptr, 0};
    }
}

/// Calls `onSamples(bytes, count)` for the samples of each block that metering finds in the `take` samples of
/// both regions: once for a whole block, twice for one that the end of the ring splits. Returns the number of
/// blocks.
template <class OnSamples>
std::uint32_t ForEachMeteredBlock(Region first, Region second, std::uint32_t take, OnSamples onSamples) {
    std::uint32_t blocks = 0;
    auto const meterWhole = [&](Region& region) {
        for (; take >= BlockSamples && region.HasBlock(); take -= BlockSamples, ++blocks) {
            onSamples(region.data, BlockSamples);
            region.Skip(BlockSamples);
        }
    };
    meterWhole(first);
    if (second.data == nullptr || take < BlockSamples) {
        return blocks;
    }
    std::uint32_t const rest = first.samples;
    if (rest > 0) {
        std::uint32_t const missing = BlockSamples - rest;
        if (second.samples < missing) {
            return blocks;
        }
        onSamples(first.data, rest);
        onSamples(second.data, missing);
        second.Skip(missing);
        take -= BlockSamples;
        ++blocks;
    }
    meterWhole(second);
    return blocks;
}

} // namespace CaptureWalk
} // namespace Media
