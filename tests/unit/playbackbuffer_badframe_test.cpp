#include "support/playbackbuffertest.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using UnitTest::ConstantFrame;
using UnitTest::RawFrame;

class PlaybackBuffer_WriteBadFrame : public UnitTest::PlaybackBufferTest {
protected:
    PlaybackBuffer_WriteBadFrame() {
        Create();
        GetFields().lastSample = 0x1234;
    }

    static std::shared_ptr<Media::FrameAudRaw> FrameWithout() {
        boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
        params->SetParamsAud(48000, 1, 16);
        return std::make_shared<Media::FrameAudRaw>(
            Media::FrameIdent(Kovra::SysTime(Origin + 480 * SampleNanoSec), 0, "Test"), params);
    }

    /// A frame of `bytes` bytes that count up from 1, the first at position `position`.
    static std::shared_ptr<Media::FrameAudRaw> FrameOfBytes(std::uint32_t position, std::uint32_t bytes) {
        auto frame = ConstantFrame(Origin + position * SampleNanoSec, 0, 0);
        auto block = Kovra::Buffer::Create(bytes, 16);
        for (std::uint32_t i = 0; i < bytes; ++i) {
            block->GetData()[i] = static_cast<std::uint8_t>(i + 1);
        }
        Kovra::BufferInfoListScoped list;
        list.Append(Kovra::BufferInfo(std::move(block), 0, bytes));
        frame->AttachBuffers(std::move(list));
        return frame;
    }

    /// The frame was placed at 480, behind a first frame that ends there, but nothing was written.
    void ExpectPlacedButEmpty() {
        EXPECT_EQ(GetFields().writePos, 480U);
        EXPECT_EQ(GetFields().writeEnd, 480U);
        EXPECT_EQ(GetFields().notifyPosition->dwOffset, 960U);
        EXPECT_EQ(GetFields().lastSample, 0x1234U);
        EXPECT_EQ(GetFields().active, 1U);
        EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
        EXPECT_EQ(Sound().OpenLocks(), 0U);
    }
};
class PlaybackBuffer_CopyToRing : public PlaybackBuffer_WriteBadFrame {
protected:
    bool Copy(std::uint32_t startPos, std::uint32_t byteCount, std::uint8_t const* data) {
        return Peer::CopyToRing(*buffer, startPos, data, byteCount, Media::MediaCoding_t::RawPcm);
    }
};

