#include "listening/findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <ostream>
#include <sstream>
#include <string>

#include "listening/tests/testmix.h"
#include "listening/tests/testsounds.h"

namespace Listening {

namespace {

using Kind_t = Finding::Kind_t;

constexpr std::int64_t SoundSamples = 108000;
constexpr std::int64_t LeadInSamples = 30011;
constexpr std::int64_t RunOutSamples = 20000;
/// -70 dBFS: 10 LSB on average.
constexpr double FaintNoise = 18.0;
/// Where damage is done: within a sound, within a window, within a period.
constexpr std::int64_t DamageAt = 79321;
constexpr LagRange WhereItBegins = {LeadInSamples - 20000, LeadInSamples + 20000};

struct Sound {
    std::string name;
    std::function<Samples()> make;
};

std::vector<Sound> const& Sounds() {
    static std::vector<Sound> const sounds = {
        {"Sine", [] { return MakeTones(SoundSamples, {440.0}, 6000.0); }},
        {"TwoTones",
         [] {
             return MakeTones(SoundSamples, {440.0, 660.0}, 4000.0);
         }},
        {"Chord",
         [] {
             return MakeTones(SoundSamples, {261.63, 329.63, 392.0}, 3000.0);
         }},
        {"Clicks", [] { return MakeClicks(SoundSamples); }},
        {"Sweep", [] { return MakeSweep(SoundSamples, 100.0, 8000.0); }},
        {"Speech", [] { return MakeSpeech(SoundSamples, 1); }},
        {"Noise", [] { return MakeNoise(SoundSamples, 3); }},
        {"Music", [] { return MakeMusic(SoundSamples, 4); }},
        {"NearSilence", [] { return MakeNoise(SoundSamples, 5, 12.0); }},
    };
    return sounds;
}

Samples MakeSound(std::string const& name) {
    auto const& sounds = Sounds();
    return std::find_if(sounds.begin(), sounds.end(), [&](Sound const& one) { return one.name == name; })
        ->make();
}

/// The sound as it was sent and as a recorder took it down.
struct Take {
    Samples sent;
    Samples heard;

