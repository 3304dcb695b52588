#include "support/recording/recording.h"

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

namespace TestSupport {

namespace {

constexpr char const* RecordingVariable = "RENDERERAUDIO_RECORDING";
constexpr std::int64_t Channels = 2;
constexpr std::int64_t SampleBytes = Channels * 2;
/// Another process writes the file, at the pace of the sound: its length is all there is to wait for.
constexpr auto PollInterval = std::chrono::milliseconds(20);
/// A server that records nothing for so long is not just slow: it records every 20 ms.
constexpr auto StandstillLimit = std::chrono::seconds(60);

std::ifstream Open(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        throw std::runtime_error("the recording cannot be read: " + path);
    }
    return file;
}

} // namespace

Recording Recording::FromEnvironment() {
    char const* const path = std::getenv(RecordingVariable);
    if (path == nullptr) {
        throw std::runtime_error(std::string(RecordingVariable) +
                                 " is not set: start this program through tests/system/run-recorded");
    }
    return Recording(path);
}

std::int64_t Recording::GetLength() const {
    std::ifstream file = Open(path_);
    file.seekg(0, std::ios::end);
    return static_cast<std::int64_t>(file.tellg()) / SampleBytes;
}

void Recording::WaitForLength(std::int64_t length) const {
    std::int64_t seen = GetLength();
    auto grown = std::chrono::steady_clock::now();
    while (seen < length) {
        std::this_thread::sleep_for(PollInterval);
        std::int64_t const now = GetLength();
        if (now > seen) {
            grown = std::chrono::steady_clock::now();
        } else if (std::chrono::steady_clock::now() - grown > StandstillLimit) {
            throw std::runtime_error(
                "the recording does not grow any more: has the audio server or its recorder ended?");
        }
        seen = now;
    }
}

HeardSound Recording::ReadFrom(std::int64_t start) const {
    std::int64_t const length = GetLength();
    HeardSound sound;
    if (length <= start) {
        return sound;
    }
    std::vector<std::int16_t> interleaved(static_cast<std::size_t>((length - start) * Channels));
    std::ifstream file = Open(path_);
    file.seekg(start * SampleBytes);
    file.read(reinterpret_cast<char*>(interleaved.data()),
              static_cast<std::streamsize>(interleaved.size() * sizeof(std::int16_t)));
    if (!file) {
        throw std::runtime_error("the recording cannot be read to its end: " + path_);
    }
    for (std::size_t i = 0; i < interleaved.size(); i += static_cast<std::size_t>(Channels)) {
        sound.left.push_back(interleaved[i]);
        sound.right.push_back(interleaved[i + 1]);
    }
    return sound;
}

} // namespace TestSupport
