// Writes random scenarios as the bytes that scripts_fuzz reads: a corpus to start from.
//   scripts_corpus FOLDER

#include <cstdint>
#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "model/choices.h"
#include "model/generator.h"

namespace {

constexpr std::uint64_t Scenarios = 200;
constexpr std::uint64_t MaxSteps = 100;

/// Random choices, kept as the bytes of which `ByteChoices` makes the same.
class RecordedChoices final : public ModelTest::Choices {
public:
    explicit RecordedChoices(std::uint64_t seed) : random_(seed) {}

    std::uint64_t Below(std::uint64_t count) override {
        std::uint64_t const chosen = random_.Below(count);
        int bits = 0;
        for (std::uint64_t range = count - 1; range != 0; range >>= 8) {
            bits += 8;
        }
        while (bits != 0) {
            bits -= 8;
            bytes.push_back(static_cast<char>(chosen >> bits));
        }
        return chosen;
    }

    std::vector<char> bytes;

private:
    ModelTest::RandomChoices random_;
};

bool Write(std::string const& folder, std::uint64_t number) {
    RecordedChoices choices(number);
    std::size_t const steps = static_cast<std::size_t>(number % MaxSteps) + 1;
    static_cast<void>(ModelTest::Generate(choices, steps));
    std::ofstream file(folder + "/scenario" + std::to_string(number), std::ios::binary);
    file.write(choices.bytes.data(), static_cast<std::streamsize>(choices.bytes.size()));
    return file.good();
}

} // namespace

int main(int count, char** arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: scripts_corpus FOLDER\n");
        return 2;
    }
    for (std::uint64_t number = 0; number < Scenarios; ++number) {
        if (!Write(arguments[1], number)) {
            std::fprintf(stderr, "scripts_corpus: cannot write to %s\n", arguments[1]);
            return 1;
        }
    }
    return 0;
}
