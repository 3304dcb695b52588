#include "listening/findings.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
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
/// Where damage is done: within a sound, within a window, within a period; most of the sound lies before the
/// one and behind the other.
constexpr std::int64_t LateAt = 79321;
constexpr std::int64_t EarlyAt = 41003;
/// Wine's: half of its filter.
constexpr std::int64_t ConverterSamples = 32;
constexpr LagRange WhereItBegins = {LeadInSamples - 6000, LeadInSamples + 6000};

struct Sound {
    std::string name;
    Samples samples;
    /// After so many samples it is exactly as it was; 0 for never. Where whole periods are missing or came
    /// twice nobody can tell.
    double periodSamples = 0.0;
};

/// Made once: that takes its time.
std::vector<Sound> const& Sounds() {
    static std::vector<Sound> const sounds = {
        {"Sine", MakeTones(SoundSamples, {440.0}, 6000.0), 48000.0 / 440.0},
        {"TwoTones", MakeTones(SoundSamples, {440.0, 660.0}, 4000.0), 48000.0 / 220.0},
        {"Chord", MakeTones(SoundSamples, {261.63, 329.63, 392.0}, 3000.0)},
        {"Clicks", MakeClicks(SoundSamples)},
        {"Sweep", MakeSweep(SoundSamples, 100.0, 8000.0)},
        {"Speech", MakeSpeech(SoundSamples, 4)},
        {"Noise", MakeNoise(SoundSamples, 3)},
        {"Music", MakeMusic(SoundSamples, 4)},
        {"NearSilence", MakeNoise(SoundSamples, 5, 12.0)},
    };
    return sounds;
}

