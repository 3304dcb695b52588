#include "support/playbackbuffertest.h"

namespace {

using Media::MediaCoding_t;
using testing::ElementsAre;
using testing::IsEmpty;
using UnitTest::CodedFrame;
using UnitTest::ConstantFrame;
using UnitTest::Frames;
using UnitTest::RawFrame;
using UnitTest::TranscodeRequest;

class PlaybackBuffer_DecodeFrame : public UnitTest::PlaybackBufferTest {
protected:
    bool Decode(std::shared_ptr<Media::FrameAud> const& frame) { return Peer::DecodeFrame(*buffer, frame); }

    /// Every decode gives these frames.
    void LetCodecGive(Frames frames) {
        codec.decode = [frames](Frames const&) { return frames; };
    }
};

class PlaybackBuffer_WriteCodedFrame : public PlaybackBuffer_DecodeFrame,
                                       public testing::WithParamInterface<MediaCoding_t> {
protected:
    PlaybackBuffer_WriteCodedFrame() { Create(); }
};

class PlaybackBuffer_WriteUnheardFrame : public PlaybackBuffer_WriteCodedFrame {};
class PlaybackBuffer_WriteUndecodableFrame : public PlaybackBuffer_WriteCodedFrame {};

auto const CodingName = [](auto const& info) {
    return "Coding0x" + std::string(1, "0123456789ABCDEF"[static_cast<unsigned>(info.param) >> 8U]) + "0" +
           std::string(1, "0123456789ABCDEF"[static_cast<unsigned>(info.param) & 15U]);
};

// --- decoding

TEST_F(PlaybackBuffer_DecodeFrame, HandsTheCodecTheOneFrame) {
    auto const coded = CodedFrame(MediaCoding_t::Aac, Origin);
    LetCodecGive({ConstantFrame(Origin, 480, 7)});
    EXPECT_TRUE(Decode(coded));
    ASSERT_EQ(codec.decodeCalls.size(), 1U);
    EXPECT_THAT(codec.decodeCalls[0], ElementsAre(coded));
}

TEST_F(PlaybackBuffer_DecodeFrame, FrameAt48KilohertzIsKeptAsItIs) {
    auto const pcm = ConstantFrame(Origin, 480, 7);
    LetCodecGive({pcm});
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, pcm);
    EXPECT_THAT(codec.transcodeCalls, IsEmpty());
}

TEST_F(PlaybackBuffer_DecodeFrame, StereoFrameAt48KilohertzIsKeptAsItIs) {
    auto const pcm = RawFrame(Origin, {1, 2, 3, 4}, 48000, 2);
    LetCodecGive({pcm});
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, pcm);
    EXPECT_THAT(codec.transcodeCalls, IsEmpty());
}

TEST_F(PlaybackBuffer_DecodeFrame, FrameAt44100HertzIsTranscodedToMonoPcmAt48Kilohertz) {
    // 441 frames of two channels at 44100 Hz sound for 10 ms.
    auto const decoded = RawFrame(Origin, std::vector<std::int16_t>(882, 7), 44100, 2);
    auto const transcoded = ConstantFrame(Origin, 480, 8);
    LetCodecGive({decoded});
    Frames asked;
    codec.transcode = [&](Frames const& frames, TranscodeRequest const&) {
        asked = frames;
        return Frames{transcoded};
    };
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, transcoded);
    EXPECT_THAT(asked, ElementsAre(decoded));
    ASSERT_EQ(codec.transcodeCalls.size(), 1U);
    TranscodeRequest const& request = codec.transcodeCalls[0];
    EXPECT_EQ(request.coding, MediaCoding_t::RawPcm);
    EXPECT_EQ(request.channels, 1U);
    EXPECT_EQ(request.frequency, 48000U);
    EXPECT_EQ(request.durationNanoSec, 10'000'000);
    EXPECT_FALSE(request.flush);
}

TEST_F(PlaybackBuffer_DecodeFrame, RatesBesideFortyEightKilohertzAreTranscoded) {
    codec.transcode = [](Frames const& frames, TranscodeRequest const&) { return frames; };
    LetCodecGive({ConstantFrame(Origin, 1, 7), RawFrame(Origin, {7}, 47999)});
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(codec.transcodeCalls.size(), 0U);
    LetCodecGive({RawFrame(Origin, {7}, 47999)});
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(codec.transcodeCalls.size(), 1U);
    LetCodecGive({RawFrame(Origin, {7}, 48001)});
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(codec.transcodeCalls.size(), 2U);
}

