#include "rendereraudiodevicetable.h"

#include <gtest/gtest.h>

#include <cstring>

#include "support/deviceview.h"

namespace Media {
namespace {

constexpr GUID FirstGuid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID SecondGuid = {0x99999999, 0x8888, 0x7777, {8, 7, 6, 5, 4, 3, 2, 1}};
constexpr GUID ZeroGuid = {};

bool AreEqual(GUID const& a, GUID const& b) {
    return std::memcmp(&a, &b, sizeof(GUID)) == 0;
}

class DeviceTable : public ::testing::Test {
protected:
    bool HasOnly(char const* description, GUID const& guid) const {
        auto const& devices = table_.GetDevices();
        auto const found = devices.find(description);
        return devices.size() == 1 && found != devices.end() && AreEqual(found->second, guid);
    }

    boost::mutex lock_;
    RendererAudioDeviceTable table_{lock_};
};

TEST_F(DeviceTable, IsEmptyAtFirst) {
    EXPECT_TRUE(table_.IsEmpty());
}

TEST_F(DeviceTable, DeviceIsRecordedUnderItsDescriptionWithAllSixteenBytesOfItsGuid) {
    table_.Record(&FirstGuid, "Speakers");
    EXPECT_FALSE(table_.IsEmpty());
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTable, DeviceWithoutGuidIsRecordedWithZeros) {
    table_.Record(nullptr, "Primary");
    EXPECT_TRUE(HasOnly("Primary", ZeroGuid));
}

TEST_F(DeviceTable, DeviceWithoutDescriptionIsNotRecorded) {
    table_.Record(&FirstGuid, nullptr);
    EXPECT_TRUE(table_.IsEmpty());
}

TEST_F(DeviceTable, EmptyDescriptionIsADescription) {
    table_.Record(&FirstGuid, "");
    EXPECT_TRUE(HasOnly("", FirstGuid));
}

TEST_F(DeviceTable, TwoDevicesOfOneDescriptionLeaveOneEntryWithTheLaterGuid) {
    table_.Record(&FirstGuid, "Speakers");
    table_.Record(&SecondGuid, "Speakers");
    EXPECT_TRUE(HasOnly("Speakers", SecondGuid));
}

TEST_F(DeviceTable, LaterDeviceOfTheSameDescriptionWithoutGuidLeavesTheGuid) {
    table_.Record(&FirstGuid, "Speakers");
    table_.Record(nullptr, "Speakers");
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTable, ClearForgetsEverything) {
    table_.Record(&FirstGuid, "Speakers");
    table_.Clear();
    EXPECT_TRUE(table_.IsEmpty());
}

TEST_F(DeviceTable, CallbackRecordsAndAlwaysGoesOn) {
    GUID guid = FirstGuid;
    EXPECT_EQ(RecordEnumeratedDevice(&guid, "Speakers", "driver.sys", &table_), TRUE);
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
    EXPECT_EQ(RecordEnumeratedDevice(nullptr, "Speakers", nullptr, &table_), TRUE);
    EXPECT_EQ(RecordEnumeratedDevice(&guid, nullptr, nullptr, &table_), TRUE);
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTable, GivesTheLockBackAfterEveryOperation) {
    table_.Record(&FirstGuid, "Speakers");
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(lock_));
    EXPECT_FALSE(table_.IsEmpty());
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(lock_));
    table_.Clear();
    EXPECT_TRUE(UnitTest::CanBeLockedElsewhere(lock_));
}

TEST_F(DeviceTable, RecordsReadsAndClearsFromSeveralThreadsAtOnce) {
    constexpr int Rounds = 200;
    std::thread recorder([this] {
        for (int i = 0; i < Rounds; ++i) {
            table_.Record(&FirstGuid, ("Device " + std::to_string(i % 5)).c_str());
        }
    });
    std::thread reader([this] {
        for (int i = 0; i < Rounds; ++i) {
            table_.IsEmpty();
        }
    });
    for (int i = 0; i < Rounds; ++i) {
        table_.Clear();
    }
    recorder.join();
    reader.join();
    table_.Clear();
    table_.Record(&SecondGuid, "Last");
    EXPECT_TRUE(HasOnly("Last", SecondGuid));
}

} // namespace
} // namespace Media