template <typename Named>
Named const& Find(std::vector<Named> const& all, std::string const& name) {
    return *std::find_if(all.begin(), all.end(), [&](Named const& one) { return one.name == name; });
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

using Findings = std::vector<Finding>;

/// What is told of a damage: nothing else, and where it is.
struct Told {
    Kind_t kind;
    double amount = 0.0;
    double tolerance = 0.0;
    std::optional<std::int64_t> at;
};

/// What is done to a sound, and how that is told.
struct Damage {
    std::string name;
    std::function<Take(Samples const&)> play;
    std::optional<Told> told;
    double gain = 1.0;
};

/// What counts as no jump yet: half a millisecond.
constexpr double JumpTolerance = 24.0;

Told Jump(Kind_t kind, double amount, std::int64_t at) {
    return {kind, amount, JumpTolerance, at};
}

std::vector<double> SpeedsOf(std::vector<double> const& hz) {
    std::vector<double> speeds;
    for (double const one : hz) {
        speeds.push_back(one / SoundRateHz);
    }
    return speeds;
}

/// As drift control does it, and a mixer, whose converter's delay comes and goes with it.
Take TakeWithFrequencySteps(Samples const& sent, std::int64_t every) {
    Samples converted = LeaveOut(sent, 3 * every, ConverterSamples);
    converted = Repeat(converted, 2 * every, ConverterSamples);
    converted = LeaveOut(converted, every, ConverterSamples);
    return TakeOf(sent, PlayAtSpeeds(converted, SpeedsOf({48000.0, 48040.0, 48000.0, 47960.0}), every),
                  FaintNoise);
}

std::vector<Damage> const& Damages() {
    static std::vector<Damage> const damages = {
        {"Nothing", [](Samples const& s) { return TakeOf(s, s); }, std::nullopt},
        {"FrequencySteps", [](Samples const& s) { return TakeWithFrequencySteps(s, 27000); }, std::nullopt},
        {"Missing20", [](Samples const& s) { return TakeOf(s, LeaveOut(s, LateAt, 960), FaintNoise); },
         Jump(Kind_t::PartMissing, 960.0, LateAt)},
        {"Missing250", [](Samples const& s) { return TakeOf(s, LeaveOut(s, EarlyAt, 12000)); },
         Jump(Kind_t::PartMissing, 12000.0, EarlyAt)},
        {"Repeated20", [](Samples const& s) { return TakeOf(s, Repeat(s, EarlyAt, 960)); },
         Jump(Kind_t::PartRepeated, 960.0, EarlyAt)},
        {"Repeated250", [](Samples const& s) { return TakeOf(s, Repeat(s, LateAt, 12000), FaintNoise); },
         Jump(Kind_t::PartRepeated, 12000.0, LateAt)},
        // Half the amplitude: the host knows whether that was asked for.
        {"Fainter6", [](Samples const& s) { return TakeOf(s, Scale(s, 0.5), FaintNoise); }, std::nullopt,
         0.5},
        // In two seconds the lag changes by 29 samples, each rounded.
        {"Drifting",
         [](Samples const& s) {
             return TakeOf(s, PlayAtSpeeds(s, {1.0 - 300e-6}, SoundSamples), FaintNoise);
         },
         Told{Kind_t::Drift, 300.0, 10.0, std::nullopt}},
        {"CutOff",
         [](Samples const& s) {
             int const peak = *std::max_element(s.begin(), s.end());
             return TakeOf(s, CutOff(s, peak / 2), FaintNoise);
         },
         Told{Kind_t::CutOff, 0.0, 0.0, std::nullopt}},
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

bool IsWholePeriods(Sound const& sound, double amount) {
    return sound.periodSamples > 0.0 && std::fabs(std::remainder(amount, sound.periodSamples)) < 1.0;
}

/// What is told of a case that nobody can tell from another one.
Told ToldOf(Sound const& sound, Told told) {
    bool const isWhole = IsWholePeriods(sound, told.amount);
    if (sound.name == "Clicks" && told.kind == Kind_t::PartRepeated) {
        // Between clicks it is silence that comes twice.
        told.kind = Kind_t::SilencePutIn;
    } else if (isWhole && told.kind == Kind_t::PartMissing) {
        // As if the beginning had been lost; that is told by blocks of 5 ms.
        told.kind = Kind_t::LateBegin;
        told.tolerance = 240.0;
    }
    told.at = isWhole ? std::nullopt : told.at;
    return told;
}

/// One finding, of this kind, this amount and at this place.
void ExpectTold(Findings const& found, Told const& told) {
    ASSERT_EQ(found.size(), 1U) << Tell(found);
    EXPECT_EQ(found[0].kind, told.kind) << Tell(found);
    EXPECT_NEAR(found[0].amount, told.amount, told.tolerance) << Tell(found);
    if (told.at) {
        EXPECT_LE(found[0].place.start, *told.at) << Tell(found);
        EXPECT_GE(found[0].place.start + found[0].place.samples, *told.at) << Tell(found);
    }
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
    Sound const& sound = Find(Sounds(), GetParam().sound);
    Damage const& damage = Find(Damages(), GetParam().damage);
    SoundComparison const comparison = damage.play(sound.samples).Compare();
    Findings const found = ListFindings(comparison);
    if (!damage.told || IsUndetectable(GetParam())) {
        EXPECT_TRUE(found.empty()) << Tell(found);
    } else {
        ExpectTold(found, ToldOf(sound, *damage.told));
    }
    bool const hasGain = comparison.isFound && damage.name != "CutOff";
    // A fifth of a decibel: what slips within a window is less alike, and so taken for fainter.
    EXPECT_NEAR(hasGain ? comparison.gain : damage.gain, damage.gain, 0.025 * damage.gain);
    EXPECT_EQ(comparison.isTooFaint, sound.name == "NearSilence");
    EXPECT_FALSE(comparison.ambiguity);
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

TEST(CompareSounds, OfToneAndChordWithoutTheirFirstFramesLacksTheBeginning) {
    for (char const* name : {"Sine", "TwoTones", "Chord", "Speech"}) {
        Samples const& sound = Find(Sounds(), name).samples;
        for (std::int64_t const lost : {960, 4800}) {
            Samples played = sound;
            std::fill_n(played.begin(), lost, std::int16_t(0));
            Findings const found = ListFindings(TakeOf(sound, played, FaintNoise).Compare());
            ExpectTold(found, {Kind_t::LateBegin, static_cast<double>(lost), 240.0, std::nullopt});
        }
    }
}

// A mixer that begins to convert the rate leaves out two thirds of a millisecond, once: no reason to take the
// tone's beginning for late by whole periods.
TEST(CompareSounds, OfATonePlayedFasterOnTheWayStillLacksTheBeginning) {
    for (Samples const& sound : {Find(Sounds(), "Sine").samples, Find(Sounds(), "TwoTones").samples,
                                 MakeTones(SoundSamples, {500.0}, 6000.0)}) {
        for (std::int64_t const at : {EarlyAt, LateAt}) {
            Samples played = LeaveOut(sound, at, ConverterSamples);
            std::fill_n(played.begin(), 1920, std::int16_t(0));
            Findings const found = ListFindings(TakeOf(sound, played, FaintNoise).Compare());
            ExpectTold(found, {Kind_t::LateBegin, 1920.0, 240.0, std::nullopt});
        }
    }
}

// Nobody can tell where: missing parts are first frames more often than not, and what came twice is told by
// the end.
TEST(CompareSounds, OfWholePeriodsThatCameTwiceTellsTheEnd) {
    for (char const* name : {"Sine", "TwoTones"}) {
        Samples const& sound = Find(Sounds(), name).samples;
        for (std::int64_t const at : {EarlyAt, LateAt}) {
            Findings const found =
                ListFindings(TakeOf(sound, Repeat(sound, at, 12000), FaintNoise).Compare());
            ExpectTold(found, Jump(Kind_t::PartRepeated, 12000.0, SoundSamples));
        }
    }
}

// Up to the silence it fits where the beginning leads, and would again behind it.
TEST(CompareSounds, OfSilenceOfWholePeriodsPutIntoAToneTellsWhere) {
    for (char const* name : {"Sine", "TwoTones"}) {
        Samples const& sound = Find(Sounds(), name).samples;
        for (std::int64_t const at : {EarlyAt, LateAt}) {
            Samples played(sound.begin(), sound.begin() + at);
            played.resize(static_cast<std::size_t>(at + 4800));
            played.insert(played.end(), sound.begin() + at, sound.end());
            ExpectTold(ListFindings(TakeOf(sound, played, FaintNoise).Compare()),
                       Jump(Kind_t::SilencePutIn, 4800.0, at));
        }
    }
}

// The one jump that has to be takes the other one along, which may be anywhere.
TEST(CompareSounds, OfWholePeriodsBesideAJumpTellsBothWhereThatIs) {
    Samples const& sound = Find(Sounds(), "TwoTones").samples;
    Samples const first = Repeat(Repeat(sound, LateAt, 12000), EarlyAt, 1000);
    ExpectTold(ListFindings(TakeOf(sound, first, FaintNoise).Compare()),
               Jump(Kind_t::PartRepeated, 13000.0, EarlyAt));
    Samples const last = Repeat(Repeat(sound, LateAt, 1000), EarlyAt, 12000);
    ExpectTold(ListFindings(TakeOf(sound, last, FaintNoise).Compare()),
               Jump(Kind_t::PartRepeated, 13000.0, LateAt));
}

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
