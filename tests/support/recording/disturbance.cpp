#include "support/recording/disturbance.h"

#include <algorithm>
#include <iterator>

namespace TestSupport {

bool IsDisturbed(std::vector<Disturbance> const& disturbances, std::optional<std::size_t> session,
                 std::int64_t firstSample, std::int64_t lastSample) {
    return std::any_of(disturbances.begin(), disturbances.end(), [&](Disturbance const& disturbance) {
        bool const isTheirs = !session || !disturbance.session || *disturbance.session == *session;
        return isTheirs && disturbance.firstSample <= lastSample && disturbance.lastSample >= firstSample;
    });
}

double CalmShare(std::vector<Disturbance> const& disturbances, std::int64_t firstSample,
                 std::int64_t lastSample) {
    std::vector<Disturbance> ofAll;
    std::copy_if(disturbances.begin(), disturbances.end(), std::back_inserter(ofAll),
                 [](Disturbance const& disturbance) { return !disturbance.session; });
    std::sort(ofAll.begin(), ofAll.end(),
              [](Disturbance const& a, Disturbance const& b) { return a.firstSample < b.firstSample; });
    std::int64_t disturbed = 0;
    std::int64_t seen = firstSample;
    for (Disturbance const& disturbance : ofAll) {
        std::int64_t const from = std::max(disturbance.firstSample, seen);
        std::int64_t const to = std::min(disturbance.lastSample, lastSample);
        disturbed += std::max<std::int64_t>(0, to - from);
        seen = std::max(seen, to);
    }
    std::int64_t const all = lastSample - firstSample;
    return all > 0 ? 1.0 - static_cast<double>(disturbed) / static_cast<double>(all) : 1.0;
}

} // namespace TestSupport
