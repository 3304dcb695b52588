#include "mediacore/frame.h"

#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <stdexcept>
#include <vector>

using boost::intrusive_ptr;
using Kovra::Buffer;
using Kovra::BufferInfo;
using Kovra::BufferInfoListScoped;
using Kovra::SysTime;
using Media::FrameAud;
using Media::FrameAudRaw;
using Media::FrameIdent;
using Media::MediaCoding_t;
using Media::ParamsAud;
using Media::ParamsAudRaw;

namespace {

intrusive_ptr<ParamsAudRaw> MakeRawParams(std::uint32_t frequency, std::uint32_t channels,
                                          std::uint32_t bits) {
    intrusive_ptr<ParamsAudRaw> params(new ParamsAudRaw);
    params->SetParamsAud(frequency, channels, bits);
    return params;
}

BufferInfoListScoped MakeSlices(std::vector<std::uint32_t> const& lengths) {
    BufferInfoListScoped slices;
    for (std::uint32_t const length : lengths) {
        slices.Append(BufferInfo(Buffer::Create(length, 1), 0, length));
    }
    return slices;
}

std::int64_t GetRawDuration(intrusive_ptr<ParamsAudRaw> const& params,
                            std::vector<std::uint32_t> const& lengths) {
    FrameAudRaw frame(FrameIdent(), params);
    frame.AttachBuffers(MakeSlices(lengths));
    return frame.GetDuration().NanoSec();
}

} // namespace

TEST(FrameIdent, IsAllZeroUnlessGiven) {
    FrameIdent const unknown;
    EXPECT_EQ(unknown.time, SysTime());
    EXPECT_EQ(unknown.sequenceNumber, 0U);
    EXPECT_EQ(unknown.sourceName, "");

    FrameIdent const known(SysTime(5), 0xFFFFFFFFU, "Microphone");
    EXPECT_EQ(known.time, SysTime(5));
    EXPECT_EQ(known.sequenceNumber, 0xFFFFFFFFU);
    EXPECT_EQ(known.sourceName, "Microphone");
}

TEST(FrameAud, TakesItsIdentityFromTheIdentAndTheRestFromTheParameters) {
    intrusive_ptr<ParamsAud> params(new ParamsAud(MediaCoding_t::G711));
    params->SetParamsAud(8000, 2, 8);
    FrameAud const frame(FrameIdent(SysTime(-3), 9, "door"), params);
    EXPECT_EQ(frame.GetIdent().sequenceNumber, 9U);
    EXPECT_EQ(frame.GetIdent().sourceName, "door");
    EXPECT_EQ(frame.GetTimestamp(), SysTime(-3));
    EXPECT_EQ(frame.GetCoding(), MediaCoding_t::G711);
    EXPECT_EQ(&frame.GetParams(), params.get());
    EXPECT_EQ(frame.GetParamsPtr(), params);
    EXPECT_EQ(frame.GetFrequency(), 8000U);
    EXPECT_EQ(frame.GetNumChannels(), 2U);
}

TEST(FrameAud, RefusesNullParameters) {
    EXPECT_THROW(FrameAud(FrameIdent(), nullptr), std::invalid_argument);
    EXPECT_THROW(FrameAudRaw(FrameIdent(), nullptr), std::invalid_argument);
}

TEST(FrameAud, KeepsItsParametersAlive) {
    intrusive_ptr<ParamsAud> params(new ParamsAud(MediaCoding_t::Opus));
    params->SetParamsAud(48000, 1, 16);
    FrameAud const frame(FrameIdent(), params);
    params.reset();
    EXPECT_EQ(frame.GetFrequency(), 48000U);
}

TEST(Frame_AttachBuffers, FrameHasNoSliceAtFirst) {
    FrameAudRaw frame(FrameIdent(), MakeRawParams(48000, 1, 16));
    EXPECT_TRUE(frame.GetBuffers().IsEmpty());
    EXPECT_EQ(frame.GetConstBufferBegin(), nullptr);
    EXPECT_EQ(frame.GetBufferBegin(), nullptr);
}

TEST(Frame_AttachBuffers, ListIsTakenOverInPlaceOfTheEarlier) {
    FrameAudRaw frame(FrameIdent(), MakeRawParams(48000, 1, 16));
    frame.AttachBuffers(MakeSlices({4, 6}));
    BufferInfoListScoped slices = MakeSlices({8});
    std::uint8_t* const data = slices.GetBegin()->GetData();
    frame.AttachBuffers(std::move(slices));
    ASSERT_EQ(frame.GetBuffers().GetCount(), 1U);
    EXPECT_EQ(frame.GetConstBufferBegin()->GetLength(), 8U);
    EXPECT_EQ(frame.GetConstBufferBegin()->GetData(), data);
    EXPECT_EQ(frame.GetBufferBegin()->GetData(), data);
}