TEST_F(PlaybackBuffer_DecodeFrame, TheFirstOfSeveralFramesDecidesOnTranscodingAndGivesTheDuration) {
    // 80 samples at 8000 Hz sound for 10 ms, 480 at 48000 Hz too, 160 at 8000 Hz for 20 ms.
    auto const first = RawFrame(Origin, std::vector<std::int16_t>(160, 1), 8000);
    auto const last = ConstantFrame(Origin, 480, 2);
    LetCodecGive({first, last});
    Frames asked;
    auto const transcoded = ConstantFrame(Origin, 480, 3);
    codec.transcode = [&](Frames const& frames, TranscodeRequest const&) {
        asked = frames;
        return Frames{transcoded};
    };
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_THAT(asked, ElementsAre(first, last));
    ASSERT_EQ(codec.transcodeCalls.size(), 1U);
    EXPECT_EQ(codec.transcodeCalls[0].durationNanoSec, 20'000'000);
    EXPECT_EQ(GetFields().decodedFrame, transcoded);
}

TEST_F(PlaybackBuffer_DecodeFrame, KeepsTheLastOfSeveralFrames) {
    auto const first = ConstantFrame(Origin, 480, 1);
    auto const second = ConstantFrame(Origin, 480, 2);
    auto const third = ConstantFrame(Origin, 480, 3);
    LetCodecGive({first, second, third});
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, third);
    codec.decode = nullptr;
    EXPECT_EQ(first.use_count(), 1);
}

TEST_F(PlaybackBuffer_DecodeFrame, KeepsTheLastOfSeveralTranscodedFrames) {
    LetCodecGive({RawFrame(Origin, {7}, 44100)});
    auto const last = ConstantFrame(Origin, 480, 3);
    codec.transcode = [&](Frames const&, TranscodeRequest const&) {
        return Frames{ConstantFrame(Origin, 480, 2), last};
    };
    EXPECT_TRUE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, last);
}

TEST_F(PlaybackBuffer_DecodeFrame, FailsAndDropsTheFrameBeforeWhenNothingIsDecoded) {
    GetFields().decodedFrame = ConstantFrame(Origin, 480, 1);
    LetCodecGive({});
    EXPECT_FALSE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, nullptr);
    EXPECT_THAT(codec.transcodeCalls, IsEmpty());
    EXPECT_THAT(TakeLog(), IsEmpty());
}

TEST_F(PlaybackBuffer_DecodeFrame, FailsWhenNothingIsTranscoded) {
    GetFields().decodedFrame = ConstantFrame(Origin, 480, 1);
    LetCodecGive({RawFrame(Origin, {7}, 44100)});
    EXPECT_FALSE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(codec.transcodeCalls.size(), 1U);
    EXPECT_EQ(GetFields().decodedFrame, nullptr);
}

TEST_F(PlaybackBuffer_DecodeFrame, FailsWhenTheLastFrameIsNone) {
    LetCodecGive({ConstantFrame(Origin, 480, 1), nullptr});
    EXPECT_FALSE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, nullptr);
}

TEST_F(PlaybackBuffer_DecodeFrame, FailsWhenTheOnlyFrameIsNone) {
    LetCodecGive({nullptr});
    EXPECT_FALSE(Decode(CodedFrame(MediaCoding_t::Aac, Origin)));
    EXPECT_EQ(GetFields().decodedFrame, nullptr);
}

TEST_F(PlaybackBuffer_DecodeFrame, LetsTheCodedFrameGo) {
    auto const coded = CodedFrame(MediaCoding_t::Aac, Origin);
    LetCodecGive({ConstantFrame(Origin, 480, 7)});
    EXPECT_TRUE(Decode(coded));
    codec.decodeCalls.clear();
    EXPECT_EQ(coded.use_count(), 1);
}

// --- writing what was decoded

TEST_P(PlaybackBuffer_WriteCodedFrame, WritesTheDecodedSamples) {
    LetCodecGive({RawFrame(Origin, {11, 12, 13})});
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_EQ(Sound().Samples(0, 4), (std::vector<std::int16_t>{11, 12, 13, 0}));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 6)", "Unlock(6, 0)"));
    EXPECT_EQ(GetFields().writeEnd, 3U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 6U);
    EXPECT_EQ(GetFields().lastSample, 13U);
}

