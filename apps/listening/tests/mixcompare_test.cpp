#include "listening/mix/mixcompare.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>

#include "listening/findings.h"
#include "listening/tests/testmix.h"

namespace Listening {

namespace {

using Kind_t = Finding::Kind_t;
using Hearing_t = SoundInMix::Hearing_t;

constexpr std::int64_t MixSamples = 96000;
constexpr std::int64_t MixLeadIn = 30011;
constexpr std::int64_t MixRunOut = 20000;
constexpr LagRange WhereTheyBegin = {MixLeadIn - 6000, MixLeadIn + 6000};
/// -70 dBFS.
constexpr double MixNoise = 18.0;
/// Sessions that begin together are heard so many samples apart.
constexpr std::int64_t Apart[] = {130, 0, 305};
constexpr std::int64_t QuarterSecond = 12000;
constexpr std::int64_t DamagedAt = 42011;

struct MixCase {
    std::string name;
    std::vector<Samples> sounds;
    /// Of these nobody can tell where they lie, as they repeat themselves.
    std::vector<std::size_t> placeless;
};

std::vector<MixCase> const& Mixes() {
    static Samples const speech = MakeSpeech(MixSamples, 4);
    static Samples const music = MakeMusic(MixSamples, 4);
    static Samples const noise = MakeNoise(MixSamples, 3);
    static Samples const sweep = MakeSweep(MixSamples, 100.0, 8000.0);
    static Samples const tone = MakeTones(MixSamples, {440.0}, 4000.0);
    static std::vector<MixCase> const mixes = {
        {"SpeechAndMusic", {speech, music}, {}},
        {"ToneAndSpeech", {tone, speech}, {0}},
        {"TwoTones", {tone, MakeTones(MixSamples, {660.0}, 4000.0)}, {0, 1}},
        {"ThreeVoices", {speech, MakeSpeech(MixSamples, 9), MakeSpeech(MixSamples, 12)}, {}},
        {"SpeechMusicNoise", {speech, music, noise}, {}},
        {"SweepSpeechMusic", {sweep, speech, music}, {}},
    };
    return mixes;
}

/// What is done to one of the sounds, and how that is told.
struct MixDamage {
    std::string name;
    std::function<Samples(Samples const&)> play;
    std::optional<Finding> told;
    double tolerance = 0.0;
    double gain = 1.0;
};

Samples Silent(Samples const& sound, std::int64_t at, std::int64_t count) {
    Samples result = sound;
    std::fill_n(result.begin() + at, count, std::int16_t(0));
    return result;
}

Samples Later(Samples const& sound, std::int64_t count) {
    Samples result(static_cast<std::size_t>(count));
    result.insert(result.end(), sound.begin(), sound.end());
    return result;
}

std::vector<MixDamage> const& MixDamages() {
    static std::vector<MixDamage> const damages = {
        {"Nothing", [](Samples const& s) { return s; }, std::nullopt},
        // As drift control does it, to one alone.
        {"OtherSpeeds",
         [](Samples const& s) {
             return PlayAtSpeeds(s, {1.0, 47960.0 / 48000.0, 1.0, 48040.0 / 48000.0}, 24000);
         },
         std::nullopt},
        {"NotPlayed", [](Samples const& s) { return Samples(s.size()); },
         Finding{Kind_t::NothingHeard, {}, 0.0}},
        // 30 ms.
        {"Late", [](Samples const& s) { return Later(s, 1440); }, Finding{Kind_t::OutOfStep, {}, 1440.0},
         330.0},
        {"Fainter6", [](Samples const& s) { return Scale(s, 0.5); }, std::nullopt, 0.0, 0.5},
        {"SilentQuarterSecond", [](Samples const& s) { return Silent(s, DamagedAt, QuarterSecond); },
         Finding{Kind_t::Hole, {DamagedAt, QuarterSecond}, static_cast<double>(QuarterSecond)}, 6000.0},
        {"LostQuarterSecond", [](Samples const& s) { return LeaveOut(s, DamagedAt, QuarterSecond); },
         Finding{Kind_t::PartMissing, {DamagedAt, QuarterSecond}, static_cast<double>(QuarterSecond)}, 24.0},
    };
    return damages;
}

template <typename Named>
Named const& FindNamed(std::vector<Named> const& all, std::string const& name) {
    return *std::find_if(all.begin(), all.end(), [&](Named const& one) { return one.name == name; });
}

MixComparison PlayAndCompare(std::vector<Samples> const& sent, std::vector<Samples> played) {
    for (std::size_t i = 0; i < played.size(); ++i) {
        played[i] = Later(played[i], Apart[i]);
    }
    Samples const heard = RecordMix(played, MixLeadIn, MixRunOut, MixNoise);
    return CompareMix({sent.begin(), sent.end()}, heard, WhereTheyBegin);
}

std::string TellMix(MixComparison const& comparison) {
    std::ostringstream out;
    for (SoundInMix const& sound : comparison.sounds) {
        out << "hearing " << static_cast<int>(sound.hearing) << " gain " << sound.gain << " late "
            << sound.lateSamples.value_or(-99999.0);
        for (Finding const& finding : ListFindings(sound)) {
            out << "; kind " << static_cast<int>(finding.kind) << " at " << finding.place.start << " + "
                << finding.place.samples << " amount " << finding.amount;
        }
        out << '\n';
    }
    return out.str();
}

struct DamagedMix {
    std::string mix;
    std::string damage;
    std::size_t sound = 0;
};

void PrintTo(DamagedMix const& one, std::ostream* out) {
    *out << one.mix << " " << one.damage << " " << one.sound;
}

std::vector<DamagedMix> AllMixes() {
    std::vector<DamagedMix> cases;
    // Each damage is done to one of the sounds, by turns: to all it would take a minute.
    std::size_t turn = 0;
    for (MixCase const& mix : Mixes()) {
        for (MixDamage const& damage : MixDamages()) {
            cases.push_back({mix.name, damage.name, turn++ % mix.sounds.size()});
        }
    }
    return cases;
}

bool IsPlaceless(MixCase const& mix, std::size_t sound) {
    return std::count(mix.placeless.begin(), mix.placeless.end(), sound) > 0;
}

/// Told once, of this kind and amount, and where it is.
void ExpectToldOnce(std::vector<Finding> const& found, MixDamage const& damage, bool isPlaceless) {
    ASSERT_EQ(found.size(), 1U);
    if (isPlaceless && damage.told->kind == Kind_t::PartMissing) {
        // Whole periods: the sound ends early.
        EXPECT_EQ(found[0].kind, Kind_t::Hole);
        return;
    }
    EXPECT_EQ(found[0].kind, damage.told->kind);
    EXPECT_NEAR(found[0].amount, damage.told->amount, damage.tolerance);
    if (damage.told->place.samples > 0) {
        std::int64_t const middle = damage.told->place.start + damage.told->place.samples / 2;
        EXPECT_LE(found[0].place.start, middle);
        EXPECT_GE(found[0].place.start + found[0].place.samples, damage.told->place.start);
    }
}

class CompareMixed : public testing::TestWithParam<DamagedMix> {};

} // namespace

TEST_P(CompareMixed, TellsWhichSoundIsDamagedAndHow) {
    MixCase const& mix = FindNamed(Mixes(), GetParam().mix);
    MixDamage const& damage = FindNamed(MixDamages(), GetParam().damage);
    std::size_t const damaged = GetParam().sound;
    std::vector<Samples> played = mix.sounds;
    played[damaged] = damage.play(played[damaged]);
    MixComparison const comparison = PlayAndCompare(mix.sounds, played);
    SCOPED_TRACE(TellMix(comparison));
    for (std::size_t i = 0; i < played.size(); ++i) {
        SoundInMix const& sound = comparison.sounds[i];
        bool const isPlaceless = IsPlaceless(mix, i);
        // There has to be another one whose place is known.
        bool const isBesideOne = mix.sounds.size() > mix.placeless.size() + 1;
        bool const isUntold =
            !damage.told || (damage.told->kind == Kind_t::OutOfStep && (isPlaceless || !isBesideOne));
        EXPECT_NE(sound.hearing, Hearing_t::CannotTell);
        if (i == damaged && !isUntold) {
            ExpectToldOnce(ListFindings(sound), damage, isPlaceless);
        } else {
            EXPECT_TRUE(ListFindings(sound).empty());
        }
        if (sound.hearing == Hearing_t::Heard) {
            EXPECT_NEAR(sound.gain, i == damaged ? damage.gain : 1.0, 0.1);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Table, CompareMixed, testing::ValuesIn(AllMixes()),
                         [](testing::TestParamInfo<DamagedMix> const& tested) {
                             return tested.param.mix + "_" + tested.param.damage +
                                    std::to_string(tested.param.sound);
                         });

namespace {

MixComparison PlayWhole(std::vector<Samples> const& sounds) {
    return PlayAndCompare(sounds, sounds);
}

void ExpectNobodyCanTell(MixComparison const& comparison) {
    SCOPED_TRACE(TellMix(comparison));
    for (SoundInMix const& sound : comparison.sounds) {
        EXPECT_EQ(sound.hearing, Hearing_t::CannotTell);
        EXPECT_TRUE(ListFindings(sound).empty());
        EXPECT_FALSE(sound.lateSamples);
    }
}

Samples SilenceFor(Samples const& sound) {
    return Samples(sound.size());
}

} // namespace

TEST(CompareMix, OfSoundsThatAreTheSameCannotTellWhichWasHeard) {
    Samples const tone = MakeTones(MixSamples, {440.0}, 4000.0);
    Samples const voice = MakeSpeech(MixSamples, 4);
    for (Samples const& sound : {tone, voice}) {
        ExpectNobodyCanTell(CompareMix(
            {sound, sound}, RecordMix({sound, sound}, MixLeadIn, MixRunOut, MixNoise), WhereTheyBegin));
        ExpectNobodyCanTell(PlayAndCompare({sound, sound}, {sound, SilenceFor(sound)}));
    }
}

TEST(CompareMix, OfASoundThatIsTheSumOfOthersCannotTellAnyOfThem) {
    Samples const low = MakeTones(MixSamples, {440.0}, 4000.0);
    Samples const high = MakeTones(MixSamples, {660.0}, 4000.0);
    Samples const both = MakeTones(MixSamples, {440.0, 660.0}, 4000.0);
    ExpectNobodyCanTell(PlayWhole({low, high, both}));
    ExpectNobodyCanTell(PlayAndCompare({low, high, both}, {low, high, SilenceFor(both)}));
}

TEST(CompareMix, OfASoundThatIsCoveredOrTooFaintCannotTell) {
    Samples const music = MakeMusic(MixSamples, 4);
    for (double const amplitude : {12.0, 100.0}) {
        MixComparison const comparison = PlayWhole({music, MakeNoise(MixSamples, 3, amplitude)});
        EXPECT_EQ(comparison.sounds[0].hearing, Hearing_t::Heard);
        EXPECT_EQ(comparison.sounds[1].hearing, Hearing_t::CannotTell) << amplitude;
    }
}

TEST(CompareMix, OfNothingHeardCannotTellWhoseItWas) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const music = MakeMusic(MixSamples, 4);
    ExpectNobodyCanTell(PlayAndCompare({speech, music}, {SilenceFor(speech), SilenceFor(music)}));
    ExpectNobodyCanTell(CompareMix({speech, music}, SampleView()));
}

TEST(CompareMix, TellsSixteenSoundsApartAndNotMore) {
    std::vector<Samples> sounds;
    for (std::uint32_t seed = 1; seed <= MaxMixSounds; ++seed) {
        sounds.push_back(MakeNoise(36000, seed, 1200.0));
    }
    std::vector<Samples> played = sounds;
    played[11] = SilenceFor(played[11]);
    MixComparison const comparison =
        CompareMix({sounds.begin(), sounds.end()}, RecordMix(played, MixLeadIn, MixRunOut), WhereTheyBegin);
    for (std::size_t i = 0; i < sounds.size(); ++i) {
        EXPECT_EQ(comparison.sounds[i].hearing, i == 11 ? Hearing_t::NotHeard : Hearing_t::Heard) << i;
    }
    sounds.push_back(MakeNoise(36000, 99, 1200.0));
    ExpectNobodyCanTell(
        CompareMix({sounds.begin(), sounds.end()}, RecordMix(sounds, MixLeadIn, MixRunOut), WhereTheyBegin));
}

TEST(CompareMix, OfTwoSoundsTheEarlierIsInTimeOfThreeTheMiddleOne) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const music = MakeMusic(MixSamples, 4);
    MixComparison const two = PlayWhole({speech, music});
    EXPECT_NEAR(two.sounds[0].lateSamples.value_or(-1.0), 130.0, 1.0);
    EXPECT_NEAR(two.sounds[1].lateSamples.value_or(-1.0), 0.0, 1.0);
    MixComparison const three = PlayWhole({speech, music, MakeNoise(MixSamples, 3)});
    EXPECT_NEAR(three.sounds[0].lateSamples.value_or(-1.0), 0.0, 1.0);
    EXPECT_NEAR(three.sounds[1].lateSamples.value_or(-1.0), -130.0, 1.0);
    EXPECT_NEAR(three.sounds[2].lateSamples.value_or(-1.0), 175.0, 1.0);
}

TEST(CompareMix, OfAStepTellsFromTenMilliSecondsOn) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const music = MakeMusic(MixSamples, 4);
    EXPECT_TRUE(
        ListFindings(PlayAndCompare({speech, music}, {speech, LeaveOut(music, DamagedAt, 470)}).sounds[1])
            .empty());
    EXPECT_EQ(
        ListFindings(PlayAndCompare({speech, music}, {speech, LeaveOut(music, DamagedAt, 490)}).sounds[1])
            .size(),
        1U);
}

