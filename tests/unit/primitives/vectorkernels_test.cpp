#include "primitives/vectorkernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "primitives/wide128.h"

namespace Media::Primitives {
namespace {

/// 16-byte registers that count how they are written.
struct CountingWide : Wide128<CountingWide> {
    static void StoreAligned(std::uint8_t* to, Register value) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(to) % SizeBytes, 0U);
        Store(to, value);
    }
    static void Stream(std::uint8_t* to, Register value) {
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(to) % SizeBytes, 0U);
        ++streamed;
        Store(to, value);
    }

    inline static std::size_t streamed = 0;
};

using Kernels = VectorKernels<CountingWide>;

constexpr std::size_t MaxBytes = 600000;

/// Memory that begins at a multiple of 16.
std::uint8_t* Aligned(std::vector<std::uint8_t>& bytes) {
    return bytes.data() + (16 - reinterpret_cast<std::uintptr_t>(bytes.data()) % 16) % 16;
}

bool ZeroStreams(std::size_t lengthBytes, std::size_t offset, std::size_t largestCacheBytes) {
    std::vector<std::uint8_t> bytes(MaxBytes, 1);
    std::uint8_t* const region = Aligned(bytes) + offset;
    CountingWide::streamed = 0;
    Kernels::ZeroBytes(region, lengthBytes, largestCacheBytes);
    EXPECT_TRUE(std::all_of(region, region + lengthBytes, [](std::uint8_t byte) { return byte == 0; }));
    return CountingWide::streamed != 0;
}

bool CopyStreams(std::size_t lengthBytes, std::size_t offset, std::size_t largestCacheBytes) {
    std::vector<std::uint8_t> const source(MaxBytes, 7);
    std::vector<std::uint8_t> bytes(MaxBytes, 1);
    std::uint8_t* const region = Aligned(bytes) + offset;
    CountingWide::streamed = 0;
    Kernels::CopyBytes(source.data(), region, lengthBytes, largestCacheBytes);
    EXPECT_TRUE(std::all_of(region, region + lengthBytes, [](std::uint8_t byte) { return byte == 7; }));
    return CountingWide::streamed != 0;
}

TEST(VectorKernels_ZeroBytes, StreamsFrom524289BytesBehindTheFirstMultipleOf16) {
    EXPECT_FALSE(ZeroStreams(524288, 0, 1));
    EXPECT_TRUE(ZeroStreams(524289, 0, 1));
    // Ten bytes lie before the first multiple.
    EXPECT_FALSE(ZeroStreams(524298, 6, 1));
    EXPECT_TRUE(ZeroStreams(524299, 6, 1));
}

TEST(VectorKernels_ZeroBytes, StreamsWhatIsNotSmallerThanTheLargestCache) {
    EXPECT_TRUE(ZeroStreams(550000, 0, 550000));
    EXPECT_FALSE(ZeroStreams(549999, 0, 550000));
}

TEST(VectorKernels_ZeroBytes, NeverStreamsWhereNoCacheIsKnown) {
    EXPECT_FALSE(ZeroStreams(599000, 0, 0));
}

TEST(VectorKernels_CopyBytes, StreamsFrom524288Bytes) {
    EXPECT_FALSE(CopyStreams(524287, 0, 1));
    EXPECT_TRUE(CopyStreams(524288, 0, 1));
    EXPECT_FALSE(CopyStreams(524287, 6, 1));
    EXPECT_TRUE(CopyStreams(524288, 6, 1));
}

TEST(VectorKernels_CopyBytes, StreamsWhatIsNotSmallerThanTheLargestCache) {
    EXPECT_TRUE(CopyStreams(550000, 0, 550000));
    EXPECT_FALSE(CopyStreams(549999, 0, 550000));
}

TEST(VectorKernels_CopyBytes, NeverStreamsWhereNoCacheIsKnown) {
    EXPECT_FALSE(CopyStreams(599000, 0, 0));
}

} // namespace
} // namespace Media::Primitives
