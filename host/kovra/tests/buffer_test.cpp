#include "kovra/buffer.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <vector>

using boost::intrusive_ptr;
using Kovra::Buffer;
using Kovra::BufferInfo;
using Kovra::BufferInfoListScoped;

namespace {

constexpr std::uint32_t MaxUint32 = 0xFFFFFFFFU;

intrusive_ptr<Buffer> MakeCounting(std::size_t size) {
    intrusive_ptr<Buffer> buffer = Buffer::Create(size, 16);
    for (std::size_t index = 0; index < size; ++index) {
        buffer->GetData()[index] = static_cast<std::uint8_t>(index);
    }
    return buffer;
}

struct Slice {
    std::uint32_t offset;
    std::uint32_t dataOffset;
    std::uint32_t length;

    friend bool operator==(Slice const& a, Slice const& b) {
        return a.offset == b.offset && a.dataOffset == b.dataOffset && a.length == b.length;
    }
};

std::ostream& operator<<(std::ostream& to, Slice const& slice) {
    return to << slice.offset << '+' << slice.dataOffset << ", " << slice.length;
}

Slice SliceOf(BufferInfo const& info) {
    return {info.GetOffset(), info.GetDataOffset(), info.GetLength()};
}

} // namespace

static_assert(!std::is_copy_constructible_v<BufferInfoListScoped> &&
              !std::is_copy_assignable_v<BufferInfoListScoped>);
static_assert(std::is_move_constructible_v<BufferInfoListScoped> &&
              std::is_move_assignable_v<BufferInfoListScoped>);

class Buffer_Create : public testing::TestWithParam<std::size_t> {};

TEST_P(Buffer_Create, AddressIsAMultipleOfTheAlignmentAndEveryByteIsUsable) {
    std::vector<intrusive_ptr<Buffer>> buffers;
    for (std::size_t size : {1U, 3U, 16U, 1000U, 4097U}) {
        buffers.push_back(Buffer::Create(size, GetParam()));
        Buffer& buffer = *buffers.back();
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.GetData()) % GetParam(), 0U) << size;
        EXPECT_EQ(buffer.GetSize(), size);
        std::memset(buffer.GetData(), 0xA5, size);
    }
}

INSTANTIATE_TEST_SUITE_P(Alignments, Buffer_Create, testing::Values(1, 2, 8, 16, 32, 64, 4096),
                         testing::PrintToStringParamName());

TEST(Buffer_Create, SizeZeroIsAllowed) {
    intrusive_ptr<Buffer> const buffer = Buffer::Create(0, 16);
    ASSERT_TRUE(buffer);
    EXPECT_EQ(buffer->GetSize(), 0U);
    EXPECT_NE(buffer->GetData(), nullptr);
}

TEST(Buffer_Create, AlignmentThatIsNoPowerOfTwoIsRefused) {
    for (std::size_t alignment : {0U, 3U, 12U, 17U, 48U}) {
        EXPECT_THROW(Buffer::Create(8, alignment), std::invalid_argument) << alignment;
    }
}

// The sanitizers' allocators end the program instead.
#if !defined(UNDER_ADDRESS_SANITIZER) && !defined(UNDER_THREAD_SANITIZER)
TEST(Buffer_Create, ThrowsBadAllocWithoutMemory) {
    EXPECT_THROW(Buffer::Create(static_cast<std::size_t>(1) << 62, 16), std::bad_alloc);
}
#endif

TEST(Buffer, LivesAsLongAsItsLastHolder) {
    intrusive_ptr<Buffer> first = MakeCounting(8);
    intrusive_ptr<Buffer> const second = first;
    first.reset();
    EXPECT_EQ(second->GetData()[7], 7);
    Buffer const& constant = *second;
    EXPECT_EQ(constant.GetData(), second->GetData());
}

TEST(Buffer, IsCountedFromSeveralThreads) {
    constexpr int Threads = 4;
    constexpr int Rounds = 2000;
    intrusive_ptr<Buffer> buffer = MakeCounting(4);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < Threads; ++thread) {
        threads.emplace_back([own = buffer] {
            for (int round = 0; round < Rounds; ++round) {
                intrusive_ptr<Buffer> const copy = own;
                ASSERT_EQ(copy->GetData()[3], 3);
            }
        });
    }
    // The last of the threads frees it.
    buffer.reset();
    for (std::thread& thread : threads) {
        thread.join();
    }
}

