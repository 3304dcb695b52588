#include "commands/play.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

#include "commands/findings.h"
#include "listening/tests/testmix.h"
#include "listening/tests/testsounds.h"
#include "pipeline/pipeline.h"
#include "support/testerror.h"
#include "support/testfiles.h"
#include "support/testrenderer.h"
#include "support/testtrace.h"

namespace AudioHost {

using testing::HasSubstr;
using testing::Not;

namespace {

struct PlayFixture {
    TestFolder folder;
    TestRenderer renderer;
    StopSignal stop;
    std::ostringstream out;
    PlayOptions options;
    OutputAccess* output = nullptr;
    std::ostream* json = nullptr;
    std::istream* in = nullptr;

    PlayFixture() {
        options.files = {folder.Write("voice.wav", MakeWav({}, BytesOf(Listening::MakeVoice(96000))))};
    }

    ExitCode_t Run() {
        Surroundings surroundings{renderer, stop, out, false};
        surroundings.json = json;
        surroundings.in = in;
        return Play(options, surroundings, output);
    }

    ExitCode_t RunToError() {
        return CodeOf([this] { return Run(); });
    }
};

/// Counts the sounds that play.
class CountingOutput : public OutputAccess {
public:
    std::unique_ptr<SilentSound> Open() override {
        ++opened;
        return std::make_unique<Sound>(*this);
    }

    int opened = 0;
    int ended = 0;

private:
    class Sound : public SilentSound {
    public:
        explicit Sound(CountingOutput& owner) : owner_(owner) {}
        ~Sound() override { ++owner_.ended; }
        Sound(Sound const&) = delete;
        Sound& operator=(Sound const&) = delete;

        std::optional<std::int64_t> GetPositionNanoSec() override { return std::nullopt; }
        std::int64_t GetLengthNanoSec() const override { return 1; }
        void Rest() override { std::this_thread::yield(); }

