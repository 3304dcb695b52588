#pragma once

#include <cstdint>
#include <fstream>
#include <memory>
#include <ostream>
#include <string>

#include "listening/samples.h"

namespace AudioHost {

/// Writes a WAV file: 16-bit mono PCM at `SoundRateHz`. The header is brought up to date after every append,
/// so that what stands in `out` is a valid file with all sound appended so far, whenever the program ends.
///
/// **Threads:** one at a time.
class WavStream {
public:
    /// Most samples that the header's 32 bits can tell: 12.4 hours.
    static constexpr std::uint32_t MaxSamples = (UINT32_MAX - 36U) / 2U;

    /// Writes the header of an empty file. `out` (borrowed) must be able to seek and not throw.
    explicit WavStream(std::ostream& out) : out_(out) { isGood_ = WriteHeader(); }

    /// False when it could not be written, or the file is full: the file then holds what it held before,
    /// perhaps with bytes behind it that do not count.
    bool Append(Listening::SampleView samples);

    /// Nothing has failed so far.
    bool IsGood() const { return isGood_; }
    std::uint32_t GetSampleCount() const { return count_; }
    /// Bytes of the valid file.
    std::uint64_t GetSizeBytes() const;

private:
    bool WriteHeader();

    std::ostream& out_;
    std::uint32_t count_ = 0;
    bool isGood_ = false;
};

/// A WAV file at a path, which takes the place of an older one when its first sound comes.
///
/// **Threads:** one at a time.
class WavFile {
public:
    /// Only tries whether the file can be written. Throws `HostError` (`NotWritten`) when it cannot.
    explicit WavFile(std::string path);
    /// Leaves no empty file behind where none stood and nothing came.
    ~WavFile();
    WavFile(WavFile const&) = delete;
    WavFile& operator=(WavFile const&) = delete;

    /// Throws `HostError` (`NotWritten`) when it cannot be written (any more); what was appended before is
    /// then a valid file.
    void Append(Listening::SampleView samples);

private:
    [[noreturn]] void Fail();

    std::string const path_;
    bool hasExisted_ = false;
    std::ofstream file_;
    std::unique_ptr<WavStream> stream_;
};

} // namespace AudioHost
