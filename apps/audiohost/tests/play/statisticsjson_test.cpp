#include "play/statisticsjson.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "listening/samples.h"

namespace AudioHost {

using Json = nlohmann::json;
using Listening::NanoSecPerMilliSec;

TEST(FormatStatistics, TellsEverythingInTheUnitsOfItsNames) {
    Media::SessionStatistics_t session;
    session.session = 7;
    session.jobs = 3;
    session.errorNanoSec = -1'500'000;
    for (std::int64_t const milliSec : {1, 2, 40}) {
        session.error.Add(milliSec * NanoSecPerMilliSec);
        session.renderTime.Add(milliSec * 1'000);
    }
    session.frequencyHz = 47960;
    session.frequencyTimes = {
        {{48000, 2'500'000}, {47960, NanoSecPerMilliSec}, {0, 0}, {0, 5 * NanoSecPerMilliSec}}};
    session.trendPpm = 12.34567;
    session.losses.Add(Kovra::JiffyTime(0));
    session.losses.Add(Kovra::JiffyTime(1));
    session.lostSamples = 960;
    Media::PipelineStatistics_t statistics;
    statistics.sessions = {session};
    statistics.endedSessions = 4;
    statistics.capture.lostFrames = 5;

    Json const told = Json::parse(FormatStatistics(statistics, {{7, "voice.wav"}}));
    EXPECT_EQ(told["version"], 1);
    EXPECT_EQ(told["ended"]["sessions"], 4);
    EXPECT_EQ(told["capture"]["lostFrames"], 5);
    Json const& one = told["sessions"][0];
    EXPECT_EQ(one["session"], 7);
    EXPECT_EQ(one["name"], "voice.wav");
    EXPECT_EQ(one["jobs"], 3);
    EXPECT_EQ(one["errorMilliSec"], -1.5);
    EXPECT_EQ(one["errorsMilliSec"]["count"], 3);
    EXPECT_EQ(one["errorsMilliSec"]["most"], 40.0);
    EXPECT_EQ(one["renderMicroSec"]["least"], 1.0);
    EXPECT_EQ(one["trendPpm"], 12.346);
    EXPECT_EQ(one["losses"], (Json{{"episodes", 1}, {"times", 2}}));
    EXPECT_EQ(one["lostSamples"], 960);
    EXPECT_EQ(one["frequencyHz"], 47960);
    EXPECT_EQ(one["frequencies"], Json::parse(R"([{"hz":48000,"milliSec":2.5},{"hz":47960,"milliSec":1.0},
                                                  {"hz":null,"milliSec":5.0}])"));
}

TEST(FormatStatistics, TellsNullOfWhatIsNotKnown) {
    Media::PipelineStatistics_t statistics;
    statistics.sessions.resize(1);
    Json const told = Json::parse(FormatStatistics(statistics, {}));
    EXPECT_TRUE(told["sessions"][0]["trendPpm"].is_null());
    EXPECT_TRUE(told["sessions"][0]["frequencyHz"].is_null());
    EXPECT_EQ(told["sessions"][0]["frequencies"], Json::array());
}

TEST(FormatStatistics, TakesNamesThatAreNoUtf8) {
    Media::PipelineStatistics_t statistics;
    statistics.sessions.resize(1);
    EXPECT_NO_THROW((void)Json::parse(FormatStatistics(statistics, {{0, "\xFF.wav"}})));
}

} // namespace AudioHost
