#include "commands/summaryjson.h"

#include <gtest/gtest.h>

#include <new>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>

#include "support/testcapturelog.h"
#include "support/testplaybacklog.h"

namespace AudioHost {

namespace {

nlohmann::json Parse(PlaybackLog const& log, PlayOptions const& options = {}) {
    return nlohmann::json::parse(FormatSummaryJson(log, FindWhatFailed(log), options, ExitCode_t::WentBadly));
}

/// What is left of a play that ends with `error`, which must go on to the caller: one object and no more.
template <typename Error>
nlohmann::json ObjectOf(Error const& error) {
    std::ostringstream json;
    EXPECT_THROW(RunToObject("play", &json, [&]() -> ExitCode_t { throw error; }), Error);
    return nlohmann::json::parse(json.str());
}

nlohmann::json ErrorObject(int code, std::string const& sentence) {
    return {{"schema", "audiohost-summary"},
            {"version", 1},
            {"command", "play"},
            {"exitCode", code},
            {"error", sentence}};
}

} // namespace

TEST(FormatSummaryJson, OfAStreamTellsHowItStood) {
    PlaybackLog log = MakeHeardLog();
    EXPECT_EQ(Parse(log)["sessions"].at(0)["stream"], nullptr);
    StreamState state;
    state.clock.jitterNanoSec = 2'500'000;
    state.clock.leadNanoSec = 120'000'000;
    state.clock.skewPartsPerMillion = -3.5;
    state.handedNanoSec = 75;
    state.missingNanoSec = 25;
    state.leftOut = 4;
    state.breaks = 1;
    log.sessions[0].streamPoints = {{0, state}};
    EXPECT_EQ(Parse(log)["sessions"].at(0)["stream"], (nlohmann::json{{"jitterMilliSec", 2.5},
                                                                      {"lossPercent", 25.0},
                                                                      {"packetsLeftOut", 4},
                                                                      {"skewPpm", -3.5},
                                                                      {"leadMilliSec", 120.0},
                                                                      {"breaks", 1},
                                                                      {"error", nullptr}}));
}

TEST(FormatSummaryJson, OfAPlaybackHasItsSchemaVerdictAndFigures) {
    auto const object = Parse(MakeHeardLog());
    EXPECT_EQ(object["schema"], "audiohost-summary");
    EXPECT_EQ(object["version"], 1);
    EXPECT_EQ(object["command"], "play");
    EXPECT_EQ(object["exitCode"], 9);
    EXPECT_EQ(object["verdict"], (nlohmann::json{{"outcome", "good"},
                                                 {"text", "Played and heard as sent"},
                                                 {"sound", "good"},
                                                 {"time", "good"},
                                                 {"level", "good"}}));
    auto const& session = object["sessions"].at(0);
    EXPECT_EQ(session["name"], "voice.wav");
    EXPECT_EQ(session["framesSent"], 100);
    EXPECT_EQ(session["framesFailed"], 0);
    EXPECT_EQ(session["sentSeconds"], 2.0);
    EXPECT_EQ(session["errorMilliSec"]["median"], 1.0);
    EXPECT_EQ(session["errorMilliSec"]["most"], 4.0);
    EXPECT_EQ(session["frequency"], (nlohmann::json{{"changes", 2}, {"leastHz", 47960}, {"mostHz", 48000}}));
    EXPECT_EQ(object["heard"]["isFound"], true);
    EXPECT_EQ(object["heard"]["windowsMatched"], object["heard"]["windows"]);
    EXPECT_TRUE(object["heard"]["jumps"].empty());
}

TEST(FormatSummaryJson, OfAnOutputTellsWhenItStoodStill) {
    PlaybackLog log = MakeHeardLog();
    EXPECT_EQ(Parse(log)["output"]["places"], nlohmann::json::array());
    Listening::OutputGlitch glitch;
    glitch.startNanoSec = 1'500'000'000;
    glitch.lateMilliSec = 40.0;
    log.output.isWatched = true;
    log.output.glitches = {glitch};
    log.output.worstMilliSec = 41.0;
    EXPECT_EQ(
        Parse(log)["output"],
        (nlohmann::json{{"isWatched", true},
                        {"glitches", 1},
                        {"worstMilliSec", 41.0},
                        {"places", nlohmann::json::array({{{"atSeconds", 1.5}, {"milliSec", 40.0}}})}}));
}

TEST(FormatSummaryJson, OfSeveralSessionsTellsWhatBecameOfEach) {
    using Hearing_t = Listening::SoundInMix::Hearing_t;
    PlaybackLog log = MakeHeardLog();
    log.sessions.resize(3, log.sessions[0]);
    log.mix = {{Hearing_t::Heard, 0.5, 1440.0, {{24000, 12000}}, {{{48000, 12000}, -4800.0}}},
               {Hearing_t::NotHeard, 0.0, std::nullopt, {}, {}},
               {}};
    auto const sessions = Parse(log)["sessions"];
    auto const none = nlohmann::json::array();
    EXPECT_EQ(sessions[0]["heard"],
              (nlohmann::json{{"state", "heard"},
                              {"gain", 0.5},
                              {"laterThanOthersMilliSec", 30.0},
                              {"missing", {{{"atSeconds", 0.5}, {"milliSec", 250.0}}}},
                              {"steps", {{{"atSeconds", 1.0}, {"laterMilliSec", -100.0}}}}}));
    EXPECT_EQ(sessions[1]["heard"], (nlohmann::json{{"state", "notHeard"},
                                                    {"gain", nullptr},
                                                    {"laterThanOthersMilliSec", nullptr},
                                                    {"missing", none},
                                                    {"steps", none}}));
    EXPECT_EQ(sessions[2]["heard"]["state"], "cannotTell");
    EXPECT_TRUE(Parse(MakeHeardLog())["sessions"][0]["heard"].is_null());
}

TEST(FormatSummaryJson, OfWhatIsNotKnownIsNull) {
    PlaybackLog log = MakeLog();
    log.sessions[0].points.clear();
    log.sessions[0].steps.clear();
    log.sessions[0].durationNanoSec = 0;
    auto const object = Parse(log);
    EXPECT_TRUE(object["heard"].is_null());
    EXPECT_TRUE(object["verdict"]["level"].is_null());
    EXPECT_TRUE(object["files"]["report"].is_null());
    EXPECT_TRUE(object["sessions"][0]["errorMilliSec"].is_null());
    EXPECT_TRUE(object["sessions"][0]["frequency"].is_null());
    EXPECT_TRUE(object["sessions"][0]["durationSeconds"].is_null());
}

TEST(FormatSummaryJson, OfAPlaybackNamesEveryFileThatWasAskedFor) {
    PlayOptions options;
    options.reportPath = "a";
    options.heardPath = "b";
    options.logPath = "c";
    options.tracePath = "d";
    options.statisticsPath = "e";
    EXPECT_EQ(
        Parse(MakeLog(), options)["files"],
        (nlohmann::json{{"report", "a"}, {"heard", "b"}, {"log", "c"}, {"trace", "d"}, {"statistics", "e"}}));
}

TEST(FormatSummaryJson, OfANameThatIsNoTextStaysAnObject) {
    PlaybackLog log = MakeLog();
    log.sessions[0].name = "a\"\n\xFF.wav";
    EXPECT_EQ(Parse(log)["sessions"][0]["name"], "a\"\n\xEF\xBF\xBD.wav");
}

TEST(FormatSummaryJson, OfARecordingHasItsVerdictAndFigures) {
    CaptureLog log = MakeCaptureLog();
    log.losses = {{5'000'000'000, 4, true}};
    RecordOptions options;
    options.outPath = "out.wav";
    auto const object = nlohmann::json::parse(FormatSummaryJson(log, options, ExitCode_t::WentBadly));
    EXPECT_EQ(object["command"], "record");
    EXPECT_EQ(object["verdict"]["outcome"], "bad");
    EXPECT_EQ(object["frames"], 100);
    EXPECT_EQ(object["framesLost"], 4);
    EXPECT_EQ(object["seconds"], 2.0);
    EXPECT_EQ(object["files"]["sound"], "out.wav");
    EXPECT_TRUE(object["recorded"].is_null());
}

TEST(FormatErrorJson, HasTheSentenceAndTheCode) {
    auto const object =
        nlohmann::json::parse(FormatErrorJson("play", HostError(ExitCode_t::FileMissing, "'a' is gone.")));
    EXPECT_EQ(object["version"], 1);
    EXPECT_EQ(object["exitCode"], 3);
    EXPECT_EQ(object["error"], "'a' is gone.");
}

TEST(RunToObject, AnErrorThatThePersonCanMendIsItsSentenceAndItsCode) {
    EXPECT_EQ(ObjectOf(HostError(ExitCode_t::FileMissing, "'a' is gone.")), ErrorObject(3, "'a' is gone."));
}

TEST(RunToObject, AnyOtherErrorIsAnInternalOne) {
    EXPECT_EQ(ObjectOf(std::runtime_error("\xFF is odd")),
              ErrorObject(1, "internal error: \xEF\xBF\xBD is odd"));
    EXPECT_EQ(ObjectOf(std::bad_alloc()),
              ErrorObject(1, std::string("internal error: ") + std::bad_alloc().what()));
}

TEST(RunToObject, ARunThatEndsByItselfHasItsCodeAndNoObjectBesideItsOwn) {
    std::ostringstream json;
    EXPECT_EQ(RunToObject("play", &json, [] { return ExitCode_t::WentBadly; }), ExitCode_t::WentBadly);
    EXPECT_EQ(json.str(), "");
}

TEST(RunToObject, WithoutAnObjectTheErrorGoesOn) {
    auto const run = []() -> ExitCode_t { throw std::runtime_error("odd"); };
    EXPECT_THROW(RunToObject("play", nullptr, run), std::runtime_error);
}

} // namespace AudioHost