TEST(BufferInfo, StartsAtTheSumOfBothOffsets) {
    intrusive_ptr<Buffer> const buffer = MakeCounting(100);
    BufferInfo info(buffer, 10, 20, 4);
    EXPECT_EQ(info.GetBuffer(), buffer);
    EXPECT_EQ(SliceOf(info), (Slice{10, 4, 20}));
    EXPECT_EQ(info.GetData(), buffer->GetData() + 14);
    BufferInfo const& constant = info;
    EXPECT_EQ(*constant.GetData(), 14);
    *info.GetData() = 99;
    EXPECT_EQ(buffer->GetData()[14], 99);
}

TEST(BufferInfo, PayloadOffsetIsZeroUnlessGiven) {
    EXPECT_EQ(SliceOf(BufferInfo(MakeCounting(100), 10, 20)), (Slice{10, 0, 20}));
}

TEST(BufferInfo, HasNeitherDataNorLengthWithoutABlock) {
    BufferInfo empty;
    EXPECT_EQ(SliceOf(empty), (Slice{0, 0, 0}));
    EXPECT_EQ(empty.GetData(), nullptr);
    EXPECT_EQ(static_cast<BufferInfo const&>(empty).GetData(), nullptr);

    BufferInfo const null(nullptr, 10, 20, 4);
    EXPECT_EQ(SliceOf(null), (Slice{0, 0, 0}));
    EXPECT_EQ(null.GetData(), nullptr);
}

TEST(BufferInfo, GivesUpItsLengthWithItsBlock) {
    BufferInfo from(MakeCounting(8), 0, 8);
    BufferInfo const to = std::move(from);
    EXPECT_EQ(to.GetLength(), 8U);
    EXPECT_EQ(from.GetLength(), 0U);
    EXPECT_EQ(from.GetData(), nullptr);
}

TEST(BufferInfo, IsCutBackToItsBlock) {
    intrusive_ptr<Buffer> const buffer = MakeCounting(100);
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 0, 100)), (Slice{0, 0, 100}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 0, 101)), (Slice{0, 0, 100}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 90, 11)), (Slice{90, 0, 10}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 90, 10, 1)), (Slice{90, 1, 9}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 90, 10, 10)), (Slice{90, 10, 0}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 90, 10, 11)), (Slice{90, 10, 0}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 100, 1)), (Slice{100, 0, 0}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 101, 1, 1)), (Slice{100, 0, 0}));
    // Sums that would wrap in 32 bits.
    EXPECT_EQ(SliceOf(BufferInfo(buffer, MaxUint32, MaxUint32, MaxUint32)), (Slice{100, 0, 0}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 2, MaxUint32, MaxUint32 - 1)), (Slice{2, 98, 0}));
    EXPECT_EQ(SliceOf(BufferInfo(buffer, 2, MaxUint32, 3)), (Slice{2, 3, 95}));
}

TEST(BufferInfo, OfAnEmptyBlockIsEmpty) {
    EXPECT_EQ(SliceOf(BufferInfo(Buffer::Create(0, 1), 1, 1, 1)), (Slice{0, 0, 0}));
}

TEST(BufferInfoListScoped, KeepsSlicesInOrderAndTheirBlocksAlive) {
    BufferInfoListScoped list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetCount(), 0U);
    EXPECT_EQ(list.GetBegin(), nullptr);
    EXPECT_EQ(static_cast<BufferInfoListScoped const&>(list).GetBegin(), nullptr);

    list.Append(BufferInfo(MakeCounting(10), 1, 2));
    list.Append(BufferInfo(MakeCounting(10), 5, 3));
    EXPECT_FALSE(list.IsEmpty());
    ASSERT_EQ(list.GetCount(), 2U);
    EXPECT_EQ(*list.GetBegin()[0].GetData(), 1);
    EXPECT_EQ(*list.GetBegin()[1].GetData(), 5);

    BufferInfoListScoped const moved = std::move(list);
    ASSERT_EQ(moved.GetCount(), 2U);
    EXPECT_EQ(*moved.GetBegin()->GetData(), 1);
}