TEST(CompareMix, OfASoundHeldUpOnItsWayTellsForHowLong) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const music = MakeMusic(MixSamples, 4);
    Samples heldUp(music.begin(), music.begin() + DamagedAt);
    heldUp.resize(DamagedAt + 1440);
    heldUp.insert(heldUp.end(), music.begin() + DamagedAt, music.end());
    MixComparison const comparison = PlayAndCompare({speech, music}, {speech, heldUp});
    SCOPED_TRACE(TellMix(comparison));
    EXPECT_TRUE(ListFindings(comparison.sounds[0]).empty());
    std::vector<Finding> const found = ListFindings(comparison.sounds[1]);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].kind, Kind_t::OutOfStep);
    EXPECT_NEAR(found[0].amount, 1440.0, 24.0);
    EXPECT_GT(found[0].place.samples, 0);
}

TEST(CompareMix, WhatAllSoundsDoTogetherIsNoneOfTheirs) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const music = MakeMusic(MixSamples, 4);
    Samples heard = RecordMix({speech, music}, MixLeadIn, MixRunOut, MixNoise);
    heard = LeaveOut(heard, MixLeadIn + DamagedAt, 4800);
    MixComparison const comparison = CompareMix({speech, music}, heard, WhereTheyBegin);
    SCOPED_TRACE(TellMix(comparison));
    for (SoundInMix const& sound : comparison.sounds) {
        EXPECT_TRUE(ListFindings(sound).empty());
    }
    // It is in the sum.
    std::vector<Finding> const found = ListFindings(CompareSounds(comparison.mix, heard, WhereTheyBegin));
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].kind, Kind_t::PartMissing);
    EXPECT_NEAR(found[0].amount, 4800.0, 24.0);
}

