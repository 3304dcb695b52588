#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "listening/samples.h"

namespace AudioHost {

/// A folder of its own for each test, removed at its end.
class TestFolder {
public:
    TestFolder();
    ~TestFolder();
    TestFolder(TestFolder const&) = delete;
    TestFolder& operator=(TestFolder const&) = delete;

    /// Path in UTF-8 of a file in it.
    std::string PathOf(std::string const& name) const;
    /// Writes the bytes; returns the path.
    std::string Write(std::string const& name, std::string const& bytes) const;

private:
    std::filesystem::path path_;
};

/// A file's bytes; none when there is no such file.
std::string ReadFile(std::string const& path);

/// What a WAV header tells.
struct WavFormat {
    /// 1 PCM, 6 A-law, 7 mu-law.
    std::uint16_t tag = 1;
    std::uint16_t channels = 1;
    std::uint32_t rateHz = Listening::SoundRateHz;
    std::uint16_t bits = 16;
};

/// A WAV file's bytes around those of its samples.
std::string MakeWav(WavFormat const& format, std::string const& data);
std::string BytesOf(Listening::Samples const& samples);

/// Codes sound, the same in all channels, into a file with the library's own encoder and muxer. The encoder's
/// delay goes with it.
void EncodeFile(std::string const& path, char const* muxer, char const* encoder,
                Listening::Samples const& sound, int rateHz, int channels = 1);

} // namespace AudioHost
