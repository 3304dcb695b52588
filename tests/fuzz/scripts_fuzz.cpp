// Scripts of any kind on the module in step with the model: bytes decide what a generator would leave to
// chance.

#include <cstdint>
#include <cstdio>
#include <cstdlib>

#include "model/comparison/runner.h"
#include "model/steps/choices.h"
#include "model/steps/generator.h"

namespace {

constexpr std::size_t MaxSteps = 300;

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    ModelTest::ByteChoices choices(data, size);
    ModelTest::Scenario const scenario = ModelTest::Generate(choices, MaxSteps);
    ModelTest::Outcome const outcome = ModelTest::RunInStep(scenario);
    if (!outcome.isAlike) {
        std::fprintf(stderr, "step %zu: %s\n%s\n", outcome.step + 1, outcome.difference.c_str(),
                     ModelTest::ToText(scenario).c_str());
        std::abort();
    }
    return 0;
}
