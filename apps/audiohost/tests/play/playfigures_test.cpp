#include "play/playfigures.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "listening/samples.h"
#include "support/testfiles.h"
#include "support/testmicrophone.h"
#include "support/testrenderer.h"

namespace AudioHost {

namespace {

/// A second's record is in the trace two seconds later.
Kovra::LogRecord MakeRecord(int second) {
    Kovra::LogRecord record;
    record.message = "second " + std::to_string(second) + ".";
    record.time = Kovra::JiffyTime::Now();
    return record;
}

class MoveCounter : public Screen {
public:
    std::size_t GetColumns() const override { return 80; }
    std::size_t GetRows() const override { return 24; }
    void MoveUp(std::size_t) override { ++movesUp; }

    int movesUp = 0;
};

} // namespace

TEST(PlayFigures_Show, AwayFromATerminalWritesTheTraceEverySecondAndALineEveryFive) {
    TestFolder folder;
    TestClock clock;
    TestRenderer renderer;
    StopSignal stop;
    std::ostringstream out;
    Surroundings const surroundings{renderer, stop, out};
    PlayOptions options;
    options.isLive = true;
    options.tracePath = folder.PathOf("trace.json");
    PlayFigures figures(options, surroundings);
    Media::Pipeline pipeline(renderer, 1);
    figures.Attach(pipeline);
    figures.AddSession(pipeline.OpenSession({}), "voice.wav");

    std::int64_t const intervalMilliSec = figures.GetIntervalMilliSec().value_or(0);
    ASSERT_EQ(intervalMilliSec, 1000);
    for (int second = 0; second < 10; ++second) {
        figures.AddLog(MakeRecord(second));
        clock.nanoSec += intervalMilliSec * Listening::NanoSecPerMilliSec;
        figures.Show();
        std::string const name = "second " + std::to_string(second - 1) + ".";
        EXPECT_TRUE(second < 1 || ReadFile(options.tracePath).find(name) != std::string::npos) << name;
        std::string const shown = out.str();
        EXPECT_EQ(std::count(shown.begin(), shown.end(), '\n'), (second + 1) / 5) << second;
    }
    figures.Detach();
}

TEST(PlayFigures_Show, WritesTheTableOverInPlaceButNotBesideAnObject) {
    TestRenderer renderer;
    StopSignal stop;
    std::ostringstream out;
    std::ostringstream json;
    Surroundings surroundings{renderer, stop, out};
    PlayOptions options;
    options.isLive = true;
    Media::Pipeline pipeline(renderer, 1);
    for (bool const isJson : {false, true}) {
        MoveCounter screen;
        surroundings.screen = &screen;
        surroundings.json = isJson ? &json : nullptr;
        PlayFigures figures(options, surroundings);
        figures.Attach(pipeline);
        // Ten seconds and more, whichever it is.
        for (int call = 0; call < 20; ++call) {
            figures.Show();
        }
        EXPECT_EQ(screen.movesUp > 0, !isJson);
        EXPECT_EQ(figures.GetIntervalMilliSec(), isJson ? 1000 : 500);
    }
    EXPECT_EQ(json.str(), "");
}

} // namespace AudioHost
