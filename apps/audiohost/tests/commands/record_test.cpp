#include "commands/record.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "listening/tests/testsounds.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testmicrophone.h"
#include "support/testrenderer.h"

namespace AudioHost {

using testing::HasSubstr;

namespace {

using Listening::NanoSecPerSec;

class TestAccess : public CaptureAccess {
public:
    std::shared_ptr<Microphone> Open() override { return microphone; }
    bool StartMeter(std::function<bool(float)> const&) override { return false; }

    std::shared_ptr<TestMicrophone> microphone;
};

struct RecordFixture {
    TestFolder folder;
    TestClock clock;
    ClockPacer pacer{clock};
    TestRenderer renderer;
    TestAccess capture;
    std::ostringstream out;
    Listening::Samples const sound = Listening::MakeVoice(96000);
    RecordOptions options;
    std::string sentence;
    std::ostream* json = nullptr;

    RecordFixture() {
        capture.microphone = std::make_shared<TestMicrophone>(clock, sound);
        options.outPath = folder.PathOf("out.wav");
        options.seconds = 3.0;
    }

    ExitCode_t Run() {
        Surroundings surroundings{renderer, pacer, out};
        surroundings.json = json;
        return Record(options, surroundings, capture);
    }

    ExitCode_t RunToError() {
        return CodeOf([this] { return Run(); }, &sentence);
    }

    std::string ReadOut() const { return ReadFile(options.outPath); }
    /// The file that a perfect take of so many samples makes.
    std::string PerfectFile(std::int64_t count) const {
        return MakeWav({}, BytesOf(Listening::Samples(Listening::Join(
                               {sound, Listening::SampleView(sound).Cut(0, count - 96000)}))));
    }
};

} // namespace

TEST(Record, WritesTheSoundFromItsFirstFrameOnAndShutsDown) {
    RecordFixture fixture;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_EQ(fixture.ReadOut(), fixture.PerfectFile(144000));
    EXPECT_THAT(fixture.out.str(), HasSubstr("Recorded without a loss.\nout.wav\n  3.00 s in 150 frames"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("\nRecorded: " + fixture.options.outPath + "\n"));
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Record, ComparesWithWhatWasPlayedAndWritesTheReport) {
    RecordFixture fixture;
    fixture.options.sentPath = fixture.folder.Write("sent.wav", MakeWav({}, BytesOf(fixture.sound)));
    fixture.options.reportPath = fixture.folder.PathOf("report.html");
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(fixture.out.str(), HasSubstr("144000 identical, 0 changed, 0 missing"));
    EXPECT_THAT(ReadFile(fixture.options.reportPath), HasSubstr("<h1>Recording report</h1>"));
}

TEST(Record, OfSoundThatIsMissingEndsWithItsCodeUnlessNothingCounts) {
    for (bool const counts : {true, false}) {
        RecordFixture fixture;
        fixture.options.failOn.sound = counts;
        std::ostringstream json;
        fixture.json = &json;
        fixture.pacer.onWait = [&](std::int64_t time) {
            if (time == NanoSecPerSec) {
                fixture.capture.microphone->Skip(5);
            }
        };
        EXPECT_EQ(fixture.Run(), counts ? ExitCode_t::WentBadly : ExitCode_t::Ok);
        EXPECT_THAT(fixture.out.str(), HasSubstr("Recorded, but 100 ms of sound are missing."));
        auto const object = nlohmann::json::parse(json.str());
        EXPECT_EQ(object["exitCode"], counts ? 9 : 0);
        EXPECT_EQ(object["verdict"]["outcome"], "bad");
        EXPECT_EQ(object["files"]["sound"], fixture.options.outPath);
    }
}

TEST(Record, InterruptedKeepsWhatHadCome) {
    RecordFixture fixture;
    fixture.options.seconds = 0.0;
    fixture.pacer.stopNanoSec = 5 * NanoSecPerSec / 2;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Interrupted);
    EXPECT_EQ(fixture.ReadOut(), fixture.PerfectFile(120000));
    EXPECT_THAT(fixture.out.str(), HasSubstr("until interrupted"));
}

TEST(Record, HasAValidFileAtEveryMoment) {
    RecordFixture fixture;
    fixture.pacer.onWait = [&](std::int64_t time) {
        // Waits come before reads: at 2.51 s the frame that was complete at 2.5 s has been read.
        if (time == 2510 * NanoSecPerSec / 1000) {
            EXPECT_EQ(fixture.ReadOut(), fixture.PerfectFile(120000));
            fixture.sentence = "looked";
        }
    };
    fixture.Run();
    EXPECT_EQ(fixture.sentence, "looked");
}

TEST(Record, OfAMicrophoneThatGoesAwaySumsUpAndEndsWithItsCode) {
    RecordFixture fixture;
    fixture.capture.microphone->endNanoSec = 5 * NanoSecPerSec / 2;
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::NoInput);
    EXPECT_THAT(fixture.sentence, HasSubstr("nothing for three seconds (status -1)"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("The recording broke off."));
    // 124 frames are complete before 2.5 s.
    EXPECT_EQ(fixture.ReadOut(), fixture.PerfectFile(119'040));
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Record, WithoutAMicrophoneLeavesAnOlderRecordingAlone) {
    RecordFixture fixture;
    fixture.capture.microphone.reset();
    fixture.folder.Write("out.wav", "old");
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::NoInput);
    EXPECT_EQ(fixture.ReadOut(), "old");
    EXPECT_THAT(fixture.sentence, HasSubstr("there is no microphone"));
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Record, WithoutAnOutputDeviceStillRecords) {
    RecordFixture fixture;
    fixture.renderer.status = -26;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
}

TEST(Record, WithAPathThatCannotBeWrittenDoesNotStartCapture) {
    RecordFixture fixture;
    fixture.options.outPath = fixture.folder.PathOf("no folder/out.wav");
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::NotWritten);
    EXPECT_EQ(fixture.renderer.shutdowns, 0);
}

TEST(Record, DoesNotOverwriteWhatWasPlayed) {
    RecordFixture fixture;
    std::string const bytes = MakeWav({}, BytesOf(fixture.sound));
    fixture.options.sentPath = fixture.folder.Write("out.wav", bytes);
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::Usage);
    EXPECT_EQ(fixture.ReadOut(), bytes);
}

} // namespace AudioHost
