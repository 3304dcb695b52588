#include "racestest.h"

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#if defined(UNDER_THREAD_SANITIZER)
#include <sanitizer/common_interface_defs.h>
#endif

namespace Media {

namespace {

#if defined(UNDER_THREAD_SANITIZER)
constexpr std::uint64_t DefaultRounds = 4;
#else
// Without the thread sanitizer only outcomes are looked at.
constexpr std::uint64_t DefaultRounds = 2;
#endif

std::uint64_t NumberFromEnvironment(char const* name, std::uint64_t otherwise) {
    char const* const text = std::getenv(name);
    std::uint64_t const number = text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
    return number == 0 ? otherwise : number;
}

/// What to tell where the program ends without GoogleTest's doing: asking GoogleTest then might wait for a
/// lock.
std::string runningTest;

void PrintRunningTest() {
    std::fputs(runningTest.c_str(), stderr);
}

void NameTheTestWhenTheProgramIsEnded() {
    auto const* const info = ::testing::UnitTest::GetInstance()->current_test_info();
    runningTest = std::string("while ") + info->test_suite_name() + "." + info->name() + " ran\n";
    std::signal(SIGABRT, [](int) { PrintRunningTest(); });
#if defined(UNDER_THREAD_SANITIZER)
    __sanitizer_set_death_callback(PrintRunningTest);
#endif
}

} // namespace

std::uint64_t RacesTest::Rounds() {
    return NumberFromEnvironment("RENDERERAUDIO_RACES_ROUNDS", DefaultRounds);
}

std::uint64_t RacesTest::FirstSeed() {
    return NumberFromEnvironment("RENDERERAUDIO_RACES_SEED", 1);
}

RacesTest::RacesTest() {
    NameTheTestWhenTheProgramIsEnded();
    Pipeline::SetAudioRenderer(renderer.get());
    world.Device().SetRingCheck(false);
    world.Device().SetLocksExclude(true);
    world.Shaking().Start(GetParam());
    EXPECT_TRUE(UnitTest::InitializeWithRunningThread(*renderer, world));
}

RacesTest::~RacesTest() {
    Pipeline::SetAudioRenderer(nullptr);
}

std::shared_ptr<FrameAud> RacesTest::MakeFrame(std::uint64_t number, std::int16_t value, bool isCoded) {
    std::int64_t const timestampNanoSec = OriginNanoSec + static_cast<std::int64_t>(number) * FrameNanoSec;
    if (!isCoded) {
        return UnitTest::ConstantFrame(timestampNanoSec, FrameSamples, value);
    }
    std::vector<std::uint8_t> bytes(sizeof(value));
    std::memcpy(bytes.data(), &value, sizeof(value));
    return UnitTest::CodedFrame(MediaCoding_t::G711, timestampNanoSec, bytes);
}

void RacesTest::ExpectRing(Simulation::SoundBuffer& buffer, std::uint64_t frames,
                           std::function<std::int16_t(std::uint64_t)> const& valueOf) const {
    std::vector<std::int16_t> const ring = buffer.Samples(0, RingSamples);
    auto const cleared = static_cast<std::uint32_t>(
        std::find_if(ring.begin(), ring.end(), [](std::int16_t sample) { return sample != 0; }) -
        ring.begin());
    // Clearing goes by 128 samples, behind the play cursor, as soon as 15000 were played. A session that is
    // four frames behind, and the time that passed since, leave no more than six frames beside that.
    EXPECT_EQ(cleared % 128, 0U);
    EXPECT_LE(cleared, buffer.PlayFrame());
    EXPECT_LT(buffer.PlayFrame() - cleared, 15000U + 128U + 6U * FrameSamples);
    std::vector<std::int16_t> expected(RingSamples, 0);
    for (auto sample = std::size_t{cleared}; sample < frames * FrameSamples; ++sample) {
        expected[sample] = valueOf(sample / FrameSamples);
    }
    auto const difference = std::mismatch(ring.begin(), ring.end(), expected.begin());
    EXPECT_EQ(difference.first, ring.end()) << "sample " << difference.first - ring.begin() << " is "
                                            << *difference.first << ", not " << *difference.second;
}

} // namespace Media
