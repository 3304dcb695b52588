// The module in step with the model over random scenarios.

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "model/tests/search.h"

namespace ModelTest {
namespace {

/// A number from the environment, or `fallback`.
std::uint64_t FromEnvironment(char const* name, std::uint64_t fallback) {
    char const* const text = std::getenv(name);
    return text == nullptr ? fallback : std::strtoull(text, nullptr, 10);
}

// Longer, or elsewhere: RENDERERAUDIO_MODEL_STEPS and RENDERERAUDIO_MODEL_SEED.
TEST(Model_Random, ModuleAndModelDoTheSameInEveryStep) {
#if defined(UNDER_ADDRESS_SANITIZER)
    // What the sanitizer may find shows in fewer; a step takes five times as long under it.
    constexpr std::uint64_t DefaultSteps = 200'000;
#else
    constexpr std::uint64_t DefaultSteps = 1'000'000;
#endif
    std::uint64_t const steps = FromEnvironment("RENDERERAUDIO_MODEL_STEPS", DefaultSteps);
    std::uint64_t const seed = FromEnvironment("RENDERERAUDIO_MODEL_SEED", 1);
    Effort effort;
    auto const found = Search(seed, steps, Rules(), &effort);
    RecordProperty("steps", std::to_string(effort.steps));
    RecordProperty("scenarios", std::to_string(effort.scenarios));
    EXPECT_FALSE(found.has_value()) << "seed " << seed << ", " << found->Text();
}

} // namespace
} // namespace ModelTest
