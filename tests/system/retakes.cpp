#include "retakes.h"

#include <algorithm>

namespace SystemTest {

bool Retakes::Begin() {
    if (CountOpen() == 0 || takes_ == MostTakes) {
        return false;
    }
    ++takes_;
    return true;
}

std::size_t Retakes::CountOpen() const {
    return static_cast<std::size_t>(std::count(isSettled_.begin(), isSettled_.end(), false));
}

std::string Retakes::Complain() const {
    return "this machine cannot tell: in each of " + std::to_string(takes_) + " takes it disturbed " +
           std::to_string(CountOpen()) + " of " + std::to_string(isSettled_.size()) +
           " parts of what was to be heard; a quieter machine can";
}

} // namespace SystemTest
