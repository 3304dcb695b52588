#include "commands/talk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "commands/play.h"
#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testmicrophone.h"
#include "support/testrenderer.h"
#include "support/udplistener.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

namespace {

using Listening::NanoSecPerSec;

class TalkAccess : public CaptureAccess {
public:
    std::shared_ptr<Microphone> Open() override { return microphone; }
    bool StartMeter(std::function<bool(float)> const&) override { return false; }

    std::shared_ptr<TestMicrophone> microphone;
};

struct TalkFixture {
    TestFolder folder;
    TestClock clock;
    ClockPacer pacer{clock};
    TestRenderer renderer;
    TalkAccess capture;
    UdpListener listener;
    std::ostringstream out;
    TalkOptions options;
    std::string sentence;

    TalkFixture() {
        capture.microphone = std::make_shared<TestMicrophone>(clock, Listening::MakeVoice(96000));
        options.target.address = listener.GetAddress();
        options.seconds = 3.0;
    }

    ExitCode_t Run() {
        return CodeOf([&] { return Talk(options, Surroundings{renderer, pacer, out}, capture); }, &sentence);
    }
};

} // namespace

TEST(Talk, SendsEachFrameOfTheMicrophoneAndTellsTheDescription) {
    TalkFixture fixture;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    // Three seconds, and the filter's rest.
    EXPECT_EQ(fixture.listener.Take().size(), 151U);
    EXPECT_THAT(fixture.out.str(), HasSubstr("A receiver needs this description:\nv=0\r\n"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("\nTalked to " + fixture.options.target.address +
                                             " in G.711 mu-law, 8000 Hz: 3.00 s in 151 packets.\n"));
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Talk, WritesTheDescriptionInsteadWhereAFileIsNamed) {
    TalkFixture fixture;
    fixture.options.target.sdpPath = fixture.folder.PathOf("voice.sdp");
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(ReadFile(fixture.options.target.sdpPath),
                HasSubstr("m=audio " + std::to_string(fixture.listener.GetPort()) + " RTP/AVP 0\r\n"));
    EXPECT_THAT(fixture.out.str(), Not(HasSubstr("v=0")));
    fixture.options.target.sdpPath = fixture.folder.PathOf("none/voice.sdp");
    EXPECT_EQ(fixture.Run(), ExitCode_t::Usage);
    EXPECT_THAT(fixture.sentence, HasSubstr("cannot be written"));
}

TEST(Talk, InterruptedHasSentWhatWasSaid) {
    TalkFixture fixture;
    fixture.options.seconds = 0.0;
    fixture.pacer.stopNanoSec = 5 * NanoSecPerSec / 2;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Interrupted);
    EXPECT_EQ(fixture.listener.Take().size(), 126U);
    EXPECT_THAT(fixture.out.str(), HasSubstr(": 2.50 s in 126 packets.\n"));
}

TEST(Talk, TellsWhatTheMicrophoneLost) {
    TalkFixture fixture;
    fixture.pacer.onWait = [&](std::int64_t time) {
        if (time == NanoSecPerSec) {
            fixture.capture.microphone->Skip(5);
        }
    };
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(fixture.out.str(), HasSubstr(" The microphone lost 5 frames of 20 ms.\n"));
}

TEST(Talk, WithoutAMicrophoneOrWhenItEndsSaysSo) {
    TalkFixture fixture;
    fixture.capture.microphone->endNanoSec = NanoSecPerSec;
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoInput);
    EXPECT_THAT(fixture.sentence, HasSubstr("nothing for three seconds"));
    // The fiftieth frame is complete when it has ended.
    EXPECT_EQ(fixture.listener.Take().size(), 50U);
    fixture.capture.microphone.reset();
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoInput);
    EXPECT_THAT(fixture.sentence, HasSubstr("there is no microphone"));
}

TEST(Talk, OfWhatTheNetworkTakesNoneOfSaysSo) {
    TalkFixture fixture;
    // Nobody may send to all without having asked the system.
    fixture.options.target.address = "rtp://255.255.255.255:5000";
    EXPECT_EQ(fixture.Run(), ExitCode_t::NoStream);
    EXPECT_THAT(fixture.sentence, HasSubstr("none of the 151 packets"));
    EXPECT_THAT(fixture.out.str(), HasSubstr(" The network did not take 151 packets.\n"));
}

TEST(Play, SendsTheMicrophoneMeanwhile) {
    TestFolder folder;
    TestRenderer renderer;
    StopSignal stop;
    std::ostringstream out;
    UdpListener listener;
    // Both by the machine's time; the microphone alone by another, so that what it gives is known.
    struct Half : Microphone {
        int ReadFrames(std::vector<std::shared_ptr<Media::FrameAud>>& frames) override {
            if (given == 10) {
                return NothingYet;
            }
            frames.push_back(
                MakeMicrophoneFrame(Listening::MakeVoice(960), std::int64_t{20'000'000} * given, given));
            ++given;
            return 0;
        }
        void Restart() override {}
        float GetLevel() const override { return 0.0F; }
        std::uint32_t given = 0;
    };
    struct Access : CaptureAccess {
        std::shared_ptr<Microphone> Open() override { return microphone; }
        bool StartMeter(std::function<bool(float)> const&) override { return false; }
        std::shared_ptr<Microphone> microphone = std::make_shared<Half>();
    };
    Access capture;
    PlayOptions options;
    options.files = {folder.Write("voice.wav", MakeWav({}, BytesOf(Listening::MakeVoice(48000))))};
    options.talk.address = listener.GetAddress();
    EXPECT_EQ(Play(options, Surroundings{renderer, stop, out}, nullptr, &capture), ExitCode_t::Ok);
    EXPECT_EQ(listener.Take().size(), 11U);
    EXPECT_EQ(renderer.rendered.size(), 50U);
    EXPECT_THAT(out.str(), HasSubstr("0.20 s in 11 packets."));
    capture.microphone.reset();
    EXPECT_EQ(CodeOf([&] {
                  return Play(options, Surroundings{renderer, stop, out}, nullptr, &capture);
              }),
              ExitCode_t::NoInput);
}

} // namespace AudioHost
