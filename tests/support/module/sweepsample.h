#pragma once

#include <cstdint>
#include <cstdlib>

namespace UnitTest {

/// Which of a sweep's lives are lived: all, or one of as many as RENDERERAUDIO_SWEEP_ONE_OF says. For builds
/// in which a life takes long, and in which another build lives them all.
class SweepSample {
public:
    bool TakesNext() { return next_++ % oneOf_ == 0; }
    /// How many of so many lives are taken.
    std::uint64_t ShareOf(std::uint64_t lives) const { return (lives + oneOf_ - 1) / oneOf_; }

private:
    static std::uint64_t OneOf() {
        char const* const text = std::getenv("RENDERERAUDIO_SWEEP_ONE_OF");
        std::uint64_t const number = text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
        return number == 0 ? 1 : number;
    }

    std::uint64_t const oneOf_ = OneOf();
    std::uint64_t next_ = 0;
};

} // namespace UnitTest