TEST_F(PlaybackBuffer_WriteBadFrame, NoFrameIsRefusedAndChangesNothing) {
    EXPECT_FALSE(buffer->WriteFrame(nullptr));
    EXPECT_EQ(GetFields().active, 0U);
    EXPECT_EQ(GetFields().baseTimestamp, Origin);
    EXPECT_THAT(TakeCalls(CallSet::All()), IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameWithoutBuffersIsPlacedAndRefused) {
    GetFields().writeEnd = 480;
    EXPECT_FALSE(buffer->WriteFrame(FrameWithout()));
    ExpectPlacedButEmpty();
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameWhoseBufferHasNoBlockIsPlacedAndRefused) {
    GetFields().writeEnd = 480;
    auto const frame = FrameWithout();
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo());
    frame->AttachBuffers(std::move(list));
    EXPECT_FALSE(buffer->WriteFrame(frame));
    ExpectPlacedButEmpty();
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOfNoBytesIsPlacedAndRefused) {
    GetFields().writeEnd = 480;
    EXPECT_FALSE(buffer->WriteFrame(FrameOfBytes(480, 0)));
    ExpectPlacedButEmpty();
    EXPECT_THAT(TakeCalls(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOfOneByteWritesItAndNoSample) {
    EXPECT_TRUE(buffer->WriteFrame(FrameOfBytes(0, 1)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 1)", "Unlock(1, 0)"));
    EXPECT_EQ(Sound().SampleAt(0), 0x0001);
    EXPECT_TRUE(Sound().IsSilent(1, RingSamples - 1));
    // 1 / 2 = 0 positions.
    EXPECT_EQ(GetFields().writeEnd, 0U);
    EXPECT_EQ(GetFields().lastSample, 0x1234U);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOfTwoBytesHoldsASample) {
    EXPECT_TRUE(buffer->WriteFrame(FrameOfBytes(0, 2)));
    EXPECT_EQ(Sound().SampleAt(0), 0x0201);
    EXPECT_EQ(GetFields().writeEnd, 1U);
    EXPECT_EQ(GetFields().lastSample, 0x0201U);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOf1921BytesEndsInTheMiddleOfASample) {
    EXPECT_TRUE(buffer->WriteFrame(FrameOfBytes(0, 1921)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 1921)", "Unlock(1921, 0)"));
    // Bytes 1919 and 1920 hold 1920 and 1921, modulo 256 128 and 129.
    EXPECT_EQ(GetFields().lastSample, 0x8180U);
    EXPECT_EQ(Sound().SampleAt(960), 0x0081);
    EXPECT_TRUE(Sound().IsSilent(961, RingSamples - 961));
    EXPECT_EQ(GetFields().writeEnd, 960U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 1920U);
}

TEST_F(PlaybackBuffer_WriteBadFrame, OddFrameAcrossTheEndOfTheRingLeavesOneByteInTheSecondRegion) {
    // 239998 * 2 = 479996: four bytes before the end, one behind.
    GetFields().writeEnd = 239998;
    EXPECT_TRUE(buffer->WriteFrame(FrameOfBytes(239998, 5)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 5)", "Unlock(4, 1)"));
    EXPECT_EQ(Sound().Samples(239998, 3), (std::vector<std::int16_t>{0x0201, 0x0403, 0x0005}));
    EXPECT_TRUE(Sound().IsSilent(1, 239997));
    EXPECT_EQ(GetFields().writeEnd, 0U);
    // One byte holds no sample.
    EXPECT_EQ(GetFields().lastSample, 0x1234U);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOfTheRingsLengthFillsIt) {
    EXPECT_TRUE(Write(0, RingSamples, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 480000)", "Unlock(480000, 0)"));
    EXPECT_EQ(Sound().Samples(0, RingSamples), Repeat(RingSamples, 7));
    EXPECT_EQ(GetFields().writeEnd, 0U);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameLongerThanTheRingIsRefusedByDirectSound) {
    EXPECT_FALSE(Write(0, RingSamples + 1, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 480002) = 0x80070057"));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_EQ(GetFields().writeEnd, 1U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 2U);
    EXPECT_EQ(GetFields().lastSample, 0x1234U);
}

// --- locks that fail

TEST_F(PlaybackBuffer_WriteBadFrame, RefusedLockDropsTheFrameButMovesTheEnd) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_FALSE(Write(0, 480, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960) = 0x80004005"));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_EQ(GetFields().writeEnd, 480U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 960U);
    EXPECT_EQ(GetFields().lastSample, 0x1234U);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_WriteBadFrame, LostBufferIsRestoredAndWritten) {
    Sound().Lose();
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(0, 960) = 0x88780096", "Restore()", "Lock(0, 960)", "Unlock(960, 0)"));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
}

TEST_F(PlaybackBuffer_WriteBadFrame, BufferLostAgainDropsTheFrameButMovesTheEnd) {
    world.Faults().FailAlways(Call_t::BufferLock, DSERR_BUFFERLOST);
    EXPECT_FALSE(Write(0, 480, 7));
    EXPECT_THAT(TakeCalls(),
                ElementsAre("Lock(0, 960) = 0x88780096", "Restore()", "Lock(0, 960) = 0x88780096"));
    EXPECT_EQ(GetFields().writeEnd, 480U);
    EXPECT_EQ(GetFields().lastSample, 0x1234U);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FailedUnlockIsIgnored) {
    void* first = nullptr;
    DWORD bytes = 0;
    auto* const sound = GetFields().soundBuffer.get();
    ASSERT_EQ(sound->Lock(0, 960, &first, &bytes, nullptr, nullptr, 0), DS_OK);
    ASSERT_EQ(sound->Unlock(first, bytes, nullptr, 0), DS_OK);
    world.Faults().Fail(Call_t::BufferUnlock, 1, DSERR_GENERIC);
    TakeCalls();
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960)", "Unlock(960, 0) = 0x80004005"));
    EXPECT_EQ(GetFields().writeEnd, 480U);
    // The fault has left the region locked.
    EXPECT_EQ(sound->Unlock(first, bytes, nullptr, 0), DS_OK);
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
}

TEST_F(PlaybackBuffer_WriteBadFrame, WithoutTheNotifyInterfaceTheNotificationStaysWhereItIs) {
    GetFields().notify.reset();
    GetFields().notifyPosition->dwOffset = 4242;
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_EQ(GetFields().writeEnd, 480U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 4242U);
}

// --- without a sound buffer, and with one of several channels

TEST_F(PlaybackBuffer_WriteBadFrame, OnAClosedDeviceTheBufferThatIsThereGoesOn) {
    device.Close();
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_EQ(Sound().Samples(0, 480), Repeat(480, 7));
}

TEST_F(PlaybackBuffer_WriteBadFrame, FramesOfNoChannelsWriteIntoTheBufferThatIsThere) {
    EXPECT_TRUE(buffer->WriteFrame(RawFrame(Origin, {11, 12}, 48000, 0)));
    EXPECT_EQ(Sound().Samples(0, 3), (std::vector<std::int16_t>{11, 12, 0}));
}

TEST_F(PlaybackBuffer_CopyToRing, WithoutDataNothingIsLocked) {
    EXPECT_FALSE(Copy(0, 960, nullptr));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_EQ(GetFields().lastSample, 0x1234U);
}

TEST_F(PlaybackBuffer_CopyToRing, LocksTwoBytesAPosition) {
    std::uint8_t const data[4] = {1, 2, 3, 4};
    EXPECT_TRUE(Copy(1001, 4, data));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(2002, 4)", "Unlock(4, 0)"));
    EXPECT_EQ(Sound().Samples(1000, 4), (std::vector<std::int16_t>{0, 0x0201, 0x0403, 0}));
}

class PlaybackBuffer_WriteStereoFrame : public UnitTest::PlaybackBufferTest {
protected:
    PlaybackBuffer_WriteStereoFrame() { Create(2); }

    static std::shared_ptr<Media::FrameAudRaw> StereoFrame(std::int64_t offsetNanoSec, std::size_t count) {
        return RawFrame(Origin + offsetNanoSec, std::vector<std::int16_t>(count * 2, 7), 48000, 2);
    }
};

TEST_F(PlaybackBuffer_WriteStereoFrame, IsCountedAtTwoBytesAPosition) {
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(0, 480)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 1920)", "Unlock(1920, 0)"));
    // 1920 bytes are 960 positions, where 10 ms of timestamp are 480: the next frame overwrites the half.
    EXPECT_EQ(GetFields().writeEnd, 960U);
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(10'000'000, 480)));
    EXPECT_EQ(GetFields().writePos, 480U);
    EXPECT_EQ(GetFields().writeEnd, 1440U);
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(960, 1920)", "Unlock(1920, 0)"));
}

TEST_F(PlaybackBuffer_WriteStereoFrame, PositionsStartAnewAfter480000BytesAlthoughTheBufferIsLonger) {
    GetFields().writeEnd = 239998;
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(4'999'878'334, 2)));
    // The buffer does not end there: the lock runs on behind the part that positions address.
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 8)", "Unlock(8, 0)"));
    EXPECT_EQ(GetFields().writeEnd, 2U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 4U);
    // 5 s behind the origin, 2 samples before that end: an overlap.
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(FiveSecNanoSec, 2)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 8)", "Unlock(8, 0)"));
}

TEST_F(PlaybackBuffer_WriteStereoFrame, FrameOfMoreThanTheBufferIsRefused) {
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(0, 240000)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960000)", "Unlock(960000, 0)"));
    EXPECT_EQ(GetFields().writeEnd, 0U);
    EXPECT_FALSE(buffer->WriteFrame(StereoFrame(0, 240001)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960004) = 0x80070057"));
    // 480002 mod 240000.
    EXPECT_EQ(GetFields().writeEnd, 2U);
}

} // namespace
