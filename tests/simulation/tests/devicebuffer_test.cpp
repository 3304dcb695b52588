#include <gmock/gmock.h>

#include "sides.h"

// Locks of a sound buffer and of a capture buffer, and what their holder does wrong.

namespace Simulation {
namespace {

/// Misuse is allowed: each test sees it reported.
template <class Side>
class DeviceBuffer_Lock : public testing::Test {
protected:
    DeviceBuffer_Lock() {
        Side::Fill(world, usual);
        world.AllowMisuse();
    }
    ~DeviceBuffer_Lock() override { EXPECT_THAT(world.TakeMisuse(), testing::IsEmpty()); }
    void ExpectMisuse(char const* part) {
        EXPECT_THAT(
            world.TakeMisuse(),
            testing::ElementsAre(testing::HasSubstr(std::string(Side::BufferName()) + " 1: " + part)));
    }

    TestWorld world;
    typename Side::Usual usual;
    DeviceBuffer& buffer = Side::LatestBuffer(world);
};

TYPED_TEST_SUITE(DeviceBuffer_Lock, Sides, );

TYPED_TEST(DeviceBuffer_Lock, SplitsAtTheRingsEndAndNowhereElse) {
    Locked const upToEnd = LockOf(this->usual, RingBytes - 100, 100);
    EXPECT_EQ(upToEnd.bytes1, 100U);
    EXPECT_EQ(upToEnd.address2, nullptr);
    EXPECT_EQ(upToEnd.bytes2, 0U);
    EXPECT_EQ(this->buffer.OpenLocks(), 1U);
    EXPECT_EQ(Unlock(this->usual, upToEnd), DS_OK);
    EXPECT_EQ(this->buffer.OpenLocks(), 0U);
    Locked const beyond = LockOf(this->usual, RingBytes - 100, 101);
    EXPECT_EQ(beyond.bytes1, 100U);
    EXPECT_EQ(beyond.bytes2, 1U);
    EXPECT_EQ(static_cast<char*>(beyond.address1) - static_cast<char*>(beyond.address2), RingBytes - 100);
    EXPECT_EQ(Unlock(this->usual, beyond), DS_OK);
    EXPECT_EQ(this->buffer.LockCount(), 2U);
}

TYPED_TEST(DeviceBuffer_Lock, SplitsWhereATestSays) {
    TypeParam::Settings(this->world).SetLockSplit(100);
    Locked const atLimit = LockOf(this->usual, 10, 100);
    EXPECT_EQ(atLimit.bytes1, 100U);
    EXPECT_EQ(atLimit.bytes2, 0U);
    Unlock(this->usual, atLimit);
    Locked const beyond = LockOf(this->usual, 10, 101);
    EXPECT_EQ(beyond.bytes1, 100U);
    EXPECT_EQ(beyond.bytes2, 1U);
    EXPECT_EQ(static_cast<char*>(beyond.address2) - static_cast<char*>(beyond.address1), 100);
    Unlock(this->usual, beyond);
    Locked const wrapping = LockOf(this->usual, RingBytes - 200, 300);
    EXPECT_EQ(wrapping.bytes1, 200U);
    EXPECT_EQ(wrapping.bytes2, 100U);
    Unlock(this->usual, wrapping);
}

TYPED_TEST(DeviceBuffer_Lock, EndsAtTheRingsEndWhenThereIsNoSecondPointer) {
    Locked locked;
    this->usual->Lock(RingBytes - 100, 200, &locked.address1, &locked.bytes1, nullptr, nullptr, 0);
    EXPECT_EQ(locked.bytes1, 100U);
    EXPECT_EQ(Unlock(this->usual, locked), DS_OK);
}

TYPED_TEST(DeviceBuffer_Lock, RefusesWhatIsNotInTheRing) {
    EXPECT_EQ(LockOf(this->usual, 0, 0).result, DSERR_INVALIDPARAM);
    EXPECT_EQ(LockOf(this->usual, 0, RingBytes + 1).result, DSERR_INVALIDPARAM);
    EXPECT_EQ(LockOf(this->usual, RingBytes, 1).result, DSERR_INVALIDPARAM);
    EXPECT_EQ(LockOf(this->usual, RingBytes, 1).address1, nullptr);
    DWORD bytes = 0;
    EXPECT_EQ(this->usual->Lock(0, 1, nullptr, &bytes, nullptr, nullptr, 0), DSERR_INVALIDPARAM);
    for (auto const& [offset, count] :
         {std::make_pair(RingBytes - 1, DWORD{1}), std::make_pair(DWORD{0}, RingBytes)}) {
        Locked const locked = LockOf(this->usual, offset, count);
        EXPECT_EQ(locked.result, DS_OK);
        Unlock(this->usual, locked);
    }
}

TYPED_TEST(DeviceBuffer_Lock, UnlockOfWhatIsNotLockedIsMisuse) {
    Locked const locked = LockOf(this->usual, 0, 10);
    Unlock(this->usual, locked);
    EXPECT_EQ(Unlock(this->usual, locked), DSERR_INVALIDPARAM);
    this->ExpectMisuse("an unlock of what is not locked");
}

TYPED_TEST(DeviceBuffer_Lock, UnlockOfAnotherAddressIsMisuse) {
    Locked const locked = LockOf(this->usual, 0, 10);
    EXPECT_EQ(this->usual->Unlock(static_cast<char*>(locked.address1) + 1, 10, nullptr, 0),
              DSERR_INVALIDPARAM);
    this->ExpectMisuse("an unlock of what is not locked");
    Unlock(this->usual, locked);
}

TYPED_TEST(DeviceBuffer_Lock, UnlockOfAnotherLengthIsMisuse) {
    for (DWORD const bytes : {9U, 11U}) {
        Locked locked = LockOf(this->usual, 0, 10);
        locked.bytes1 = bytes;
        EXPECT_EQ(Unlock(this->usual, locked), DSERR_INVALIDPARAM);
        this->ExpectMisuse(bytes == 9 ? "an unlock of 9 and 0 bytes, where the lock gave 10 and 0"
                                      : "an unlock of 11 and 0 bytes, where the lock gave 10 and 0");
        EXPECT_EQ(this->buffer.OpenLocks(), 0U);
    }
}

TYPED_TEST(DeviceBuffer_Lock, UnlockThatForgetsTheSecondRegionIsMisuse) {
    Locked const locked = LockOf(this->usual, RingBytes - 10, 20);
    EXPECT_EQ(this->usual->Unlock(locked.address1, 10, nullptr, 0), DSERR_INVALIDPARAM);
    this->ExpectMisuse("an unlock of 10 and 0 bytes, where the lock gave 10 and 10");
}

TYPED_TEST(DeviceBuffer_Lock, TwoOfOneThreadThatOverlapAreMisuse) {
    Locked const first = LockOf(this->usual, RingBytes - 10, 20);
    Locked const beside = LockOf(this->usual, 10, 10);
    EXPECT_TRUE(this->world.Misuse().empty());
    Locked const over = LockOf(this->usual, 9, 1);
    this->ExpectMisuse("a lock overlaps");
    Unlock(this->usual, over);
    Unlock(this->usual, beside);
    Unlock(this->usual, first);
}

TYPED_TEST(DeviceBuffer_Lock, TwoOfTwoThreadsMayOverlap) {
    Locked const mine = LockOf(this->usual, 0, 10);
    boost::thread([this] { Unlock(this->usual, LockOf(this->usual, 0, 10)); }).join();
    EXPECT_EQ(Unlock(this->usual, mine), DS_OK);
}

TYPED_TEST(DeviceBuffer_Lock, WriteOneByteOutsideTheRegionIsMisuse) {
    for (int const offset : {-1, 10}) {
        Locked const locked = LockOf(this->usual, 100, 10);
        static_cast<char*>(locked.address1)[offset] ^= 1;
        EXPECT_EQ(Unlock(this->usual, locked), DSERR_INVALIDPARAM);
        this->ExpectMisuse(offset < 0 ? "byte 99 was written outside the locked region"
                                      : "byte 110 was written outside the locked region");
        static_cast<char*>(locked.address1)[offset] ^= 1;
    }
}

TYPED_TEST(DeviceBuffer_Lock, WriteOutsideTheRegionPassesWithTheCheckOff) {
    TypeParam::Settings(this->world).SetRingCheck(false);
    Locked locked = LockOf(this->usual, 100, 10);
    static_cast<char*>(locked.address1)[-1] ^= 1;
    EXPECT_EQ(Unlock(this->usual, locked), DS_OK);
    // Turned on again it starts from what is there.
    TypeParam::Settings(this->world).SetRingCheck(true);
    locked = LockOf(this->usual, 100, 10);
    EXPECT_EQ(Unlock(this->usual, locked), DS_OK);
}

TYPED_TEST(DeviceBuffer_Lock, WriteBesideTheRingIsSeenWithTheCheckOffToo) {
    TypeParam::Settings(this->world).SetRingCheck(false);
    for (DWORD const offset : {DWORD{0}, RingBytes - 10}) {
        Locked const locked = LockOf(this->usual, offset, 10);
        char* const outside = static_cast<char*>(locked.address1) + (offset == 0 ? -1 : 10);
        *outside ^= 1;
        EXPECT_EQ(Unlock(this->usual, locked), DSERR_INVALIDPARAM);
        this->ExpectMisuse("bytes beside the ring were overwritten");
        *outside ^= 1;
    }
}

} // namespace
} // namespace Simulation
