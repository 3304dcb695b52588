#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>

#include "kovra/buffer.h"

namespace Media {

/// The line level of the last 320 ms: a peak-to-peak meter on the extremes of 20 ms blocks, reduced to eight
/// bits and bent by a power so that speech moves the middle of a level bar.
///
/// **Threads:** one at a time; its owner's lock guards it.
class RendererAudioLineLevel {
public:
    /// How many blocks count.
    static constexpr std::size_t RingLengthBlocks = 16;

    /// All blocks silent: the level is 0 until something is metered. Throws `std::bad_alloc`.
    RendererAudioLineLevel();

    /// Records the extremes of one block of `count` samples (1 or more) in place of the oldest block's.
    void MeterBlock(std::int16_t const* samples, std::uint32_t count);

    /// 0.0 (silence) to 1.0 (every block from the lowest to the highest sample). Computed at the first call
    /// after a block was metered, remembered after that.
    float GetLevel();

private:
    friend struct RendererAudioLineLevelPeer;

    static constexpr std::size_t RingAlignmentBytes = 16;

    /// One vector register each, side by side: the smallest sample of each block, then the largest, mapped to
    /// 0..255.
    boost::intrusive_ptr<Kovra::Buffer> const levelStore_ =
        Kovra::Buffer::Create(2 * RingLengthBlocks, RingAlignmentBytes);
    std::uint8_t* const minRing_ = levelStore_->GetData();
    std::uint8_t* const maxRing_ = minRing_ + RingLengthBlocks;
    /// The next block's place.
    std::uint8_t ringIndex_ = 0;
    /// The rings have changed since `level_` was computed.
    bool levelStale_ = true;
    float level_ = 0.0F;
};

} // namespace Media
