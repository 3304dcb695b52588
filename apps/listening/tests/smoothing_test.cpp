#include "listening/search/smoothing.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

#include "listening/tests/testsounds.h"

namespace Listening {

namespace {

// Of eight kept parts of a quarter second the first has to go for the ninth.
constexpr std::int64_t PartSamples = SecondSamples / 4;
constexpr std::int64_t Count = 3000;

void ExpectAsCompared(KeptSound const& kept, ComparedSound const& compared, std::int64_t start) {
    Signal const cut = kept.Cut(start, Count);
    Signal const expected = compared.Cut(start, Count);
    ASSERT_EQ(cut.size(), expected.size());
    for (std::size_t i = 0; i < cut.size(); ++i) {
        // What the filter still knows of samples before what it began with.
        ASSERT_NEAR(cut[i], expected[i], 0.5) << i << " from " << start;
    }
}

} // namespace

class KeptSound_Cut : public testing::TestWithParam<bool> {
protected:
    Samples const voice = MakeVoice(11 * PartSamples);
    KeptSound const kept = KeptSound(voice, GetParam());
    ComparedSound const compared = ComparedSound(voice, GetParam());
};

TEST_P(KeptSound_Cut, IsThatOfTheComparedSound) {
    std::vector<std::int64_t> const starts = {-PartSamples - Count / 2,
                                              -Count,
                                              -1,
                                              0,
                                              1,
                                              PartSamples - Count,
                                              PartSamples - 1,
                                              PartSamples,
                                              11 * PartSamples - Count / 2,
                                              11 * PartSamples + 1};
    for (std::int64_t const start : starts) {
        ExpectAsCompared(kept, compared, start);
    }
}

TEST_P(KeptSound_Cut, GoesOnAndBackAgain) {
    for (std::int64_t part = -1; part < 12; ++part) {
        ExpectAsCompared(kept, compared, part * PartSamples + Count);
    }
    for (std::int64_t part = 12; part-- > -1;) {
        ExpectAsCompared(kept, compared, part * PartSamples + Count);
    }
}

INSTANTIATE_TEST_SUITE_P(BelowTheTrebleAndAll, KeptSound_Cut, testing::Bool());

} // namespace Listening
