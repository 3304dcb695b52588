#pragma once

#include <ostream>
#include <string>

namespace AudioHost {

/// Shows progress: on a terminal one line that is rewritten in place at every call, elsewhere a plain line a
/// second, so that a log file stays readable.
///
/// **Threads:** one.
class ProgressLine {
public:
    /// `out` is borrowed.
    ProgressLine(std::ostream& out, bool isTerminal) : out_(out), isTerminal_(isTerminal) {}

    /// How often to call `Show`.
    int GetIntervalMilliSec() const;
    void Show(std::string const& text);
    /// Ends the line, so that what follows starts on a new one.
    void End();

private:
    std::ostream& out_;
    bool const isTerminal_;
    std::size_t shownLength_ = 0;
};

} // namespace AudioHost
