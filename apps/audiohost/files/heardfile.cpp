#include "files/heardfile.h"

#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>

#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

constexpr int PollMilliSec = 100;
constexpr int StillMilliSec = 300;
constexpr int LongestMilliSec = 2000;
/// What is read in one go, whole samples.
constexpr std::size_t BlockBytes = 65536;

std::uintmax_t SizeOf(std::string const& path) {
    std::error_code error;
    std::uintmax_t const size = std::filesystem::file_size(std::filesystem::u8path(path), error);
    return error ? 0 : size;
}

} // namespace

std::int64_t CountRawSamples(std::string const& path) {
    return static_cast<std::int64_t>(SizeOf(path) / sizeof(std::int16_t));
}

void WaitUntilStill(std::string const& path, std::function<void(int)> const& sleep) {
    std::uintmax_t size = SizeOf(path);
    int still = 0;
    for (int waited = 0; waited < LongestMilliSec && still < StillMilliSec; waited += PollMilliSec) {
        sleep(PollMilliSec);
        std::uintmax_t const now = SizeOf(path);
        still = now == size ? still + PollMilliSec : 0;
        size = now;
    }
}

Listening::Samples ReadRawSound(std::string const& path) {
    std::ifstream file(std::filesystem::u8path(path), std::ios::binary);
    if (!file) {
        throw HostError(ExitCode_t::FileMissing, "the recording '" + path + "' cannot be read.");
    }
    Listening::Samples samples;
    samples.reserve(static_cast<std::size_t>(CountRawSamples(path)));
    std::array<char, BlockBytes> block{};
    do {
        file.read(block.data(), block.size());
        for (std::size_t i = 0; i + 1 < static_cast<std::size_t>(file.gcount()); i += 2) {
            auto const low = static_cast<unsigned char>(block[i]);
            auto const high = static_cast<unsigned char>(block[i + 1]);
            samples.push_back(static_cast<std::int16_t>(low | high << 8));
        }
    } while (file);
    return samples;
}

} // namespace AudioHost
