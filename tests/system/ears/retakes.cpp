#include "ears/retakes.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace SystemTest {

bool Retakes::Begin() {
    if (CountOpen() == 0 || takes_ == MaxTakes) {
        return false;
    }
    ++takes_;
    return true;
}

std::size_t Retakes::CountOpen() const {
    return static_cast<std::size_t>(std::count(isSettled_.begin(), isSettled_.end(), false));
}

bool Retakes::Conclude() const {
    testing::Test::RecordProperty("takes", takes_);
    if (CountOpen() == 0) {
        return true;
    }
    if (!testing::Test::HasFailure()) {
        Skip();
    }
    return false;
}

void Retakes::Skip() const {
    GTEST_SKIP() << "this machine cannot tell: in each of " << takes_ << " takes it disturbed " << CountOpen()
                 << " of " << isSettled_.size() << " parts of what was to be heard; a quieter machine can";
}

} // namespace SystemTest
