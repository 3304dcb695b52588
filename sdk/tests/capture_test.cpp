#include <atomic>
#include <cmath>
#include <mutex>
#include <thread>
#include <utility>

#include "interfacetest.h"

namespace SdkTest {
namespace {

using testing::Each;
using testing::SizeIs;

class Capture_Open : public InterfaceTest {};
class Capture_Close : public InterfaceTest {};
class Capture_ReadFrame : public InterfaceTest {};
class Capture_Restart : public InterfaceTest {};
class Capture_Callback : public InterfaceTest {};

RaCapture OpenCapture(RaEngine engine, RaCaptureCallback callback = nullptr, void* context = nullptr) {
    RaCapture capture = nullptr;
    EXPECT_EQ(RaCaptureOpen(engine, callback, context, &capture), RA_SUCCESS);
    return capture;
}

struct Captured {
    RaStatus status;
    RaCapturedFrame frame;
    std::vector<std::int16_t> samples;
};

Captured Read(RaCapture capture) {
    Captured captured = {
        0, {sizeof(RaCapturedFrame), 0, 0, 0, 0, 0, 0}, std::vector<std::int16_t>(FrameSamples)};
    captured.status = RaCaptureReadFrame(capture, &captured.frame, captured.samples.data(), FrameSamples);
    return captured;
}

TEST_F(Capture_Open, WithoutAMicrophoneTellsThat) {
    world.Faults().FailAlways(Simulation::Call_t::CaptureCreateCaptureBuffer, DSERR_OUTOFMEMORY);
    RaCapture capture = nullptr;
    EXPECT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &capture), RA_NO_BUFFER);
    EXPECT_EQ(capture, nullptr);
    world.Faults().Clear();
    OpenCapture(engine);
}

TEST_F(Capture_Open, ASecondTimeIsRefusedAndTheFirstGoesOn) {
    RaCapture const first = OpenCapture(engine);
    RaCapture second = nullptr;
    EXPECT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &second), RA_ALREADY_CREATED);
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_EQ(Read(first).status, RA_SUCCESS);
    EXPECT_EQ(RaCaptureClose(first), RA_SUCCESS);
    // And again, from the beginning.
    RaCapture const third = OpenCapture(engine);
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_EQ(Read(third).frame.sequenceNumber, 0U);
}

TEST_F(Capture_Open, ASecondTimeLeavesAMicrophoneOffThatCouldNotBeRestarted) {
    RaCapture const first = OpenCapture(engine);
    world.Faults().FailAlways(Simulation::Call_t::CaptureCreateCaptureBuffer, DSERR_OUTOFMEMORY);
    EXPECT_EQ(RaCaptureRestart(first), RA_NO_BUFFER);
    world.Faults().Clear();
    RaCapture second = nullptr;
    EXPECT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &second), RA_ALREADY_CREATED);
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(0));
}

TEST_F(Capture_Close, StopsTheDeviceAndMakesTheHandleVoid) {
    RaCapture const capture = OpenCapture(engine);
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(1));
    ASSERT_EQ(RaCaptureClose(capture), RA_SUCCESS);
    EXPECT_THAT(world.LiveCaptureBuffers(), SizeIs(0));
    EXPECT_EQ(RaCaptureClose(capture), RA_INVALID_ARGUMENT);
    EXPECT_EQ(Read(capture).status, RA_INVALID_ARGUMENT);
}