// As a renderer may lose its first frames: a tone fits best where it would begin then.
TEST(CompareMix, OfAToneWithoutItsFirstFramesKeepsItBesideTheOthers) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const tone = MakeTones(MixSamples, {440.0}, 12000.0);
    Samples const noise = MakeNoise(MixSamples, 3, 3000.0);
    Samples heard = RecordMix({speech, tone, noise}, MixLeadIn, MixRunOut, MixNoise);
    std::fill_n(heard.begin() + MixLeadIn, 1920, std::int16_t(0));
    MixComparison const comparison = CompareMix({speech, tone, noise}, heard, WhereTheyBegin);
    for (SoundInMix const& sound : comparison.sounds) {
        EXPECT_TRUE(ListFindings(sound).empty()) << TellMix(comparison);
    }
    EXPECT_TRUE(CompareSounds(comparison.mix, heard, WhereTheyBegin).jumps.empty());
}

TEST(CompareMix, PlacesEachSoundWhereItWasHeard) {
    Samples const speech = MakeSpeech(MixSamples, 4);
    Samples const noise = MakeNoise(MixSamples, 3);
    std::vector<double> const speeds = {1.0, 47960.0 / 48000.0, 1.0, 48040.0 / 48000.0};
    Samples const heard =
        RecordMix({PlayAtSpeeds(speech, speeds, 24000), Later(noise, 1440)}, MixLeadIn, MixRunOut, MixNoise);
    MixComparison const comparison = CompareMix({speech, noise}, heard, WhereTheyBegin);
    SoundComparison const placed = CompareSounds(comparison.mix, heard, WhereTheyBegin);
    EXPECT_EQ(placed.GetMatchedShare(), 1.0);
    EXPECT_TRUE(ListFindings(placed).empty());
    // As they were sent they are not what was heard.
    EXPECT_LT(CompareSounds(MixSounds({speech, noise}), heard, WhereTheyBegin).GetMatchedShare(), 0.95);
}

