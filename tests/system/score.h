#pragma once

#include <cstdint>
#include <functional>
#include <map>

#include "kovra/time.h"

namespace SystemTest {

/// What happens when in a test: actions, each at its time after the start. Deadlines are absolute, so that
/// lateness does not add up.
///
/// **Threads:** one at a time; the actions run on the thread that performs.
class Score {
public:
    /// The start is now and a little, for the score to be written in.
    Score();

    Kovra::JiffyTime GetStart() const { return start_; }
    /// The instant `nanoSec` after the start.
    Kovra::JiffyTime GetInstant(std::int64_t nanoSec) const;

    /// Actions of the same time run in the order in which they were added.
    void At(std::int64_t nanoSec, std::function<void()> action);

    /// Waits for the start. The actions then follow with `Perform`.
    void WaitForStart() const;
    /// Waits for each action's time and runs it.
    void Perform() const;

private:
    Kovra::JiffyTime start_;
    std::multimap<std::int64_t, std::function<void()>> actions_;
};

} // namespace SystemTest
