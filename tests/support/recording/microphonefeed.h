#pragma once

#include <string>
#include <utility>

#include "listening/samples.h"

namespace TestSupport {

/// The file that `run-recorded` plays to the source which the module captures. What is appended sounds as
/// soon as the audio server comes to it; where the file ends, it is silent.
///
/// **Threads:** one at a time.
class MicrophoneFeed {
public:
    /// The file that the environment names. Throws `std::runtime_error` when it names none.
    static MicrophoneFeed FromEnvironment();

    /// Lets the microphone hear `sound`, sample for sample, with silence behind it.
    void Play(Listening::SampleView sound) const;
    /// Lets it hear a piece of a sound that goes on without a seam.
    void PlayPiece(Listening::SampleView sound) const;

private:
    explicit MicrophoneFeed(std::string path) : path_(std::move(path)) {}

    std::string path_;
};

} // namespace TestSupport