    private:
        CountingOutput& owner_;
    };
};

} // namespace

TEST(Play, EndsWithTheCodeThatTheVerdictAsksFor) {
    PlayFixture fixture;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    fixture.renderer.errorMilliSec = 46;
    EXPECT_EQ(fixture.Run(), ExitCode_t::WentBadly);
}

TEST(Play, CountsOnlyWhatItIsAskedToFailOn) {
    PlayFixture fixture;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    fixture.renderer.errorMilliSec = 46;
    fixture.options.failOn = {true, false, true};
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    fixture.options.failOn = {false, true, false};
    EXPECT_EQ(fixture.Run(), ExitCode_t::WentBadly);
    fixture.options.failOn = {false, false, false};
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
}

TEST(Play, SumsUpInOneObject) {
    PlayFixture fixture;
    std::ostringstream json;
    fixture.json = &json;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    fixture.renderer.errorMilliSec = 46;
    EXPECT_EQ(fixture.Run(), ExitCode_t::WentBadly);
    auto const object = nlohmann::json::parse(json.str());
    EXPECT_EQ(object["exitCode"], 9);
    EXPECT_EQ(object["verdict"]["time"], "bad");
    EXPECT_EQ(object["sessions"][0]["framesPlayed"], 5);
}

TEST(Play, OfMoreThan63SessionsSaysWhatComesOfThem) {
    PlayFixture fixture;
    fixture.stop.Request();
    fixture.options.files.assign(63, fixture.options.files.front());
    fixture.Run();
    EXPECT_THAT(fixture.out.str(), Not(HasSubstr("at once")));
    fixture.options.files.push_back(fixture.options.files.front());
    fixture.Run();
    EXPECT_THAT(fixture.out.str(), HasSubstr("64 sessions at once: the renderer serves up to 63."));
}

TEST(Play, PlaysFilesSignalsAndStandardInputEachInASession) {
    PlayFixture fixture;
    std::istringstream in(MakeWav({}, BytesOf(Listening::MakeVoice(960))));
    fixture.in = &in;
    fixture.options.files.push_back(StandardInput);
    fixture.options.tonesHz = {440.0, 660.0};
    fixture.options.hasNoise = true;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(fixture.out.str(), HasSubstr("voice.wav\n  16-bit PCM, 48000 Hz, mono, handed over"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("standard input\n  16-bit PCM"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("440 + 660 Hz\n  test signal"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("white noise\n  test signal"));
    // 5 frames of each, and the whole 20 ms of standard input.
    EXPECT_EQ(fixture.renderer.rendered.size(), 16U);
}

TEST(Play, OfASequenceHasOneSession) {
    PlayFixture fixture;
    fixture.options.files.push_back(
        fixture.folder.Write("two.wav", MakeWav({}, BytesOf(Listening::MakeVoice(960)))));
    fixture.options.files.push_back(fixture.options.files.back());
    fixture.options.files.erase(fixture.options.files.begin());
    fixture.options.isSequence = true;
    fixture.options.leadMilliSec = 40;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(fixture.out.str(), HasSubstr("two.wav, then two.wav\n  2 files one after the other"));
    EXPECT_EQ(fixture.renderer.rendered.size(), 2U);
}

TEST(Play, OfALoopGoesOnForAsLongAsItIsAskedTo) {
    PlayFixture fixture;
    fixture.options.files = {
        fixture.folder.Write("short.wav", MakeWav({}, BytesOf(Listening::MakeVoice(480))))};
    fixture.options.isLoop = true;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_EQ(fixture.renderer.rendered.size(), 5U);
}

TEST(Play, DoesNotLookForASoundThatItPlayedSilently) {
    PlayFixture fixture;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    fixture.options.heardPath = fixture.folder.PathOf("none.raw");
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::FileMissing);
    fixture.options.volume = 0.0F;
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::Ok);
}

TEST(Play, JudgesTheLevelByTheVolumeAskedFor) {
    PlayFixture fixture;
    fixture.options.seconds = 0.5;
    fixture.options.leadMilliSec = 40;
    fixture.options.volume = 0.5F;
    fixture.options.failOn = {false, false, true};
    // What a recorder took down of half a second at that volume.
    Listening::Samples heard = Listening::MakeVoice(24000);
    for (std::int16_t& sample : heard) {
        sample = static_cast<std::int16_t>(std::lround(AskedGain(fixture.options) * sample));
    }
    fixture.options.heardPath = fixture.folder.Write("heard.raw", BytesOf(heard));
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    fixture.options.volume = 0.7F;
    EXPECT_EQ(fixture.Run(), ExitCode_t::WentBadly);
}

TEST(Play, JudgesThePeaksOfASoundAloneAndNotThoseOfAMix) {
    PlayFixture fixture;
    fixture.options.seconds = 0.5;
    fixture.options.leadMilliSec = 40;
    Listening::Samples const tone = Listening::MakeTones(24000, {440.0}, 6000.0);
    fixture.options.files = {fixture.folder.Write("tone.wav", MakeWav({}, BytesOf(tone)))};
    // What a recorder took down.
    Listening::Samples const alone = Listening::CutOff(tone, 3000);
    fixture.options.heardPath = fixture.folder.Write("alone.raw", BytesOf(alone));
    EXPECT_EQ(fixture.Run(), ExitCode_t::WentBadly);
    EXPECT_THAT(fixture.out.str(), HasSubstr("The loudest parts were cut off"));
    Listening::Samples const both = Listening::CutOff(Listening::MixSounds({tone, tone}), 6000);
    fixture.options.heardPath = fixture.folder.Write("both.raw", BytesOf(both));
    fixture.options.files.push_back(fixture.options.files.front());
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
}

TEST(Play, OfSeveralFilesNamesTheOneThatWasNotHeard) {
    Listening::Samples const voice = Listening::MakeVoice(48000);
    Listening::Samples const music = Listening::MakeMusic(48000, 4);
    Listening::Samples const later = Listening::Join({Listening::Samples(480), music});
    for (bool const isWhole : {true, false}) {
        PlayFixture fixture;
        std::ostringstream json;
        fixture.json = &json;
        fixture.options.seconds = 1.0;
        fixture.options.leadMilliSec = 40;
        fixture.options.files.push_back(fixture.folder.Write("music.wav", MakeWav({}, BytesOf(music))));
        // What a recorder takes down from then on: both, the one 10 ms behind the other, or one alone.
        fixture.options.heardPath = fixture.folder.Write("heard.raw", {});
        fixture.renderer.onFirstFrame = [&] {
            fixture.folder.Write("heard.raw",
                                 BytesOf(isWhole ? Listening::RecordMix({voice, later}, 4800, 4800)
                                                 : Listening::RecordMix({voice}, 4800, 4800)));
        };
        EXPECT_EQ(fixture.Run(), isWhole ? ExitCode_t::Ok : ExitCode_t::WentBadly);
        std::string const verdict = isWhole ? "Played and heard as sent" : "music.wav was not heard";
        EXPECT_THAT(fixture.out.str(), HasSubstr(verdict));
        EXPECT_THAT(fixture.out.str(), HasSubstr("voice.wav: was as loud as asked for"));
        auto const object = nlohmann::json::parse(json.str());
        EXPECT_EQ(object["verdict"]["text"], verdict);
        EXPECT_EQ(object["sessions"][0]["heard"]["state"], "heard");
        EXPECT_EQ(object["sessions"][1]["heard"]["state"], isWhole ? "heard" : "notHeard");
    }
}

TEST(Play, KeepsTheOutputRunningUntilItEnds) {
    PlayFixture fixture;
    CountingOutput output;
    fixture.output = &output;
    fixture.stop.Request();
    EXPECT_EQ(fixture.Run(), ExitCode_t::Interrupted);
    EXPECT_EQ(output.opened, 1);
    EXPECT_EQ(output.ended, 1);
}

TEST(Play, InterruptedBeforeItBeginsStillSumsUpAndWritesTheReport) {
    PlayFixture fixture;
    fixture.options.reportPath = fixture.folder.PathOf("report.html");
    fixture.stop.Request();
    EXPECT_EQ(fixture.Run(), ExitCode_t::Interrupted);
    EXPECT_THAT(fixture.out.str(), HasSubstr("Interrupted before anything was played"));
    EXPECT_THAT(ReadFile(fixture.options.reportPath), HasSubstr("voice.wav"));
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
    EXPECT_EQ(Media::Pipeline::GetAudioRenderer(), nullptr);
}

TEST(Play, WithoutAnOutputDeviceEndsWithItsCodeAndShutsDown) {
    PlayFixture fixture;
    fixture.renderer.hasOutput = false;
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::NoOutput);
    EXPECT_EQ(fixture.renderer.shutdowns, 1);
}

TEST(Play, WithAnOutputThatDoesNotOpenEndsWithItsCode) {
    PlayFixture fixture;
    fixture.renderer.status = -200;
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::NoOutput);
}

