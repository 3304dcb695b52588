#pragma once

#include <cstddef>

namespace AudioHost {

/// A terminal on which lines can be written over.
///
/// **Threads:** one.
class Screen {
public:
    virtual ~Screen() = default;

    /// What fits now: a person may change the window at any time.
    virtual std::size_t GetColumns() const = 0;
    virtual std::size_t GetRows() const = 0;
    /// Puts the cursor at the beginning of the line that is `lines` above. What was written before must have
    /// been flushed.
    virtual void MoveUp(std::size_t lines) = 0;
};

} // namespace AudioHost
