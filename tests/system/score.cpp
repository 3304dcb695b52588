#include "score.h"

#include <chrono>
#include <thread>
#include <utility>

namespace SystemTest {

namespace {

constexpr std::int64_t WritingMilliSec = 50;

void WaitUntil(Kovra::JiffyTime instant) {
    std::int64_t const ahead = instant.GetDiffSysTime(Kovra::JiffyTime::Now()).NanoSec();
    if (ahead > 0) {
        std::this_thread::sleep_for(std::chrono::nanoseconds(ahead));
    }
}

} // namespace

Score::Score() : start_(Kovra::JiffyTime::Now().AddMilliSec(WritingMilliSec)) {}

Kovra::JiffyTime Score::GetInstant(std::int64_t nanoSec) const {
    return Kovra::JiffyTime(start_.NanoSec() + nanoSec);
}

void Score::At(std::int64_t nanoSec, std::function<void()> action) {
    actions_.emplace(nanoSec, std::move(action));
}

void Score::WaitForStart() const {
    WaitUntil(start_);
}

void Score::Perform() const {
    for (auto const& [nanoSec, action] : actions_) {
        WaitUntil(GetInstant(nanoSec));
        action();
    }
}

} // namespace SystemTest