TEST(ListFindings, OfASoundInAMixIsOutOfStepBeyondTwentyMilliSeconds) {
    SoundInMix sound;
    sound.hearing = Hearing_t::Heard;
    for (double const sign : {-1.0, 1.0}) {
        sound.lateSamples = sign * 960.0;
        EXPECT_TRUE(ListFindings(sound).empty());
        sound.lateSamples = sign * 961.0;
        ASSERT_EQ(ListFindings(sound).size(), 1U);
        EXPECT_EQ(ListFindings(sound)[0].kind, Kind_t::OutOfStep);
    }
}

// Sounds that nobody has looked at.
class CompareAnythingMixed : public testing::TestWithParam<std::uint32_t> {};

TEST_P(CompareAnythingMixed, FindsNothingWrongWhereNothingIs) {
    MixComparison const comparison =
        PlayWhole({MakeAnything(MixSamples, GetParam()), MakeSpeech(MixSamples, GetParam() + 20),
                   MakeMusic(MixSamples, GetParam() + 40)});
    for (SoundInMix const& sound : comparison.sounds) {
        EXPECT_TRUE(ListFindings(sound).empty()) << TellMix(comparison);
        EXPECT_TRUE(sound.hearing != Hearing_t::Heard || std::fabs(sound.gain - 1.0) < 0.1)
            << TellMix(comparison);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, CompareAnythingMixed, testing::Range(1U, 5U));

} // namespace Listening
