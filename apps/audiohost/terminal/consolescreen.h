#pragma once

#include "terminal/screen.h"

namespace AudioHost {

/// The window of standard output, which must be a terminal.
class ConsoleScreen : public Screen {
public:
    std::size_t GetColumns() const override;
    std::size_t GetRows() const override;
    void MoveUp(std::size_t lines) override;
};

} // namespace AudioHost