TEST_F(Capture_ReadFrame, GivesOneFrameACallInOrder) {
    RaCapture const capture = OpenCapture(engine);
    EXPECT_EQ(Read(capture).status, RA_TOO_FEW_SAMPLES);
    world.Clock().AdvanceMilliSec(3 * FrameMilliSec);
    Captured const first = Read(capture);
    ASSERT_EQ(first.status, RA_SUCCESS);
    EXPECT_EQ(first.frame.samples, FrameSamples);
    EXPECT_EQ(first.frame.frequencyHz, FrequencyHz);
    EXPECT_EQ(first.frame.channels, 1U);
    EXPECT_EQ(first.frame.sequenceNumber, 0U);
    EXPECT_GT(first.frame.level, 0.3F);
    Captured const second = Read(capture);
    EXPECT_EQ(second.frame.sequenceNumber, 1U);
    EXPECT_EQ(second.frame.timestampNanoSec, first.frame.timestampNanoSec + FrameNanoSec);
    // Neighbours in the simulated microphone's pattern.
    EXPECT_EQ(static_cast<std::int16_t>(second.samples.front() - first.samples.back()), 25173);
    EXPECT_EQ(Read(capture).status, RA_SUCCESS);
    EXPECT_EQ(Read(capture).status, RA_TOO_FEW_SAMPLES);
    float level = 0.0F;
    EXPECT_EQ(RaCaptureGetLevel(capture, &level), RA_SUCCESS);
    EXPECT_GT(level, 0.3F);
}

TEST_F(Capture_Restart, BeginsAtNumberZeroWithoutWhatWaited) {
    RaCapture const capture = OpenCapture(engine);
    world.Clock().AdvanceMilliSec(3 * FrameMilliSec);
    ASSERT_EQ(Read(capture).status, RA_SUCCESS);
    ASSERT_EQ(RaCaptureRestart(capture), RA_SUCCESS);
    EXPECT_EQ(Read(capture).status, RA_TOO_FEW_SAMPLES);
    world.Clock().AdvanceMilliSec(FrameMilliSec);
    EXPECT_EQ(Read(capture).frame.sequenceNumber, 0U);
}

/// What a callback heard, on a thread of the library's.
struct Heard {
    static void Take(void* context, RaCapturedFrame const* frame, std::int16_t const* samples) {
        auto& self = *static_cast<Heard*>(context);
        EXPECT_EQ(frame->size, sizeof(RaCapturedFrame));
        EXPECT_EQ(frame->sequenceNumber, self.frames.load());
        EXPECT_EQ(samples[0], static_cast<std::int16_t>(self.frames * FrameSamples * 25173));
        self.closing = RaCaptureClose(self.capture);
        ++self.frames;
    }
    std::atomic<RaCapture> capture{nullptr};
    std::atomic<std::uint32_t> frames{0};
    std::atomic<RaStatus> closing{RA_SUCCESS};
};

TEST_F(Capture_Callback, HearsEveryFrameInOrderUntilTheCaptureIsClosed) {
    Heard heard;
    heard.capture = OpenCapture(engine, Heard::Take, &heard);
    for (std::uint32_t number = 0; number < 5; ++number) {
        world.Clock().AdvanceMilliSec(FrameMilliSec);
        while (heard.frames == number) {
            std::this_thread::yield();
        }
    }
    EXPECT_EQ(heard.closing, RA_REFUSED);
    EXPECT_EQ(Read(heard.capture).status, RA_REFUSED);
    ASSERT_EQ(RaCaptureClose(heard.capture), RA_SUCCESS);
    world.Clock().AdvanceMilliSec(10 * FrameMilliSec);
    EXPECT_EQ(heard.frames, 5U);
}

TEST_F(Capture_Callback, EndsWithTheEngine) {
    Heard heard;
    heard.capture = OpenCapture(engine, Heard::Take, &heard);
    ASSERT_EQ(RaClose(engine), RA_SUCCESS);
    engine = nullptr;
    EXPECT_EQ(RaCaptureClose(heard.capture), RA_INVALID_ARGUMENT);
}

// --- codec

