#pragma once

#include <cstdint>
#include <string>

#include "listening/samples.h"

namespace TestSupport {

/// What was heard on the two channels of the output. Samples are at `Listening::SoundRateHz`.
struct HeardSound {
    Listening::Samples left;
    Listening::Samples right;
};

/// The file to which `run-recorded` writes what the output plays, while the tests run. Its length in samples
/// is the tests' clock for what is heard; it runs behind the machine's clock by an unknown amount of some
/// tens of milliseconds.
///
/// **Threads:** one at a time.
class Recording {
public:
    /// The file that the environment names. Throws `std::runtime_error` when it names none.
    static Recording FromEnvironment();

    /// Samples recorded so far.
    std::int64_t GetLength() const;

    /// Waits until the recording is `length` samples long. Throws `std::runtime_error` when it does not grow.
    void WaitForLength(std::int64_t length) const;

    /// The samples from `start` to the end of the recording as it is now.
    HeardSound ReadFrom(std::int64_t start) const;

private:
    explicit Recording(std::string path) : path_(std::move(path)) {}

    std::string path_;
};

} // namespace TestSupport
