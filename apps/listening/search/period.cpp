#include "listening/search/period.h"

#include <algorithm>

#include "listening/search/smoothing.h"
#include "listening/search/windowmatch.h"
#include "listening/soundlevel.h"

namespace Listening {

namespace {

/// Windows by which a sound is found.
constexpr std::size_t WindowsPicked = 6;
/// As like itself as this a sound is after a period, and less in between.
constexpr float PeriodLikeness = 0.97F;
constexpr float BetweenPeriods = 0.9F;

} // namespace

std::vector<std::int64_t> PickLoudWindows(SampleView sound) {
    std::size_t const count = sound.GetSize() / static_cast<std::size_t>(CompareWindowSamples);
    std::size_t const parts = std::min(WindowsPicked, count);
    std::vector<std::int64_t> picked;
    for (std::size_t part = 0; part < parts; ++part) {
        double loudest = MinLevelDecibel - 1.0;
        picked.push_back(0);
        for (std::size_t i = part * count / parts; i < (part + 1) * count / parts; ++i) {
            std::int64_t const start = static_cast<std::int64_t>(i) * CompareWindowSamples;
            double const level = LevelDecibel(sound.Cut(start, CompareWindowSamples));
            picked.back() = level > loudest ? start : picked.back();
            loudest = std::max(loudest, level);
        }
    }
    return picked;
}

std::optional<std::int64_t> FindPeriod(SampleView sound) {
    WindowMatcher const itself(sound, sound, IsTreble(sound));
    std::vector<float> least(static_cast<std::size_t>(CompareSearchSamples), 1.0F);
    for (std::int64_t const start : PickLoudWindows(sound)) {
        if (!itself.IsLoud(start)) {
            continue;
        }
        std::vector<float> const ahead = itself.Likeness(start, 0, CompareSearchSamples - 1);
        std::vector<float> const behind = itself.Likeness(start, 1 - CompareSearchSamples, 0);
        for (std::size_t i = 0; i < least.size(); ++i) {
            least[i] = std::min(least[i], std::max(ahead[i], behind[behind.size() - 1 - i]));
        }
    }
    auto const between =
        std::find_if(least.begin(), least.end(), [](float one) { return one < BetweenPeriods; });
    auto const again = std::find_if(between, least.end(), [](float one) { return one > PeriodLikeness; });
    return again == least.end() ? std::nullopt : std::optional<std::int64_t>(again - least.begin());
}

} // namespace Listening