TEST(Play, ChecksEveryFileBeforeItOpensTheOutput) {
    PlayFixture fixture;
    fixture.options.files.push_back(fixture.folder.PathOf("none.wav"));
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::FileMissing);
    EXPECT_EQ(fixture.renderer.shutdowns, 0);
}

TEST(Play, WithAReportThatCannotBeWrittenSaysSoBeforeItPlays) {
    PlayFixture fixture;
    fixture.options.reportPath = fixture.folder.PathOf("no folder/report.html");
    EXPECT_EQ(fixture.RunToError(), ExitCode_t::Usage);
    EXPECT_EQ(fixture.renderer.shutdowns, 0);
}

TEST(Play, KeepsTraceAndStatisticsThatWereAskedFor) {
    PlayFixture fixture;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    fixture.options.tracePath = fixture.folder.PathOf("trace.json");
    fixture.options.statisticsPath = fixture.folder.PathOf("statistics.json");
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(FindTraceFaults(ReadFile(fixture.options.tracePath)), testing::IsEmpty());
    EXPECT_THAT(ReadFile(fixture.options.tracePath), HasSubstr("\"AudioBuffer playback started\""));
    auto const told = nlohmann::json::parse(ReadFile(fixture.options.statisticsPath));
    EXPECT_EQ(told["sessions"][0]["name"], "voice.wav");
    EXPECT_EQ(told["sessions"][0]["jobs"], 5);
    EXPECT_EQ(told["sessions"][0]["starts"]["times"], 1);
    EXPECT_THAT(fixture.out.str(), HasSubstr("Trace: " + fixture.options.tracePath + "\n"));
    EXPECT_THAT(fixture.out.str(), HasSubstr("Statistics: " + fixture.options.statisticsPath + "\n"));
}

TEST(Play, LiveShowsStatisticsInPlaceOfProgress) {
    PlayFixture fixture;
    fixture.options.seconds = 0.1;
    fixture.options.leadMilliSec = 40;
    fixture.options.isLive = true;
    EXPECT_EQ(fixture.Run(), ExitCode_t::Ok);
    EXPECT_THAT(fixture.out.str(), testing::StartsWith("1 session  error 0.0 ms, 95% 0.0 ms"));
}

TEST(Play, WithATraceThatCannotBeWrittenSaysSoBeforeItPlays) {
    for (auto const path : {&PlayOptions::tracePath, &PlayOptions::statisticsPath}) {
        PlayFixture fixture;
        fixture.options.*path = fixture.folder.PathOf("no folder/file.json");
        EXPECT_EQ(fixture.RunToError(), ExitCode_t::Usage);
        EXPECT_EQ(fixture.renderer.shutdowns, 0);
    }
}

} // namespace AudioHost