TEST_P(PlaybackBuffer_WriteCodedFrame, SplitsTheDecodedSamplesAtTheEndOfTheRing) {
    GetFields().writeEnd = 239998;
    LetCodecGive({RawFrame(Origin, {11, 12, 13, 14, 15})});
    // Position 0 lies two samples behind the end of the last frame: the frame is moved back to 239998.
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 10)", "Unlock(4, 6)"));
    EXPECT_EQ(Sound().Samples(239997, 7), (std::vector<std::int16_t>{0, 11, 12, 13, 14, 15, 0}));
    EXPECT_EQ(GetFields().writeEnd, 3U);
    EXPECT_EQ(GetFields().lastSample, 15U);
}

TEST_P(PlaybackBuffer_WriteCodedFrame, DropsAFrameDecodedToOneWithoutData) {
    LetCodecGive({std::make_shared<Media::FrameAudRaw>(Media::FrameIdent(), new Media::ParamsAudRaw)});
    codec.transcode = [](Frames const& frames, TranscodeRequest const&) { return frames; };
    EXPECT_FALSE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

INSTANTIATE_TEST_SUITE_P(Heard, PlaybackBuffer_WriteCodedFrame,
                         testing::Values(MediaCoding_t::G711, MediaCoding_t::Aac), CodingName);

TEST_P(PlaybackBuffer_WriteUnheardFrame, IsDecodedAndCopiedNowhereYetCountsAsWritten) {
    Soil(0, 8);
    LetCodecGive({RawFrame(Origin, {11, 12, 13})});
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_EQ(codec.decodeCalls.size(), 1U);
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 6)", "Unlock(6, 0)"));
    EXPECT_TRUE(IsSoiled(0, 8));
    EXPECT_EQ(GetFields().writeEnd, 3U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 6U);
    // The last sample is what stands in the ring.
    EXPECT_EQ(GetFields().lastSample, 0x5A5AU);
}

TEST_P(PlaybackBuffer_WriteUnheardFrame, IsCopiedNowhereAcrossTheEndOfTheRingEither) {
    Soil(239990, 20);
    GetFields().writeEnd = 239998;
    LetCodecGive({RawFrame(Origin, {11, 12, 13})});
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 6)", "Unlock(4, 2)"));
    EXPECT_TRUE(IsSoiled(239990, 20));
    EXPECT_EQ(GetFields().writeEnd, 1U);
}

INSTANTIATE_TEST_SUITE_P(Unheard, PlaybackBuffer_WriteUnheardFrame,
                         testing::Values(MediaCoding_t::G726, MediaCoding_t::MpegAudio, MediaCoding_t::Opus),
                         CodingName);

TEST_P(PlaybackBuffer_WriteUndecodableFrame, IsDroppedOnlyAfterItWasPlaced) {
    EXPECT_TRUE(Write(0, 480, 7));
    TakeCalls();
    // 10 ms and 15 samples behind the end: 480 + 15, rounded up to even, is a loss of 16 samples.
    EXPECT_FALSE(buffer->WriteFrame(CodedFrame(GetParam(), Origin + 495 * SampleNanoSec)));
    EXPECT_EQ(codec.decodeCalls.size(), 1U);
    EXPECT_EQ(GetFields().writePos, 496U);
    EXPECT_EQ(GetFields().writeEnd, 480U);
    EXPECT_EQ(GetFields().notifyPosition->dwOffset, 960U);
    EXPECT_EQ(GetFields().active, 1U);
    EXPECT_EQ(GetFields().lastSample, 7U);
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_THAT(TakeLog(), ElementsAre(UnitTest::Info("AudioBuffer packet loss, zero'ing 16 samples")));
}

TEST_P(PlaybackBuffer_WriteUndecodableFrame, BeforeTheOriginHasClearedTheRingAndMovedTheOrigin) {
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_FALSE(buffer->WriteFrame(CodedFrame(GetParam(), Origin - 1)));
    EXPECT_EQ(GetFields().baseTimestamp, Origin - 1);
    EXPECT_EQ(GetFields().writePos, 0U);
    EXPECT_EQ(GetFields().writeEnd, 480U);
    EXPECT_TRUE(Sound().IsSilent(0, RingSamples));
}

INSTANTIATE_TEST_SUITE_P(Codings, PlaybackBuffer_WriteUndecodableFrame,
                         testing::Values(MediaCoding_t::G711, MediaCoding_t::G726, MediaCoding_t::Aac),
                         CodingName);

TEST_F(PlaybackBuffer_DecodeFrame, IsNotAskedForRawPcm) {
    Create();
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_THAT(codec.decodeCalls, IsEmpty());
}

} // namespace