TEST(FrameAud_GetDuration, OfACodedFrameIsWhatWasSet) {
    FrameAud frame(FrameIdent(), intrusive_ptr<ParamsAud>(new ParamsAud(MediaCoding_t::Aac)));
    frame.AttachBuffers(MakeSlices({100}));
    EXPECT_EQ(frame.GetDuration(), SysTime());
    frame.SetDuration(SysTime(21'333'333));
    EXPECT_EQ(frame.GetDuration(), SysTime(21'333'333));
}

TEST(FrameAud_GetDuration, OfRawPcmComesFromItsBytesWhateverWasSet) {
    // 1920 bytes are 960 samples of 16 bits, 20 ms at 48000 Hz.
    FrameAudRaw raw(FrameIdent(), MakeRawParams(48000, 1, 16));
    raw.AttachBuffers(MakeSlices({1920}));
    raw.SetDuration(SysTime(1));
    EXPECT_EQ(raw.GetDuration(), SysTime::FromMilliSec(20));

    FrameAud general(FrameIdent(), MakeRawParams(48000, 1, 16));
    general.AttachBuffers(MakeSlices({1920}));
    general.SetDuration(SysTime(1));
    EXPECT_EQ(general.GetDuration(), SysTime::FromMilliSec(20));
}

TEST(FrameAudRaw_GetDuration, CountsTheBytesOfAllSlices) {
    // 100 + 860 + 960 + 0 bytes are 1920.
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 1, 16), {100, 860, 960, 0}), 20'000'000);
}

TEST(FrameAudRaw_GetDuration, CountsChannelsAndBits) {
    // 1920 bytes: 480 stereo samples of 16 bits, 10 ms; 1920 mono samples of 8 bits, 40 ms.
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 2, 16), {1920}), 10'000'000);
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 1, 8), {1920}), 40'000'000);
}

TEST(FrameAudRaw_GetDuration, RoundsDownToNanosecondsAndWholeSamples) {
    // One sample at 44100 Hz is 22675.7 ns; half a sample more adds nothing.
    EXPECT_EQ(GetRawDuration(MakeRawParams(44100, 1, 16), {2}), 22'675);
    EXPECT_EQ(GetRawDuration(MakeRawParams(44100, 1, 16), {3}), 22'675);
    EXPECT_EQ(GetRawDuration(MakeRawParams(44100, 2, 16), {3}), 0);
    // Two slices of one byte make one sample of 16 bits.
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 1, 16), {1, 1}), 20'833);
}

TEST(FrameAudRaw_GetDuration, IsZeroWithoutDataOrWithAParameterOfZero) {
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 1, 16), {}), 0);
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 1, 16), {0}), 0);
    EXPECT_EQ(GetRawDuration(MakeRawParams(0, 1, 16), {1920}), 0);
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 0, 16), {1920}), 0);
    EXPECT_EQ(GetRawDuration(MakeRawParams(48000, 1, 0), {1920}), 0);
}

TEST(FrameAudRaw_GetDuration, LongFramesNeedMoreThan32Bits) {
    // 20,000,000 bytes of 8 bits at 8000 Hz are 2500 s: 2.5e12 ns, and 2e16 sample-nanoseconds on the way.
    EXPECT_EQ(GetRawDuration(MakeRawParams(8000, 1, 8), {20'000'000}), 2500 * Kovra::NanoSecPerSec);
}

TEST(FrameAudRaw_GetDuration, ParametersAtTheirLimitsDoNotOverflow) {
    constexpr std::uint32_t Max = std::numeric_limits<std::uint32_t>::max();
    // Less than one sample of 2^64 bits.
    EXPECT_EQ(GetRawDuration(MakeRawParams(Max, Max, Max), {1000}), 0);
    // 8000 one-bit samples at 2^32 - 1 Hz: 1862.6 ns.
    EXPECT_EQ(GetRawDuration(MakeRawParams(Max, 1, 1), {1000}), 1862);
    // 8000 one-bit samples at 1 Hz.
    EXPECT_EQ(GetRawDuration(MakeRawParams(1, 1, 1), {1000}), 8000 * Kovra::NanoSecPerSec);
}

TEST(FrameAudRaw_GetDuration, SaturatesWhenSlicesShareABlockThousandsOfTimes) {
    // 2000 slices of 1 MiB at one bit a second: 2000 * 2^20 * 8 s = 1.68e10 s, beyond 9.22e9 s.
    constexpr std::uint32_t OneMebibyte = 1U << 20;
    intrusive_ptr<Buffer> const block = Buffer::Create(OneMebibyte, 1);
    BufferInfoListScoped slices;
    for (int slice = 0; slice < 2000; ++slice) {
        slices.Append(BufferInfo(block, 0, OneMebibyte));
    }
    FrameAudRaw frame(FrameIdent(), MakeRawParams(1, 1, 1));
    frame.AttachBuffers(std::move(slices));
    EXPECT_EQ(frame.GetDuration().NanoSec(), std::numeric_limits<std::int64_t>::max());
}
