#include <gmock/gmock.h>

#include <atomic>
#include <cstring>

#include "helpers.h"
#include "simulation/testworld.h"

// What a capture buffer's ring holds, and who may touch it.

namespace Simulation {
namespace {

using CaptureSettings_SetGenerator = MicrophoneTest;
using CaptureBuffer_Lock = MicrophoneTest;
using CaptureSettings_SetLockFault = MicrophoneTest;
using CaptureBuffer_Unlock = MicrophoneTest;
using CaptureBuffer_Threads = MicrophoneTest;

constexpr std::uint32_t RingSamples = RingBytes / 2;

/// `count` samples of the default generator from `first` on.
std::vector<std::int16_t> PatternFrom(std::uint64_t first, std::size_t count) {
    std::vector<std::int16_t> samples(count);
    for (std::size_t i = 0; i < count; ++i) {
        samples[i] = CaptureSettings::Pattern(first + i);
    }
    return samples;
}

TEST(CaptureSettings_Pattern, IsTheLowHalfOfIndexTimesFactor) {
    EXPECT_EQ(CaptureSettings::Pattern(0), 0);
    EXPECT_EQ(CaptureSettings::Pattern(1), 25'173);
    // 50346 - 65536, 75519 - 65536.
    EXPECT_EQ(CaptureSettings::Pattern(2), -15'190);
    EXPECT_EQ(CaptureSettings::Pattern(3), 9'983);
    EXPECT_EQ(CaptureSettings::Pattern(65'537), 25'173);
}

TEST(CaptureBuffer_Ring, HoldsWhatWasCapturedUpToTheReadCursorAndTheFillBehind) {
    TestWorld world;
    Microphone microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(20);
    EXPECT_EQ(buffer.Samples(0, 960), PatternFrom(0, 960));
    EXPECT_EQ(static_cast<std::uint16_t>(buffer.SampleAt(960)), 0xA5A5);
    EXPECT_EQ(microphone.Read(0, 1'920), PatternFrom(0, 960));
    EXPECT_EQ(buffer.LockCount(), 1U);
}

TEST(CaptureBuffer_Ring, LosesTheOldestWhenItIsNotReadInTime) {
    TestWorld world;
    Microphone const microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
    microphone->Start(DSCBSTART_LOOPING);
    // 17 s are 816,000 samples, 3 laps and 96,000; nobody looked meanwhile.
    world.Clock().AdvanceMilliSec(17'000);
    EXPECT_EQ(buffer.ReadSample(), 96'000U);
    EXPECT_EQ(buffer.Samples(96'000, RingSamples), PatternFrom(816'000 - RingSamples, RingSamples));
}

TEST(CaptureBuffer_Ring, HoldsBothChannelsAlike) {
    TestWorld world;
    Microphone const microphone(RingBytes, MakeFormat(2));
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_THAT(world.OnlyCaptureBuffer().Samples(0, 6),
                testing::ElementsAre(0, 0, 25'173, 25'173, -15'190, -15'190));
    EXPECT_EQ(world.OnlyCaptureBuffer().ReadByte(), 192U);
}

TEST_F(CaptureSettings_SetGenerator, HoldsForWhatIsCapturedFromNowOn) {
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(1);
    world.CaptureDevice().SetGenerator(
        [](std::uint64_t index) { return static_cast<std::int16_t>(1'000 + index); });
    world.Clock().AdvanceMilliSec(1);
    world.CaptureDevice().SetGenerator(nullptr);
    world.Clock().AdvanceMilliSec(1);
    EXPECT_EQ(buffer.SampleAt(47), CaptureSettings::Pattern(47));
    EXPECT_EQ(buffer.SampleAt(48), 1'048);
    EXPECT_EQ(buffer.SampleAt(95), 1'095);
    EXPECT_EQ(buffer.SampleAt(96), CaptureSettings::Pattern(96));
}

TEST_F(CaptureBuffer_Lock, ReadsAcrossTheRingsEnd) {
    microphone->Start(DSCBSTART_LOOPING);
    buffer.CaptureAtOnce(RingSamples + 960);
    EXPECT_EQ(microphone.Read(RingBytes - 1'920, 3'840), PatternFrom(RingSamples - 960, 1'920));
}

TEST_F(CaptureBuffer_Lock, KnowsTheFlagOfTheEntireBufferAlone) {
    microphone->Start(0);
    buffer.CaptureAtOnce(RingSamples);
    EXPECT_EQ(LockOf(microphone, 0, 2, 2).result, DSERR_INVALIDPARAM);
    Locked const all = LockOf(microphone, 0, 2, DSCBLOCK_ENTIREBUFFER);
    EXPECT_EQ(all.bytes1, RingBytes);
    EXPECT_EQ(Unlock(microphone, all), DS_OK);
}

TEST_F(CaptureSettings_SetLockFault, GivesSuccessWithNothing) {
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(20);
    world.CaptureDevice().SetLockFault(CaptureSettings::LockFault_t::NullAddress);
    Locked const null = LockOf(microphone, 0, 1'920);
    EXPECT_EQ(null.result, DS_OK);
    EXPECT_EQ(null.address1, nullptr);
    EXPECT_EQ(null.bytes1, 1'920U);
    world.CaptureDevice().SetLockFault(CaptureSettings::LockFault_t::ZeroBytes);
    Locked const zero = LockOf(microphone, 0, 1'920);
    EXPECT_EQ(zero.result, DS_OK);
    EXPECT_NE(zero.address1, nullptr);
    EXPECT_EQ(zero.bytes1, 0U);
    EXPECT_EQ(buffer.OpenLocks(), 0U);
    world.CaptureDevice().SetLockFault(CaptureSettings::LockFault_t::None);
    EXPECT_EQ(microphone.Read(0, 1'920).size(), 960U);
}

TEST_F(CaptureBuffer_Unlock, BringsInWhatWasCapturedIntoTheLockedRegion) {
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(20);
    Locked const locked = LockOf(microphone, 2, 4);
    // A lap and 10 samples on, the cursor has passed the locked samples 1 and 2.
    buffer.CaptureAtOnce(RingSamples - 950);
    EXPECT_EQ(
        buffer.Samples(0, 4),
        (std::vector<std::int16_t>{CaptureSettings::Pattern(RingSamples), CaptureSettings::Pattern(1),
                                   CaptureSettings::Pattern(2), CaptureSettings::Pattern(RingSamples + 3)}));
    EXPECT_EQ(Unlock(microphone, locked), DS_OK);
    EXPECT_EQ(buffer.Samples(0, 4), PatternFrom(RingSamples, 4));
}

TEST_F(CaptureBuffer_Unlock, BringsInWhatWasCapturedUpToTheMiddleOfTheLockedRegion) {
    microphone->Start(DSCBSTART_LOOPING);
    world.Clock().AdvanceMilliSec(20);
    // Samples 8 to 11; the cursor comes to stand at 10, a lap on.
    Locked const locked = LockOf(microphone, 16, 8);
    buffer.CaptureAtOnce(RingSamples - 950);
    EXPECT_EQ(buffer.Samples(8, 4), PatternFrom(8, 4));
    EXPECT_EQ(Unlock(microphone, locked), DS_OK);
    EXPECT_EQ(buffer.Samples(8, 2), PatternFrom(RingSamples + 8, 2));
    EXPECT_EQ(buffer.Samples(10, 2), PatternFrom(10, 2));
}

/// Each test provokes one misuse and sees it reported. 20 ms are captured.
class CaptureBuffer_Misuse : public MicrophoneTest {
protected:
    CaptureBuffer_Misuse() {
        microphone->Start(DSCBSTART_LOOPING);
        world.Clock().AdvanceMilliSec(20);
        world.AllowMisuse();
    }
    void ExpectMisuse(char const* part) {
        EXPECT_THAT(world.TakeMisuse(), testing::ElementsAre(testing::HasSubstr(part)));
    }
    void ExpectLocks(DWORD offset, DWORD bytes) {
        Unlock(microphone, LockOf(microphone, offset, bytes));
        EXPECT_THAT(world.TakeMisuse(), testing::ElementsAre()) << offset << " " << bytes;
    }
    void ExpectAhead(DWORD offset, DWORD bytes) {
        Unlock(microphone, LockOf(microphone, offset, bytes));
        ExpectMisuse("capture buffer 1: a lock of what is not captured yet");
    }
};

TEST_F(CaptureBuffer_Misuse, LockAheadOfTheCursorBeforeTheFirstLap) {
    ExpectLocks(0, 1'920);
    ExpectLocks(1'918, 2);
    ExpectAhead(0, 1'921);
    ExpectAhead(1'920, 1);
    ExpectAhead(4'000, 2);
    // Stopped or not, it was never captured.
    microphone->Stop();
    ExpectAhead(0, 1'921);
}

TEST_F(CaptureBuffer_Misuse, LockAcrossTheCursorInLaterLaps) {
    world.OnlyCaptureBuffer().CaptureAtOnce(RingSamples);
    ExpectLocks(0, 1'920);
    ExpectLocks(1'922, RingBytes - 2);
    ExpectAhead(1'920, 2);
    ExpectAhead(0, 1'921);
    ExpectAhead(RingBytes - 2, 1'923);
    // Nothing moves in a stopped buffer.
    microphone->Stop();
    ExpectLocks(0, RingBytes);
}

TEST_F(CaptureBuffer_Misuse, WriteIntoTheLockedRegion) {
    for (DWORD const offset : {DWORD{100}, DWORD{109}}) {
        Locked const locked = LockOf(microphone, 100, 10);
        static_cast<char*>(locked.address1)[offset - 100] ^= 1;
        EXPECT_EQ(Unlock(microphone, locked), DSERR_INVALIDPARAM);
        ExpectMisuse(offset == 100 ? "byte 100 was written, where a lock only reads"
                                   : "byte 109 was written, where a lock only reads");
    }
    EXPECT_EQ(world.OnlyCaptureBuffer().OpenLocks(), 0U);
    ExpectLocks(100, 10);
}

TEST_F(CaptureBuffer_Misuse, WriteIntoTheSecondRegionWithTheRingCheckOff) {
    world.CaptureDevice().SetRingCheck(false);
    world.OnlyCaptureBuffer().CaptureAtOnce(RingSamples);
    Locked const locked = LockOf(microphone, RingBytes - 10, 20);
    static_cast<char*>(locked.address2)[3] ^= 1;
    EXPECT_EQ(Unlock(microphone, locked), DSERR_INVALIDPARAM);
    ExpectMisuse("byte 3 was written, where a lock only reads");
}

TEST_F(CaptureBuffer_Threads, AReaderAndATestThatLooksOnNeverDisturbEachOther) {
    microphone->Start(DSCBSTART_LOOPING);
    // As a polling reader does: every block of 20 ms, asleep in between.
    constexpr int Blocks = 600;
    std::vector<std::int16_t> heard;
    boost::thread reader([&] {
        for (int i = 0; i < Blocks; ++i) {
            Sleep(20);
            DWORD const end = microphone.ReadCursor();
            std::vector<std::int16_t> const block =
                microphone.Read((end + RingBytes - 1'920) % RingBytes, 1'920);
            heard.insert(heard.end(), block.begin(), block.end());
        }
    });
    world.WaitForBlockedThreads(1);
    std::atomic<bool> isDone{false};
    boost::thread onlooker([&] {
        while (!isDone) {
            buffer.Samples(0, RingSamples);
            world.CaptureDevice().SetLockSplit(0);
        }
    });
    world.Clock().AdvanceMilliSec(20 * Blocks);
    isDone = true;
    onlooker.join();
    reader.join();
    EXPECT_EQ(heard, PatternFrom(0, 960 * Blocks));
}

} // namespace
} // namespace Simulation
