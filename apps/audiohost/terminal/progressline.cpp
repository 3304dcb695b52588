#include "terminal/progressline.h"

#include <algorithm>

namespace AudioHost {

namespace {

constexpr int TerminalIntervalMilliSec = 200;
constexpr int PlainIntervalMilliSec = 1000;

} // namespace

int ProgressLine::GetIntervalMilliSec() const {
    return isTerminal_ ? TerminalIntervalMilliSec : PlainIntervalMilliSec;
}

void ProgressLine::Show(std::string const& text) {
    if (!isTerminal_) {
        out_ << text << std::endl;
        return;
    }
    // Asked each time: windows are resized. A terminal may wrap as soon as its last place is taken.
    std::size_t const columns = countColumns_();
    std::size_t const most = columns > 1 ? columns - 1 : 1;
    std::string line = text.substr(0, most);
    std::size_t const length = line.size();
    line.resize(std::min(most, std::max(length, shownLength_)), ' ');
    out_ << '\r' << line << std::flush;
    shownLength_ = length;
}

void ProgressLine::End() {
    if (isTerminal_ && shownLength_ > 0) {
        out_ << '\n' << std::flush;
        shownLength_ = 0;
    }
}

} // namespace AudioHost
