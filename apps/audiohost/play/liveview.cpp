#include "play/liveview.h"

#include <algorithm>
#include <utility>

namespace AudioHost {

namespace {

constexpr int ScreenIntervalMilliSec = 500;
constexpr int TableIntervalMilliSec = 5000;

} // namespace

int LiveView::IntervalMilliSec(bool hasScreen) {
    return hasScreen ? ScreenIntervalMilliSec : TableIntervalMilliSec;
}

void LiveView::Show(Media::PipelineStatistics_t const& statistics, std::vector<StreamRow> const& streams) {
    if (!screen_) {
        out_ << FormatLiveLine(statistics) << std::endl;
        for (StreamRow const& stream : streams) {
            out_ << stream.name << "  " << stream.figures << std::endl;
        }
        return;
    }
    std::size_t const rows = screen_->GetRows();
    std::size_t const columns = screen_->GetColumns();
    std::vector<std::string> lines = FormatLiveTable(statistics, names_, columns, rows);
    for (std::string& stream : FormatStreamTable(streams, columns)) {
        if (lines.size() + 1 < rows) {
            lines.push_back(std::move(stream));
        }
    }
    // A window that has become lower holds no more of the old table.
    shownLines_ = std::min(shownLines_, rows - std::min<std::size_t>(rows, 1));
    lines.resize(std::max(lines.size(), shownLines_),
                 std::string(columns - std::min<std::size_t>(columns, 1), ' '));
    if (shownLines_ > 0) {
        screen_->MoveUp(shownLines_);
    }
    for (std::string const& line : lines) {
        out_ << line << '\n';
    }
    out_ << std::flush;
    shownLines_ = lines.size();
}

} // namespace AudioHost
