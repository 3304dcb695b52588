#include "files/heardfile.h"

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

constexpr int PollMilliSec = 100;
constexpr int StillMilliSec = 300;
constexpr int LongestMilliSec = 2000;

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
    std::vector<char> const bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    Listening::Samples samples(bytes.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        auto const low = static_cast<unsigned char>(bytes[2 * i]);
        auto const high = static_cast<unsigned char>(bytes[2 * i + 1]);
        samples[i] = static_cast<std::int16_t>(low | high << 8);
    }
    return samples;
}

} // namespace AudioHost