TEST(Codec_Feed, MakesMonoAt48000HzOfStereoAt44100Hz) {
    RaCodec codec = nullptr;
    ASSERT_EQ(RaCodecOpen(FrequencyHz, 1, &codec), RA_SUCCESS);
    RaStreamFormat format = PcmFormat();
    format.frequencyHz = 44100;
    format.channels = 2;
    // 20 ms, the same on both sides.
    std::vector<std::int16_t> const samples(2 * 882, 1000);
    std::uint32_t count = 0;
    std::vector<std::int16_t> out(2000);
    EXPECT_EQ(RaCodecRead(codec, out.data(), 2000, &count), RA_TOO_FEW_SAMPLES);
    ASSERT_EQ(RaCodecFeed(codec, &format, samples.data(), 2 * 882 * 2), RA_SUCCESS);
    // In pieces, as the caller likes.
    ASSERT_EQ(RaCodecRead(codec, out.data(), 500, &count), RA_SUCCESS);
    EXPECT_EQ(count, 500U);
    EXPECT_NEAR(out[499], 1000, 2);
    ASSERT_EQ(RaCodecRead(codec, out.data(), 2000, &count), RA_SUCCESS);
    EXPECT_EQ(count, 460U);
    EXPECT_EQ(RaCodecFlush(codec), RA_SUCCESS);
    EXPECT_EQ(RaCodecFlush(codec), RA_NOTHING_READ);
    EXPECT_EQ(RaCodecRead(codec, out.data(), 2000, &count), RA_SUCCESS);
    EXPECT_EQ(RaCodecClose(codec), RA_SUCCESS);
    EXPECT_EQ(RaCodecClose(codec), RA_INVALID_ARGUMENT);
}

TEST(Codec_Feed, OfGarbageGivesNothingAndGoesOn) {
    RaCodec codec = nullptr;
    ASSERT_EQ(RaCodecOpen(FrequencyHz, 1, &codec), RA_SUCCESS);
    RaStreamFormat const aac = {sizeof(RaStreamFormat), RA_CODING_AAC, 48000, 1, 16, 0, nullptr, 0, 0};
    std::vector<std::uint8_t> const garbage(300, 0x5A);
    EXPECT_EQ(RaCodecFeed(codec, &aac, garbage.data(), 300), RA_NOTHING_READ);
    RaStreamFormat const g711 = G711Format();
    EXPECT_EQ(RaCodecFeed(codec, &g711, garbage.data(), 160), RA_SUCCESS);
    std::uint32_t count = 0;
    std::vector<std::int16_t> out(2000);
    EXPECT_EQ(RaCodecRead(codec, out.data(), 2000, &count), RA_SUCCESS);
    EXPECT_EQ(count, FrameSamples);
    EXPECT_EQ(RaCodecClose(codec), RA_SUCCESS);
}

TEST(Codec_Feed, TakesRates192TimesApartAndNoFarther) {
    std::vector<std::int16_t> const samples(FrameSamples, 1000);
    RaStreamFormat const format = PcmFormat();
    for (auto const& [frequencyHz, expected] :
         {std::pair(250U, RA_SUCCESS), std::pair(249U, RA_NOTHING_READ)}) {
        RaCodec codec = nullptr;
        ASSERT_EQ(RaCodecOpen(frequencyHz, 1, &codec), RA_SUCCESS);
        EXPECT_EQ(RaCodecFeed(codec, &format, samples.data(), FrameBytes), expected) << frequencyHz;
        EXPECT_EQ(RaCodecClose(codec), RA_SUCCESS);
    }
}

TEST(Codec_Feed, IsRefusedWhenNobodyReads) {
    RaCodec codec = nullptr;
    ASSERT_EQ(RaCodecOpen(FrequencyHz, 1, &codec), RA_SUCCESS);
    RaStreamFormat const format = PcmFormat();
    std::vector<std::int16_t> const samples(RA_MAX_FRAME_BYTES / 2);
    // 20 x 524288 samples are more than ten million.
    for (int fed = 0; fed < 20; ++fed) {
        ASSERT_EQ(RaCodecFeed(codec, &format, samples.data(), RA_MAX_FRAME_BYTES), RA_SUCCESS);
    }
    EXPECT_EQ(RaCodecFeed(codec, &format, samples.data(), RA_MAX_FRAME_BYTES), RA_OUT_OF_MEMORY);
    EXPECT_EQ(RaCodecClose(codec), RA_SUCCESS);
}

} // namespace
} // namespace SdkTest
