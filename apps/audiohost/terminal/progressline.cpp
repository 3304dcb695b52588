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
    std::string line = text;
    std::size_t const length = line.size();
    line.resize(std::max(length, shownLength_), ' ');
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
