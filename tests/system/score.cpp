#include "score.h"

#include <utility>

#include "support/recording/waituntil.h"

namespace SystemTest {

namespace {

constexpr std::int64_t WritingMilliSec = 50;

} // namespace

Score::Score() : start_(Kovra::JiffyTime::Now().AddMilliSec(WritingMilliSec)) {}

Kovra::JiffyTime Score::GetInstant(std::int64_t nanoSec) const {
    return Kovra::JiffyTime(start_.NanoSec() + nanoSec);
}

void Score::At(std::int64_t nanoSec, std::function<void()> action) {
    actions_.emplace(nanoSec, std::move(action));
}

void Score::WaitForStart() const {
    TestSupport::WaitUntil(start_);
}

void Score::Perform() const {
    for (auto const& [nanoSec, action] : actions_) {
        TestSupport::WaitUntil(GetInstant(nanoSec));
        action();
    }
}

} // namespace SystemTest
