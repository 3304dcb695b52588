#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>

#include "kovra/log.h"

namespace Kovra {

/// Joins records of one subject that are alike but for the numbers in their texts: the first is written at
/// once, the others as one line when ten seconds have passed since the line before.
///
/// **Threads:** one at a time. Time is that of the records.
class LogFolds {
public:
    using Writer = std::function<void(LogRecord const&)>;

    explicit LogFolds(Writer write) : write_(std::move(write)) {}

    void Add(LogRecord const& record);
    /// Writes what is held back; the next of a kind is a first one again.
    void Close();

private:
    struct Fold {
        /// Of the line before.
        JiffyTime since;
        /// Since then; the latest of them is `last`.
        std::uint64_t count = 0;
        LogRecord last;
    };

    void CloseDue(JiffyTime now);
    void Write(Fold& fold);

    Writer const write_;
    std::map<std::string, Fold> folds_;
    /// No fold began before it: with many sessions, going through all folds for each record would cost more
    /// than writing them.
    JiffyTime oldest_;
    /// Of the latest record.
    JiffyTime latest_;
};

} // namespace Kovra
