#include "support/module/playbackbuffertest.h"

namespace UnitTest {
namespace {

class PlaybackBuffer_DecodeFrame : public PlaybackBufferTest {
protected:
    PlaybackBuffer_DecodeFrame() { Create(); }

    bool Decode(std::shared_ptr<FrameAud> const& frame = CodedFrame(MediaCoding_t::Aac, Origin)) {
        return buffer->WriteFrame(frame);
    }

    /// The ring holds `count` samples of `value` and nothing else.
    void ExpectWritten(std::uint32_t count, std::int16_t value) {
        EXPECT_EQ(Sound().Samples(0, count), Repeat(count, value));
        EXPECT_TRUE(Sound().IsSilent(count, RingSamples - count));
    }

    /// Every decode gives these frames.
    void LetCodecGive(Frames frames) {
        codec.decode = [frames](Frames const&) { return frames; };
    }
};

class PlaybackBuffer_WriteCodedFrame : public PlaybackBuffer_DecodeFrame,
                                       public testing::WithParamInterface<MediaCoding_t> {};

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

TEST_F(PlaybackBuffer_DecodeFrame, StereoFrameAt48KilohertzIsKeptAsItIs) {
    auto const pcm = RawFrame(Origin, {1, 2, 3, 4}, 48000, 2);
    LetCodecGive({pcm});
    EXPECT_TRUE(Decode());
    EXPECT_EQ(Sound().Samples(0, 5), (std::vector<std::int16_t>{1, 2, 3, 4, 0}));
    EXPECT_THAT(codec.transcodeCalls, IsEmpty());
}

TEST_F(PlaybackBuffer_DecodeFrame, FrameAt44100HertzIsTranscodedToMonoPcmAt48Kilohertz) {
    // 441 frames of two channels at 44100 Hz sound for 10 ms.
    auto const decoded = RawFrame(Origin, std::vector<std::int16_t>(882, 7), 44100, 2);
    LetCodecGive({decoded});
    Frames asked;
    codec.transcode = [&](Frames const& frames, TranscodeRequest const&) {
        asked = frames;
        return Frames{ConstantFrame(Origin, 480, 8)};
    };
    EXPECT_TRUE(Decode());
    ExpectWritten(480, 8);
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
    EXPECT_TRUE(Decode());
    EXPECT_EQ(codec.transcodeCalls.size(), 0U);
    LetCodecGive({RawFrame(Origin, {7}, 47999)});
    EXPECT_TRUE(Decode());
    EXPECT_EQ(codec.transcodeCalls.size(), 1U);
    LetCodecGive({RawFrame(Origin, {7}, 48001)});
    EXPECT_TRUE(Decode());
    EXPECT_EQ(codec.transcodeCalls.size(), 2U);
}

TEST_F(PlaybackBuffer_DecodeFrame, TheFirstOfSeveralFramesDecidesOnTranscodingAndGivesTheDuration) {
    // 80 samples at 8000 Hz sound for 10 ms, 480 at 48000 Hz too, 160 at 8000 Hz for 20 ms.
    auto const first = RawFrame(Origin, std::vector<std::int16_t>(160, 1), 8000);
    auto const last = ConstantFrame(Origin, 480, 2);
    LetCodecGive({first, last});
    Frames asked;
    // And of several transcoded ones the last is written.
    codec.transcode = [&](Frames const& frames, TranscodeRequest const&) {
        asked = frames;
        return Frames{ConstantFrame(Origin, 480, 3), ConstantFrame(Origin, 480, 4)};
    };
    EXPECT_TRUE(Decode());
    EXPECT_THAT(asked, ElementsAre(first, last));
    ASSERT_EQ(codec.transcodeCalls.size(), 1U);
    EXPECT_EQ(codec.transcodeCalls[0].durationNanoSec, FrameNanoSec);
    ExpectWritten(480, 4);
}

TEST_F(PlaybackBuffer_DecodeFrame, KeepsTheLastOfSeveralFrames) {
    auto const first = ConstantFrame(Origin, 480, 1);
    auto const second = ConstantFrame(Origin, 480, 2);
    auto const third = ConstantFrame(Origin, 480, 3);
    LetCodecGive({first, second, third});
    EXPECT_TRUE(Decode());
    ExpectWritten(480, 3);
    codec.decode = nullptr;
    EXPECT_EQ(first.use_count(), 1);
}

TEST_F(PlaybackBuffer_DecodeFrame, FailsAndWritesNothingWhenNothingIsDecodedOrTranscoded) {
    for (Frames const& decoded :
         {Frames{}, Frames{nullptr}, Frames{ConstantFrame(Origin, 480, 1), nullptr}}) {
        // There is one from before.
        LetCodecGive({ConstantFrame(Origin, 480, 1)});
        EXPECT_TRUE(Decode());
        LetCodecGive(decoded);
        EXPECT_FALSE(Decode());
    }
    EXPECT_THAT(codec.transcodeCalls, IsEmpty());
    LetCodecGive({RawFrame(Origin, {7}, 44100)});
    EXPECT_FALSE(Decode());
    EXPECT_THAT(codec.transcodeCalls, SizeIs(1));
    ExpectWritten(480, 1);
    EXPECT_THAT(TakeLog(), IsEmpty());
}

// --- writing what was decoded

TEST_P(PlaybackBuffer_WriteCodedFrame, WritesTheDecodedSamples) {
    LetCodecGive({RawFrame(Origin, {11, 12, 13})});
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_EQ(Sound().Samples(0, 4), (std::vector<std::int16_t>{11, 12, 13, 0}));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(0, 6)", "Unlock(6, 0)"));
}

TEST_P(PlaybackBuffer_WriteCodedFrame, SplitsTheDecodedSamplesAtTheEndOfTheRing) {
    GetFields().writeEnd = 239998;
    LetCodecGive({RawFrame(Origin, {11, 12, 13, 14, 15})});
    // Position 0 lies two samples behind the end of the last frame: the frame is moved back to 239998.
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 10)", "Unlock(4, 6)"));
    EXPECT_EQ(Sound().Samples(239997, 7), (std::vector<std::int16_t>{0, 11, 12, 13, 14, 15, 0}));
}

TEST_P(PlaybackBuffer_WriteCodedFrame, DropsAFrameDecodedToOneWithoutData) {
    LetCodecGive({std::make_shared<FrameAudRaw>(FrameIdent(), new ParamsAudRaw)});
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
}

TEST_P(PlaybackBuffer_WriteUnheardFrame, IsCopiedNowhereAcrossTheEndOfTheRingEither) {
    Soil(239990, 20);
    GetFields().writeEnd = 239998;
    LetCodecGive({RawFrame(Origin, {11, 12, 13})});
    EXPECT_TRUE(buffer->WriteFrame(CodedFrame(GetParam(), Origin)));
    EXPECT_THAT(TakeCalls(), ElementsAre("Lock(479996, 6)", "Unlock(4, 2)"));
    EXPECT_TRUE(IsSoiled(239990, 20));
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
    EXPECT_THAT(TakeCalls(), IsEmpty());
    EXPECT_THAT(TakeLog(), ElementsAre(Info("AudioBuffer packet loss, zero'ing 16 samples")));
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
    EXPECT_TRUE(Write(0, 480, 7));
    EXPECT_THAT(codec.decodeCalls, IsEmpty());
}

} // namespace
} // namespace UnitTest
