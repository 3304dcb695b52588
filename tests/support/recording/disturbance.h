#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace TestSupport {

/// A stretch of the recording in which sound was disturbed for a reason that is known and not a glitch of a
/// session's own: the shared output stood still, or the module moved the play cursor and said so.
struct Disturbance {
    /// Nothing: all sessions.
    std::optional<std::size_t> session;
    std::int64_t firstSample = 0;
    std::int64_t lastSample = 0;
};

/// True when the session (nothing: any) was disturbed anywhere between the two samples.
bool IsDisturbed(std::vector<Disturbance> const& disturbances, std::optional<std::size_t> session,
                 std::int64_t firstSample, std::int64_t lastSample);

/// Share of the samples `[first, last)` in which nothing disturbed all sessions.
double CalmShare(std::vector<Disturbance> const& disturbances, std::int64_t firstSample,
                 std::int64_t lastSample);

} // namespace TestSupport
