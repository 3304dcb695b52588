#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_WriteBadFrame : public PlaybackBufferTest {
protected:
    PlaybackBuffer_WriteBadFrame() { Create(); }

    static std::shared_ptr<FrameAudRaw> FrameWithout() {
        boost::intrusive_ptr<ParamsAudRaw> const params(new ParamsAudRaw);
        params->SetParamsAud(48000, 1, 16);
        return std::make_shared<FrameAudRaw>(
            FrameIdent(Kovra::SysTime(Origin + 480 * SampleNanoSec), 0, "Test"), params);
    }

    /// A frame of `bytes` bytes that count up from 1, the first at position `position`.
    static std::shared_ptr<FrameAudRaw> FrameOfBytes(std::uint32_t position, std::uint32_t bytes) {
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

    /// The latest frame ends at `position`: one that begins there follows without a gap.
    void ExpectEnd(std::uint32_t position) {
        TakeLog();
        EXPECT_TRUE(Write(position * SampleNanoSec, 2, 9));
        EXPECT_THAT(TakeLog(), IsEmpty());
        EXPECT_EQ(Sound().Samples(position, 2), Repeat(2, 9));
    }

    /// The frame was placed at 480, behind a first frame that ends there, which only the fields show: nothing
    /// was written.
    void ExpectPlacedButEmpty() {
        EXPECT_EQ(GetFields().writePos, 480U);
        EXPECT_EQ(GetFields().writeEnd, 480U);
        EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
        EXPECT_EQ(Sound().OpenLocks(), 0U);
    }
};

TEST_F(PlaybackBuffer_WriteBadFrame, NoFrameIsRefusedAndChangesNothing) {
    EXPECT_FALSE(buffer->WriteFrame(nullptr));
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
    ExpectEnd(0);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOf1921BytesEndsInTheMiddleOfASample) {
    EXPECT_TRUE(buffer->WriteFrame(FrameOfBytes(0, 1921)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 1921)", "Unlock(1921, 0)"));
    // Byte 1920 holds 1921, modulo 256 129.
    EXPECT_EQ(Sound().SampleAt(960), 0x0081);
    EXPECT_TRUE(Sound().IsSilent(961, RingSamples - 961));
    ExpectEnd(960);
}

TEST_F(PlaybackBuffer_WriteBadFrame, OddFrameAcrossTheEndOfTheRingLeavesOneByteInTheSecondRegion) {
    // 239998 * 2 = 479996: four bytes before the end, one behind.
    GetFields().writeEnd = 239998;
    EXPECT_TRUE(buffer->WriteFrame(FrameOfBytes(239998, 5)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 5)", "Unlock(4, 1)"));
    EXPECT_EQ(Sound().Samples(239998, 3), (std::vector<std::int16_t>{0x0201, 0x0403, 0x0005}));
    EXPECT_TRUE(Sound().IsSilent(1, 239997));
    ExpectEnd(0);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameOfTheRingsLengthFillsIt) {
    EXPECT_TRUE(Write(0, RingSamples, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 480000)", "Unlock(480000, 0)"));
    EXPECT_EQ(Sound().Samples(0, RingSamples), Repeat(RingSamples, 7));
    ExpectEnd(0);
}

TEST_F(PlaybackBuffer_WriteBadFrame, FrameLongerThanTheRingIsRefusedByDirectSound) {
    EXPECT_FALSE(Write(0, RingSamples + 1, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 480002) = 0x80070057"));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

// --- locks that fail

TEST_F(PlaybackBuffer_WriteBadFrame, RefusedLockDropsTheFrameButMovesTheEnd) {
    world.Faults().Fail(Call_t::BufferLock, 1, DSERR_GENERIC);
    EXPECT_FALSE(Write(0, 480, 7));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960) = 0x80004005"));
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
    EXPECT_THAT(TakeLog(), IsEmpty());
    ExpectEnd(480);
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
    world.Faults().Clear();
    ExpectEnd(480);
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

class PlaybackBuffer_WriteStereoFrame : public PlaybackBufferTest {
protected:
    PlaybackBuffer_WriteStereoFrame() { Create(2); }

    static std::shared_ptr<FrameAudRaw> StereoFrame(std::int64_t offsetNanoSec, std::size_t count) {
        return RawFrame(Origin + offsetNanoSec, std::vector<std::int16_t>(count * 2, 7), 48000, 2);
    }
};

TEST_F(PlaybackBuffer_WriteStereoFrame, IsCountedAtTwoBytesAPosition) {
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(0, 480)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 1920)", "Unlock(1920, 0)"));
    // 1920 bytes are 960 positions, where 10 ms of timestamp are 480: the next frame overwrites the half.
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(10'000'000, 480)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(960, 1920)", "Unlock(1920, 0)"));
}

TEST_F(PlaybackBuffer_WriteStereoFrame, PositionsStartAnewAfter480000BytesAlthoughTheBufferIsLonger) {
    GetFields().writeEnd = 239998;
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(4'999'878'334, 2)));
    // The buffer does not end there: the lock runs on behind the part that positions address.
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 8)", "Unlock(8, 0)"));
    // 5 s behind the origin, 2 samples before that end: an overlap.
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(RingNanoSec, 2)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 8)", "Unlock(8, 0)"));
}

TEST_F(PlaybackBuffer_WriteStereoFrame, FrameOfMoreThanTheBufferIsRefused) {
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(0, 240000)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960000)", "Unlock(960000, 0)"));
    EXPECT_FALSE(buffer->WriteFrame(StereoFrame(0, 240001)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 960004) = 0x80070057"));
    // 480002 mod 240000 = 2: the frame at 2 follows without a gap.
    TakeLog();
    EXPECT_TRUE(buffer->WriteFrame(StereoFrame(2 * SampleNanoSec, 2)));
    EXPECT_THAT(TakeLog(), IsEmpty());
}

} // namespace
} // namespace UnitTest