    SoundComparison Compare() const { return CompareSounds(sent, heard, WhereItBegins); }
};

Take TakeOf(Samples const& sent, Samples const& played, double noise = 0.0) {
    return {sent, RecordMix({played}, LeadInSamples, RunOutSamples, noise)};
}

std::string Tell(std::vector<Finding> const& findings) {
    std::ostringstream out;
    for (Finding const& finding : findings) {
        out << "kind " << static_cast<int>(finding.kind) << " at " << finding.place.start << " + "
            << finding.place.samples << " amount " << finding.amount << '\n';
    }
    return out.str();
}

bool Has(std::vector<Finding> const& findings, Kind_t kind, double amount, double tolerance) {
    return std::any_of(findings.begin(), findings.end(), [&](Finding const& one) {
        return one.kind == kind && std::fabs(one.amount - amount) <= tolerance;
    });
}

using Findings = std::vector<Finding>;

/// What is done to a sound, and how that is told.
struct Damage {
    std::string name;
    std::function<Take(Samples const&)> play;
    std::function<bool(Findings const&)> isTold;
};

Damage Untouched(std::string name, std::function<Take(Samples const&)> play) {
    return {std::move(name), std::move(play), [](Findings const& found) { return found.empty(); }};
}

std::vector<double> SpeedsOf(std::vector<double> const& hz) {
    std::vector<double> speeds;
    for (double const one : hz) {
        speeds.push_back(one / SoundRateHz);
    }
    return speeds;
}

constexpr double Millisecond = 48.0;

std::vector<Damage> const& Damages() {
    static std::vector<Damage> const damages = {
        Untouched("Nothing", [](Samples const& s) { return TakeOf(s, s); }),
        // As drift control does it.
        Untouched("FrequencySteps",
                  [](Samples const& s) {
                      return TakeOf(s, PlayAtSpeeds(s, SpeedsOf({48000.0, 47960.0, 48000.0, 48040.0}), 27000),
                                    FaintNoise);
                  }),
        {"Missing20", [](Samples const& s) { return TakeOf(s, LeaveOut(s, DamageAt, 960), FaintNoise); },
         [](Findings const& found) {
             return Has(found, Kind_t::PartMissing, 960.0, Millisecond) ||
                    Has(found, Kind_t::LateBegin, 960.0, 250.0);
         }},
        {"Missing250", [](Samples const& s) { return TakeOf(s, LeaveOut(s, DamageAt, 12000)); },
         [](Findings const& found) {
             return Has(found, Kind_t::PartMissing, 12000.0, Millisecond) ||
                    Has(found, Kind_t::LateBegin, 12000.0, 250.0);
         }},
        {"Repeated20", [](Samples const& s) { return TakeOf(s, Repeat(s, DamageAt, 960)); },
         [](Findings const& found) {
             return Has(found, Kind_t::PartRepeated, 960.0, Millisecond) ||
                    Has(found, Kind_t::SilencePutIn, 960.0, Millisecond);
         }},
        {"Repeated250", [](Samples const& s) { return TakeOf(s, Repeat(s, DamageAt, 12000), FaintNoise); },
         [](Findings const& found) {
             // A chord is like itself after each of its periods: by how many is told roughly.
             return Has(found, Kind_t::PartRepeated, 12000.0, 13 * 734.0) ||
                    Has(found, Kind_t::SilencePutIn, 12000.0, Millisecond);
         }},
        {"Drifting",
         [](Samples const& s) {
             return TakeOf(s, PlayAtSpeeds(s, {1.0 - 300e-6}, SoundSamples), FaintNoise);
         },
         [](Findings const& found) { return Has(found, Kind_t::Drift, 300.0, 60.0); }},
        {"CutOff",
         [](Samples const& s) {
             int const peak = *std::max_element(s.begin(), s.end());
             return TakeOf(s, CutOff(s, peak / 2), FaintNoise);
         },
         [](Findings const& found) { return Has(found, Kind_t::CutOff, 0.0, 0.0); }},
    };
    return damages;
}

struct Case {
    std::string sound;
    std::string damage;
};

/// What cannot be told, and so nothing must be said about: of every sound all else is told.
bool IsUndetectable(Case const& one) {
    std::vector<std::pair<std::string, std::string>> const cases = {
        // Waves that rise above 5 kHz leave open by how many of them the sound drifts.
        {"Sweep", "Drifting"},
        // Three of them are too few.
        {"Clicks", "Drifting"},
        {"Clicks", "CutOff"},
    };
    // Fainter than what is looked for at all.
    return one.sound == "NearSilence" ||
           std::count(cases.begin(), cases.end(), std::pair(one.sound, one.damage)) > 0;
}

void PrintTo(Case const& one, std::ostream* out) {
    *out << one.sound << " " << one.damage;
}

std::vector<Case> AllCases() {
    std::vector<Case> cases;
    for (Sound const& sound : Sounds()) {
        for (Damage const& damage : Damages()) {
            cases.push_back({sound.name, damage.name});
        }
    }
    return cases;
}

class CompareDamaged : public testing::TestWithParam<Case> {};

} // namespace

TEST_P(CompareDamaged, TellsDamageThatCanBeToldAndNoOther) {
    std::vector<Damage> const& damages = Damages();
    auto const damage = std::find_if(damages.begin(), damages.end(),
                                     [](Damage const& one) { return one.name == GetParam().damage; });
    SoundComparison const comparison = damage->play(MakeSound(GetParam().sound)).Compare();
    Findings const found = ListFindings(comparison);
    if (IsUndetectable(GetParam())) {
        EXPECT_TRUE(found.empty()) << Tell(found);
    } else {
        EXPECT_TRUE(damage->isTold(found)) << Tell(found);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CompareDamaged, testing::ValuesIn(AllCases()),
                         [](testing::TestParamInfo<Case> const& tested) {
                             return tested.param.sound + "_" + tested.param.damage;
                         });

// Sounds that nobody has looked at.
class CompareAnything : public testing::TestWithParam<std::uint32_t> {};

TEST_P(CompareAnything, FindsNothingWrongWhereNothingIs) {
    Samples const sound = MakeAnything(SoundSamples, GetParam());
    Findings const untouched = ListFindings(TakeOf(sound, sound, FaintNoise).Compare());
    EXPECT_TRUE(untouched.empty()) << Tell(untouched);
}

INSTANTIATE_TEST_SUITE_P(Seeds, CompareAnything, testing::Range(1U, 4U));

TEST(CompareSounds, OfAToneWithoutItsEndsCannotTellWholePeriods) {
    Samples const tone = MakeTones(SoundSamples, {440.0, 660.0}, 4000.0);
    // The recorder starts half a second late and ends half a second early.
    Samples const heard(tone.begin() + 24000, tone.end() - 24000);
    SoundComparison const comparison = CompareSounds(tone, heard, LagRange{-36000, -12000});
    EXPECT_TRUE(ListFindings(comparison).empty()) << Tell(ListFindings(comparison));
    ASSERT_TRUE(comparison.ambiguity);
    EXPECT_TRUE(comparison.ambiguity->isOfPlace);
    // 48000 / 220
    EXPECT_NEAR(static_cast<double>(comparison.ambiguity->periodSamples), 218.2, 8.0);
}

TEST(CompareSounds, OfAToneWithoutItsEndCannotTellWholePeriodsFromThere) {
    Samples const tone = MakeTones(SoundSamples, {440.0, 660.0}, 4000.0);
    Samples heard = RecordMix({tone}, LeadInSamples, 0);
    heard.resize(heard.size() - 48000);
    SoundComparison const comparison = CompareSounds(tone, heard, WhereItBegins);
    EXPECT_TRUE(ListFindings(comparison).empty()) << Tell(ListFindings(comparison));
    ASSERT_TRUE(comparison.ambiguity);
    EXPECT_FALSE(comparison.ambiguity->isOfPlace);
}

TEST(CompareSounds, OfSpeechLeavesNoDoubt) {
    Samples const speech = MakeSpeech(SoundSamples, 1);
    EXPECT_FALSE(TakeOf(speech, speech).Compare().ambiguity);
}

TEST(CompareSounds, OfSilenceInsteadOfSoundHeardNothing) {
    Samples const speech = MakeSpeech(SoundSamples, 1);
    Findings const found = ListFindings(TakeOf(speech, Samples(SoundSamples, 0), FaintNoise).Compare());
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].kind, Kind_t::NothingHeard);
}

} // namespace Listening
