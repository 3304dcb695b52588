#include <algorithm>

#include "interfacetest.h"

namespace SdkTest {
namespace {

using Simulation::Call_t;
using testing::Each;
using testing::Field;
using testing::SizeIs;

/// A device that goes while it is used, and comes back: what docs/integration.md says a host then sees.
class Device_Gone : public InterfaceTest {
protected:
    static void Take(void* context, RaReport const* report) {
        static_cast<Device_Gone*>(context)->reports.push_back(*report);
    }
    RaSession OpenReported() { return OpenSession(&Device_Gone::Take, this); }

    /// The session's next `frames` frames, 20 ms apart, and what became of them.
    std::vector<RaReport> PlayOn(RaSession session, std::uint64_t frames) {
        reports.clear();
        for (std::uint64_t i = 0; i < frames; ++i, ++number) {
            EXPECT_EQ(Submit(session, number), RA_SUCCESS);
            EXPECT_EQ(RaDrain(engine), RA_SUCCESS);
            world.Clock().AdvanceMilliSec(FrameMilliSec);
        }
        EXPECT_THAT(reports, SizeIs(frames));
        return reports;
    }

    void LoseOutput() {
        for (Call_t const call : {Call_t::BufferGetStatus, Call_t::BufferGetCurrentPosition,
                                  Call_t::BufferLock, Call_t::BufferPlay, Call_t::BufferRestore,
                                  Call_t::BufferSetCurrentPosition, Call_t::SoundCreateSoundBuffer}) {
            world.Faults().FailAlways(call, DSERR_BUFFERLOST);
        }
        world.Faults().FailAlways(Call_t::SoundCreate8, DSERR_NODRIVER);
    }
    void LoseMicrophone() {
        for (Call_t const call : {Call_t::CaptureBufferGetCurrentPosition, Call_t::CaptureBufferLock,
                                  Call_t::CaptureCreateCaptureBuffer, Call_t::CaptureCreate8}) {
            world.Faults().FailAlways(call, DSERR_NODRIVER);
        }
    }

    static std::int64_t LargestErrorNanoSec(std::vector<RaReport> const& told) {
        std::int64_t largest = 0;
        for (RaReport const& report : told) {
            largest = std::max(largest, report.achievedNanoSec - report.requestedNanoSec);
        }
        return largest;
    }

    std::vector<RaReport> reports;
    std::uint64_t number = 0;
};

auto const IsRendered = Field(&RaReport::isRendered, 1U);
auto const IsNotRendered = Field(&RaReport::isRendered, 0U);

TEST_F(Device_Gone, OutputThatFailsFailsEachFrameAndPlaysOnWhenItIsBack) {
    RaSession const session = OpenReported();
    EXPECT_THAT(PlayOn(session, 10), Each(IsRendered));
    LoseOutput();
    EXPECT_THAT(PlayOn(session, 10), Each(IsNotRendered));
    EXPECT_EQ(StatisticsOf(session).framesFailed, 10U);
    world.Faults().Clear();
    EXPECT_THAT(PlayOn(session, 10), Each(IsRendered));
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(Device_Gone, SessionOpenedMeanwhilePlaysWhenOutputIsBack) {
    LoseOutput();
    RaSession const session = OpenReported();
    EXPECT_THAT(PlayOn(session, 3), Each(IsNotRendered));
    world.Faults().Clear();
    EXPECT_THAT(PlayOn(session, 3), Each(IsRendered));
    EXPECT_TRUE(world.OnlyBuffer().IsPlaying());
}

TEST_F(Device_Gone, OutputThatStandsStillFailsNothingAndShowsInTheTimes) {
    RaSession const session = OpenReported();
    PlayOn(session, 10);
    // As good as that: the simulated device's clock does not stop.
    world.Device().SetSkewPartsPerMillion(-999'999);
    std::vector<RaReport> const still = PlayOn(session, 50);
    EXPECT_THAT(still, Each(IsRendered));
    // Each frame is 20 ms later than the one before, until the lag of 200 ms has become more than 312.5 and
    // the cursor is set anew: the sixth one.
    EXPECT_NEAR(static_cast<double>(LargestErrorNanoSec(still)), 6.0 * FrameNanoSec, NanoSecPerMilliSec);
    world.Device().SetSkewPartsPerMillion(0);
    PlayOn(session, 10);
    EXPECT_LT(LargestErrorNanoSec(PlayOn(session, 10)), 120 * NanoSecPerMilliSec);
}

TEST_F(Device_Gone, SessionsAreRefusedUntilThereIsAnOutput) {
    world.Faults().FailAlways(Call_t::SoundCreate8, DSERR_NODRIVER);
    RaOptions const options = WithoutSilence();
    RaEngine another = nullptr;
    ASSERT_EQ(RaOpen(&options, &another), RA_SUCCESS);
    RaStreamFormat const format = PcmFormat();
    RaSession session = nullptr;
    EXPECT_EQ(RaSessionOpen(another, &format, nullptr, nullptr, &session), RA_NO_DRIVER);
    world.Faults().Clear();
    EXPECT_EQ(RaSessionOpen(another, &format, nullptr, nullptr, &session), RA_SUCCESS);
    EXPECT_EQ(RaClose(another), RA_SUCCESS);
}

TEST_F(Device_Gone, MicrophoneFailsEachReadAndCapturesAnewWhenItIsBack) {
    RaCapture capture = nullptr;
    ASSERT_EQ(RaCaptureOpen(engine, nullptr, nullptr, &capture), RA_SUCCESS);
    std::vector<std::int16_t> samples(FrameSamples);
    auto const read = [&] {
        world.Clock().AdvanceMilliSec(FrameMilliSec);
        RaCapturedFrame frame = {sizeof frame, 0, 0, 0, 0, 0, 0};
        return RaCaptureReadFrame(capture, &frame, samples.data(), FrameSamples);
    };
    EXPECT_EQ(read(), RA_SUCCESS);
    LoseMicrophone();
    EXPECT_EQ(read(), RA_DRIVER_LOST);
    EXPECT_EQ(RaCaptureRestart(capture), RA_NO_BUFFER);
    EXPECT_EQ(read(), RA_NO_BUFFER);
    world.Faults().Clear();
    EXPECT_EQ(RaCaptureRestart(capture), RA_SUCCESS);
    EXPECT_EQ(read(), RA_SUCCESS);
}

} // namespace
} // namespace SdkTest
