#include "play/livetable.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "listening/samples.h"
#include "play/liveview.h"

namespace AudioHost {

using Listening::NanoSecPerMicroSec;
using Listening::NanoSecPerMilliSec;
using Media::PipelineStatistics_t;
using Media::SessionStatistics_t;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

SessionStatistics_t MakeSession(std::uint32_t number, std::int64_t errorMilliSec) {
    SessionStatistics_t session;
    session.session = number;
    session.jobs = 1;
    session.errorNanoSec = errorMilliSec * NanoSecPerMilliSec;
    session.error.Add(session.errorNanoSec);
    session.renderTime.Add(12 * NanoSecPerMicroSec);
    session.frequencyHz = 48000;
    return session;
}

PipelineStatistics_t MakeSessions(std::uint32_t count) {
    PipelineStatistics_t statistics;
    for (std::uint32_t number = 1; number <= count; ++number) {
        statistics.sessions.push_back(MakeSession(number, number % 7));
    }
    return statistics;
}

/// A terminal that keeps what is on it.
class TestScreen : public Screen, public std::ostringstream {
public:
    std::size_t GetColumns() const override { return columns; }
    std::size_t GetRows() const override { return rows; }
    void MoveUp(std::size_t lines) override {
        Draw();
        ASSERT_LE(lines, row_) << "above the top";
        row_ -= lines;
    }

    /// The lines, without the blanks at their ends.
    std::vector<std::string> Read() {
        Draw();
        return lines_;
    }

    std::size_t columns = 80;
    std::size_t rows = 24;
    /// Lines that have left it at the top.
    std::size_t scrolled = 0;

private:
    void Draw() {
        std::istringstream text(str());
        str("");
        for (std::string line; std::getline(text, line);) {
            EXPECT_LT(line.size(), columns) << line;
            lines_.resize(std::max(lines_.size(), row_ + 1));
            std::string& old = lines_[row_++];
            old.replace(0, line.size(), line);
            old.erase(old.find_last_not_of(' ') + 1);
            scrolled = row_ >= rows ? row_ - rows + 1 : scrolled;
        }
    }

    std::vector<std::string> lines_;
    std::size_t row_ = 0;
};

} // namespace

TEST(FormatLiveTable, HasALineForEachSessionAndOneForAll) {
    PipelineStatistics_t statistics;
    SessionStatistics_t first = MakeSession(1, -2);
    first.trendPpm = -833.25;
    first.frequencyHz = 47960;
    first.starts.Add(Kovra::JiffyTime(0));
    first.jumps.Add(Kovra::JiffyTime(0));
    first.failures.Add(Kovra::JiffyTime(0));
    first.failures.Add(Kovra::JiffyTime(1));
    SessionStatistics_t second = MakeSession(2, 41);
    second.frequencyHz = 0;
    second.lateJobs.Add(Kovra::JiffyTime(0));
    second.losses.Add(Kovra::JiffyTime(0));
    second.smallGaps.Add(Kovra::JiffyTime(0));
    statistics.sessions = {first, second};
    EXPECT_THAT(
        FormatLiveTable(statistics, {{1, "voice.wav"}, {2, "a-long-name-of-a.wav"}}, 80, 24),
        ElementsAre(" # file           error    95%  trend    Hz strt fail late jump loss gaps    us",
                    " 1 voice.wav       -2.0   -2.0 -833.3 47960    1    1    0    1    0    0    12",
                    " 2 a-long-name-   +41.0  +41.0      -     -    0    0    1    0    1    1    12",
                    "   all 2          +41.0  +41.0      -     -    1    1    1    1    1    1    12"));
}

TEST(FormatLiveTable, HasNoLineForAllOfOneSession) {
    EXPECT_EQ(FormatLiveTable(MakeSessions(1), {}, 80, 24).size(), 2U);
    EXPECT_EQ(FormatLiveTable({}, {}, 80, 24).size(), 1U);
}

TEST(FormatLiveTable, FitsWindowsOfAnySize) {
    PipelineStatistics_t statistics = MakeSessions(63);
    // As much as there can be of everything.
    SessionStatistics_t& much = statistics.sessions.front();
    much.errorNanoSec = INT64_MAX;
    much.trendPpm = -1e12;
    much.starts.episodes = UINT64_MAX;
    much.renderTime.Add(INT64_MAX);
    for (std::size_t const columns : {0U, 1U, 2U, 20U, 79U, 80U, 81U, 200U}) {
        for (std::size_t const rows : {0U, 1U, 4U, 5U, 24U, 100U}) {
            auto const lines = FormatLiveTable(statistics, {{1, "voice.wav"}}, columns, rows);
            EXPECT_LE(lines.size(), std::max<std::size_t>(rows, 4) - 1) << columns << " by " << rows;
            for (std::string const& line : lines) {
                EXPECT_LE(line.size(), std::max<std::size_t>(columns, 2) - 1) << columns << " by " << rows;
            }
        }
    }
}

TEST(FormatLiveTable, GivesTheNameWhatAWideWindowLeaves) {
    auto const lines = FormatLiveTable(MakeSessions(1), {{1, "a-long-name-of-a.wav"}}, 90, 24);
    EXPECT_THAT(lines[1], HasSubstr(" a-long-name-of-a.wav  "));
    EXPECT_EQ(lines[1].size(), 89U);
}

