#pragma once

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>

#include "terminal/surroundings.h"

namespace AudioHost {

/// Shows progress: on a terminal one line that is rewritten in place at every call, elsewhere a plain line a
/// second, so that a log file stays readable.
///
/// **Threads:** one.
class ProgressLine {
public:
    explicit ProgressLine(Surroundings const& surroundings)
        : out_(surroundings.out),
          isTerminal_(surroundings.isTerminal),
          countColumns_(surroundings.countColumns) {}

    /// How often to call `Show`.
    int GetIntervalMilliSec() const;
    /// `text` is ASCII, a place each. On a terminal that is too narrow the end is cut off: a line that wraps
    /// could not be rewritten.
    void Show(std::string const& text);
    /// Ends the line, so that what follows starts on a new one.
    void End();

private:
    std::ostream& out_;
    bool const isTerminal_;
    std::function<std::size_t()> const countColumns_;
    std::size_t shownLength_ = 0;
};

} // namespace AudioHost
