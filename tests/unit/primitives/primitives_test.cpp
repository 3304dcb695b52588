#include "primitives/primitives.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "unit/primitives/guardedbytes.h"

namespace Media::Primitives {
namespace {

constexpr std::size_t GuardBytes = 64;
constexpr std::size_t MaxOffsetBytes = 16;

/// `sizeBytes` bytes at `offsetBytes` behind a 16-byte boundary, between guard bytes.
class GuardedBytes {
public:
    GuardedBytes(std::size_t sizeBytes, std::size_t offsetBytes)
        : sizeBytes_(sizeBytes), storage_(sizeBytes + 2 * GuardBytes + 2 * MaxOffsetBytes, Guard) {
        auto const address = reinterpret_cast<std::uintptr_t>(storage_.data() + GuardBytes);
        begin_ = storage_.data() + GuardBytes + (MaxOffsetBytes - address % MaxOffsetBytes) + offsetBytes;
    }

    std::uint8_t* Get() { return begin_; }
    std::vector<std::uint8_t> Content() const { return {begin_, begin_ + sizeBytes_}; }

    bool AreGuardsWhole() const {
        auto const isGuard = [](std::uint8_t byte) { return byte == Guard; };
        auto const* const first = storage_.data();
        auto const* const last = storage_.data() + storage_.size();
        return std::all_of(first, static_cast<std::uint8_t const*>(begin_), isGuard) &&
               std::all_of(static_cast<std::uint8_t const*>(begin_) + sizeBytes_, last, isGuard);
    }

private:
    std::size_t sizeBytes_;
    std::vector<std::uint8_t> storage_;
    std::uint8_t* begin_;
};

// --- ZeroBytes

TEST(Primitives_ZeroBytes, NullDestinationIsReported) {
    EXPECT_EQ(ZeroBytes(nullptr, 1), -8);
}

TEST(Primitives_ZeroBytes, NullDestinationIsReportedBeforeBadLength) {
    EXPECT_EQ(ZeroBytes(nullptr, 0), -8);
    EXPECT_EQ(ZeroBytes(nullptr, -1), -8);
}

TEST(Primitives_ZeroBytes, LengthBelowOneIsReportedAndNothingWritten) {
    for (std::int32_t const length : {0, -1, INT32_MIN}) {
        GuardedBytes bytes(1, 0);
        EXPECT_EQ(ZeroBytes(bytes.Get(), length), -6) << length;
        EXPECT_EQ(bytes.Content(), std::vector<std::uint8_t>{Guard}) << length;
        EXPECT_TRUE(bytes.AreGuardsWhole()) << length;
    }
}

// --- CopyBytes

TEST(Primitives_CopyBytes, NullPointerIsReportedAndNothingWritten) {
    std::uint8_t const source = 1;
    std::uint8_t destination = 2;
    EXPECT_EQ(CopyBytes(nullptr, &destination, 1), -8);
    EXPECT_EQ(CopyBytes(&source, nullptr, 1), -8);
    EXPECT_EQ(CopyBytes(nullptr, nullptr, 1), -8);
    EXPECT_EQ(destination, 2);
}

TEST(Primitives_CopyBytes, NullPointerIsReportedBeforeBadLength) {
    std::uint8_t byte = 0;
    EXPECT_EQ(CopyBytes(nullptr, &byte, 0), -8);
    EXPECT_EQ(CopyBytes(&byte, nullptr, -1), -8);
}

TEST(Primitives_CopyBytes, LengthBelowOneIsReportedAndNothingWritten) {
    std::uint8_t const source = 1;
    for (std::int32_t const length : {0, -1, INT32_MIN}) {
        GuardedBytes bytes(1, 0);
        EXPECT_EQ(CopyBytes(&source, bytes.Get(), length), -6) << length;
        EXPECT_EQ(bytes.Content(), std::vector<std::uint8_t>{Guard}) << length;
    }
}

// --- at every size and alignment: primitives_variants_test.cpp; here the way to the variant

TEST(Primitives_ZeroBytes, ClearsExactlyTheRegion) {
    for (std::int32_t const length : {1, 17, 1920, 524305}) {
        GuardedBytes bytes(static_cast<std::size_t>(length), 3);
        EXPECT_EQ(ZeroBytes(bytes.Get(), length), 0);
        EXPECT_TRUE(bytes.Content() == std::vector<std::uint8_t>(static_cast<std::size_t>(length), 0));
        EXPECT_TRUE(bytes.AreGuardsWhole()) << length;
    }
}

TEST(Primitives_CopyBytes, CopiesExactlyTheRegion) {
    for (std::int32_t const length : {1, 17, 1920, 524305}) {
        std::vector<std::uint8_t> const pattern = Pattern(static_cast<std::size_t>(length));
        GuardedBytes destination(pattern.size(), 3);
        EXPECT_EQ(CopyBytes(pattern.data(), destination.Get(), length), 0);
        EXPECT_TRUE(destination.Content() == pattern);
        EXPECT_TRUE(destination.AreGuardsWhole()) << length;
    }
}

// --- MinMaxS16

TEST(Primitives_MinMaxS16, EachNullPointerIsReportedAndNothingWritten) {
    std::int16_t const sample = 5;
    std::int16_t minimum = 1;
    std::int16_t maximum = 2;
    EXPECT_EQ(MinMaxS16(nullptr, 1, &minimum, &maximum), -8);
    EXPECT_EQ(MinMaxS16(&sample, 1, nullptr, &maximum), -8);
    EXPECT_EQ(MinMaxS16(&sample, 1, &minimum, nullptr), -8);
    EXPECT_EQ(minimum, 1);
    EXPECT_EQ(maximum, 2);
}

TEST(Primitives_MinMaxS16, NullPointerIsReportedBeforeBadLength) {
    std::int16_t value = 0;
    EXPECT_EQ(MinMaxS16(nullptr, 0, &value, &value), -8);
    EXPECT_EQ(MinMaxS16(&value, -1, nullptr, &value), -8);
    EXPECT_EQ(MinMaxS16(&value, 0, &value, nullptr), -8);
}

TEST(Primitives_MinMaxS16, LengthBelowOneIsReportedAndNothingWritten) {
    std::int16_t const sample = 5;
    for (std::int32_t const length : {0, -1, INT32_MIN}) {
        std::int16_t minimum = 1;
        std::int16_t maximum = 2;
        EXPECT_EQ(MinMaxS16(&sample, length, &minimum, &maximum), -6) << length;
        EXPECT_EQ(minimum, 1) << length;
        EXPECT_EQ(maximum, 2) << length;
    }
}

TEST(Primitives_MinMaxS16, OneSampleIsBothMinimumAndMaximum) {
    std::int16_t const sample = -1234;
    std::int16_t minimum = 0;
    std::int16_t maximum = 0;
    EXPECT_EQ(MinMaxS16(&sample, 1, &minimum, &maximum), 0);
    EXPECT_EQ(minimum, -1234);
    EXPECT_EQ(maximum, -1234);
}

TEST(Primitives_MinMaxS16, ComparisonIsSigned) {
    std::array<std::int16_t, 2> const samples = {-1, 1};
    std::int16_t minimum = 0;
    std::int16_t maximum = 0;
    EXPECT_EQ(MinMaxS16(samples.data(), 2, &minimum, &maximum), 0);
    EXPECT_EQ(minimum, -1);
    EXPECT_EQ(maximum, 1);
}

// --- processing state

TEST(Primitives_GetProcessingStateSize, NullPointerIsReported) {
    EXPECT_EQ(GetProcessingStateSize(nullptr), -8);
}

TEST(Primitives_GetProcessingStateSize, Stores124Bytes) {
    std::int32_t size = 0;
    EXPECT_EQ(GetProcessingStateSize(&size), 0);
    EXPECT_EQ(size, 124);
}

TEST(Primitives_InitProcessingState, NullPointerIsReported) {
    EXPECT_EQ(InitProcessingState(nullptr), -8);
}

TEST(Primitives_InitProcessingState, WritesTheStateByteForByteAndNothingAround) {
    // Every field as its 32 bits in memory order, low byte first.
    constexpr std::uint32_t F65Point38 = 0x4282C28F;   // 1.0215625 x 2^6
    constexpr std::uint32_t F32767 = 0x46FFFE00;       // 1.99993896484375 x 2^14
    constexpr std::uint32_t F0Point02 = 0x3CA3D70A;    // 1.28 x 2^-6
    constexpr std::uint32_t F200 = 0x43480000;         // 1.5625 x 2^7
    constexpr std::uint32_t F0Point01 = 0x3C23D70A;    // 1.28 x 2^-7
    constexpr std::uint32_t F0Point1 = 0x3DCCCCCD;     // 1.6 x 2^-4
    constexpr std::uint32_t F0Point7 = 0x3F333333;     // 1.4 x 2^-1
    constexpr std::uint32_t F0Point03125 = 0x3D000000; // 1.0 x 2^-5
    constexpr std::uint32_t F1 = 0x3F800000;
    std::array<std::uint32_t, 31> const words = {
        // nine floats
        0x44CAEFB8, F32767, 0x40840204, F65Point38, 0x4073522A, F0Point02, 0x3B5A737E, F200, F0Point01,
        // four 16-bit integers: 200, 0 and 0, 0
        0x000000C8, 0x00000000,
        // seventeen floats
        0, 0, 0, 0, F65Point38, F65Point38, F32767, 0, 0, F0Point1, 0, F0Point7, F0Point03125, 0, 0, F1, 0,
        // copies of three of them
        0, F0Point03125, F0Point1};
    std::vector<std::uint8_t> expected;
    for (std::uint32_t const word : words) {
        for (std::uint32_t const shift : {0U, 8U, 16U, 24U}) {
            expected.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
    ASSERT_EQ(expected.size(), 124U);

    for (std::size_t offset = 0; offset < MaxOffsetBytes; ++offset) {
        GuardedBytes state(124, offset);
        EXPECT_EQ(InitProcessingState(state.Get()), 0);
        EXPECT_EQ(state.Content(), expected) << "offset " << offset;
        EXPECT_TRUE(state.AreGuardsWhole()) << "offset " << offset;
    }
}

} // namespace
} // namespace Media::Primitives