TEST(FormatLiveTable, WhereNotAllFitShowsTheFurthestOutOfTimeInTheirOrder) {
    PipelineStatistics_t statistics = MakeSessions(5);
    statistics.sessions = {MakeSession(1, 1), MakeSession(2, -9), MakeSession(3, 2), MakeSession(4, 8)};
    auto const lines = FormatLiveTable(statistics, {}, 80, 5);
    ASSERT_EQ(lines.size(), 4U);
    EXPECT_EQ(lines[1].substr(0, 3), " 2 ");
    EXPECT_EQ(lines[2].substr(0, 3), " 4 ");
    EXPECT_THAT(lines[3], HasSubstr("all 4"));
}

// Two bytes of one place each; what may take two places, or none, is a question mark.
TEST(FormatLiveTable, NamesOfAnyLettersKeepTheColumns) {
    auto const nameOf = [](std::string const& name) {
        return FormatLiveTable(MakeSessions(1), {{1, name}}, 80, 24)[1].substr(3, name.size() + 1);
    };
    EXPECT_EQ(nameOf("\xC3\xBCn\xC3\xAF.wav"), "\xC3\xBCn\xC3\xAF.wav ");
    EXPECT_EQ(nameOf("\xE9\x9F\xB3.wav").substr(0, 6), "?.wav ");
    EXPECT_EQ(nameOf("a\tb\xFF"), "a?b? ");
    EXPECT_EQ(nameOf("cut \xC3"), "cut ? ");
}

TEST(FormatStreamTable, CutsTheNameAndNotTheFiguresAndNoCharacter) {
    std::string const figures = "jitter 12.3 ms  loss 0.3 %  skew +123 ppm  lead 250 ms";
    std::string const office = "rtsp://b\xC3\xBCro";
    EXPECT_THAT(FormatStreamTable({{office + ".example/a/b/path", figures}, {"b", "broken"}}, 80),
                ElementsAre(office + ".example/a/b  " + figures,
                            "b" + std::string(22, ' ') + "  broken" + std::string(48, ' ')));
    // Windows too narrow for both.
    EXPECT_THAT(FormatStreamTable({{office, figures}}, 21), ElementsAre(office + "   jitter"));
    EXPECT_THAT(FormatStreamTable({{"\xC3\xBC\xC3\xBC", figures}}, 2), ElementsAre("\xC3\xBC"));
    EXPECT_THAT(FormatStreamTable({}, 80), ElementsAre());
}

TEST(FormatLiveLine, TellsOfAllSessionsInOneLine) {
    PipelineStatistics_t statistics = MakeSessions(2);
    statistics.sessions[1].jumps.Add(Kovra::JiffyTime(0));
    EXPECT_EQ(FormatLiveLine(statistics),
              "2 sessions  error +2.0 ms, 95% +2.0 ms  0 fail 0 late 1 jump 0 loss");
    EXPECT_LT(FormatLiveLine(MakeSessions(63)).size(), 80U);
}

TEST(LiveView_Show, OnATerminalWritesTheTableOverInPlaceAndScrollsNothing) {
    TestScreen screen;
    LiveView view(screen, &screen, {});
    for (std::uint32_t const sessions : {63U, 3U, 5U}) {
        view.Show(MakeSessions(sessions));
        EXPECT_EQ(screen.Read().size(), 23U);
        EXPECT_EQ(screen.scrolled, 0U);
    }
    std::vector<std::string> const lines = screen.Read();
    EXPECT_THAT(lines[6], HasSubstr("all 5"));
    EXPECT_THAT(std::vector<std::string>(lines.begin() + 7, lines.end()), testing::Each(""));
    EXPECT_EQ(LiveView::IntervalMilliSec(true), 500);
}

TEST(LiveView_Show, HasTheStreamsBelowTheSessionsAsFarAsThereIsRoom) {
    TestScreen screen;
    LiveView view(screen, &screen, {});
    view.Show(MakeSessions(1), {{"first", "lead 100 ms"}, {"second", "lead 40 ms"}});
    std::vector<std::string> const lines = screen.Read();
    EXPECT_EQ(lines[2], "first" + std::string(79 - 5 - 11, ' ') + "lead 100 ms");
    EXPECT_EQ(lines[3], "second" + std::string(79 - 6 - 11, ' ') + "lead 40 ms");
    TestScreen full;
    LiveView(full, &full, {}).Show(MakeSessions(63), {{"second", "lead 40 ms"}});
    EXPECT_EQ(full.scrolled, 0U);
    std::ostringstream out;
    LiveView(out, nullptr, {}).Show(MakeSessions(1), {{std::string(100, 'x'), "lead 40 ms"}});
    EXPECT_EQ(out.str(), FormatLiveLine(MakeSessions(1)) + "\n" + std::string(100, 'x') + "  lead 40 ms\n");
}

TEST(LiveView_Show, FollowsAWindowThatBecomesSmaller) {
    TestScreen screen;
    LiveView view(screen, &screen, {});
    view.Show(MakeSessions(63));
    EXPECT_EQ(screen.Read().size(), 23U);
    screen.rows = 10;
    screen.columns = 40;
    view.Show(MakeSessions(63));
    // No line above the nine that the window still shows.
    EXPECT_EQ(screen.Read()[23 - 9].substr(0, 3), " # ");
}

TEST(LiveView_Show, ElsewhereWritesAPlainLineNowAndThen) {
    std::ostringstream out;
    LiveView view(out, nullptr, {});
    view.Show(MakeSessions(2));
    EXPECT_EQ(out.str(), FormatLiveLine(MakeSessions(2)) + "\n");
    EXPECT_EQ(LiveView::IntervalMilliSec(false), 5000);
}

} // namespace AudioHost
