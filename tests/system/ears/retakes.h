#pragma once

#include <cstddef>
#include <vector>

namespace SystemTest {

/// Which parts of a test are still to be measured. Each take plays all of them again, a limited number of
/// times, until each part lay in undisturbed sound once. What is undisturbed is judged in every take: whether
/// a part is settled decides only if there is another one, and a test that sums its parts up takes each once
/// (`IsSettled`).
class Retakes {
public:
    /// On a machine as busy as can be two or three are usual. One that needs more than these cannot tell.
    static constexpr int MaxTakes = 6;

    explicit Retakes(std::size_t parts) : isSettled_(parts, false) {}

    /// Before each take: false when all parts are settled, or when there were `MaxTakes`.
    bool Begin();

    /// The part lay in undisturbed sound and has been judged.
    void Settle(std::size_t part) { isSettled_.at(part) = true; }
    bool IsSettled(std::size_t part) const { return isSettled_.at(part); }

    int CountTakes() const { return takes_; }
    std::size_t CountOpen() const;

    /// To be called in the end: notes in the test's results how often it was taken. False when parts were
    /// left open: what they would have summed up to is not there. Unless the test has failed, this machine
    /// cannot tell then; it counts as skipped and says why.
    bool Conclude() const;

private:
    /// The macro that skips a test returns nothing.
    void Skip() const;

    std::vector<bool> isSettled_;
    int takes_ = 0;
};

} // namespace SystemTest
