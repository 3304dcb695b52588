#include "directsound/devicetable.h"

#include "support/module/deviceview.h"

namespace UnitTest {
namespace {

constexpr GUID FirstGuid = {0x11111111, 0x2222, 0x3333, {1, 2, 3, 4, 5, 6, 7, 8}};
constexpr GUID SecondGuid = {0x99999999, 0x8888, 0x7777, {8, 7, 6, 5, 4, 3, 2, 1}};
constexpr GUID ZeroGuid = {};

class DeviceTableTest : public testing::Test {
protected:
    bool HasOnly(char const* description, GUID const& guid) {
        boost::mutex::scoped_lock const guard(lock);
        auto const& devices = table.GetDevices(guard);
        auto const found = devices.find(description);
        return devices.size() == 1 && found != devices.end() && IsEqualGUID(found->second, guid);
    }

    bool IsEmpty() { return table.IsEmpty(boost::mutex::scoped_lock(lock)); }

    boost::mutex lock;
    DirectSound::DeviceTable table{lock};
};

TEST_F(DeviceTableTest, IsEmptyAtFirst) {
    EXPECT_TRUE(IsEmpty());
}

TEST_F(DeviceTableTest, DeviceIsRecordedUnderItsDescriptionWithAllSixteenBytesOfItsGuid) {
    table.Record(&FirstGuid, "Speakers");
    EXPECT_FALSE(IsEmpty());
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTableTest, DeviceWithoutGuidIsRecordedWithZeros) {
    table.Record(nullptr, "Primary");
    EXPECT_TRUE(HasOnly("Primary", ZeroGuid));
}

TEST_F(DeviceTableTest, DeviceWithoutDescriptionIsNotRecorded) {
    table.Record(&FirstGuid, nullptr);
    EXPECT_TRUE(IsEmpty());
}

TEST_F(DeviceTableTest, EmptyDescriptionIsADescription) {
    table.Record(&FirstGuid, "");
    EXPECT_TRUE(HasOnly("", FirstGuid));
}

TEST_F(DeviceTableTest, TwoDevicesOfOneDescriptionLeaveOneEntryWithTheLaterGuid) {
    table.Record(&FirstGuid, "Speakers");
    table.Record(&SecondGuid, "Speakers");
    EXPECT_TRUE(HasOnly("Speakers", SecondGuid));
}

TEST_F(DeviceTableTest, LaterDeviceOfTheSameDescriptionWithoutGuidLeavesTheGuid) {
    table.Record(&FirstGuid, "Speakers");
    table.Record(nullptr, "Speakers");
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTableTest, EnumerationRecordsWhatItIsCalledBackWithToTheEnd) {
    EXPECT_TRUE(table.EnumerateOnce([](LPDSENUMCALLBACKA record, void* context) {
        GUID guid = FirstGuid;
        EXPECT_EQ(record(&guid, "Speakers", "driver.sys", context), TRUE);
        EXPECT_EQ(record(nullptr, "Speakers", nullptr, context), TRUE);
        EXPECT_EQ(record(&guid, nullptr, nullptr, context), TRUE);
        return DS_OK;
    }));
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTableTest, EnumerationThatFailsLeavesNoDeviceKnown) {
    EXPECT_FALSE(table.EnumerateOnce([](LPDSENUMCALLBACKA record, void* context) {
        record(nullptr, "Speakers", nullptr, context);
        return DSERR_GENERIC;
    }));
    EXPECT_TRUE(IsEmpty());
}

TEST_F(DeviceTableTest, DevicesThatAreKnownAreNotEnumeratedAgain) {
    table.Record(&FirstGuid, "Speakers");
    EXPECT_TRUE(table.EnumerateOnce([](LPDSENUMCALLBACKA, void*) {
        ADD_FAILURE();
        return DSERR_GENERIC;
    }));
    EXPECT_TRUE(HasOnly("Speakers", FirstGuid));
}

TEST_F(DeviceTableTest, GivesTheLockBackAfterEveryOperation) {
    bool isFreeMeanwhile = false;
    table.EnumerateOnce([&](LPDSENUMCALLBACKA, void*) {
        isFreeMeanwhile = CanBeLockedElsewhere(lock);
        return DSERR_GENERIC;
    });
    EXPECT_TRUE(isFreeMeanwhile);
    EXPECT_TRUE(CanBeLockedElsewhere(lock));
    table.Record(&FirstGuid, "Speakers");
    EXPECT_TRUE(CanBeLockedElsewhere(lock));
}

TEST_F(DeviceTableTest, RecordsAndForgetsOnSeveralThreadsAtOnce) {
    constexpr int Rounds = 200;
    std::thread recorder([this] {
        for (int i = 0; i < Rounds; ++i) {
            table.Record(&FirstGuid, ("Device " + std::to_string(i % 5)).c_str());
        }
    });
    for (int i = 0; i < Rounds; ++i) {
        IsEmpty();
        table.EnumerateOnce([](LPDSENUMCALLBACKA, void*) { return DSERR_GENERIC; });
    }
    recorder.join();
    EXPECT_FALSE(IsEmpty());
}

} // namespace
} // namespace UnitTest
