#include "support/recording/microphonefeed.h"

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <vector>

namespace TestSupport {

namespace {

constexpr char const* MicrophoneVariable = "RENDERERAUDIO_MICROPHONE";

/// The audio server, when it once had nothing to play, waits for up to 100 ms of sound before it goes on:
/// what came last would be heard with the next sound. That much, and half as much again, is silence.
constexpr std::size_t HeldBackSamples = Listening::SoundRateHz * 3 / 20;

} // namespace

MicrophoneFeed MicrophoneFeed::FromEnvironment() {
    char const* const path = std::getenv(MicrophoneVariable);
    if (path == nullptr) {
        throw std::runtime_error(std::string(MicrophoneVariable) +
                                 " is not set: start this program through tests/system/run-recorded");
    }
    return MicrophoneFeed(path);
}

void MicrophoneFeed::Play(Listening::SampleView sound) const {
    Listening::Samples samples(sound.begin(), sound.end());
    samples.resize(samples.size() + HeldBackSamples);
    PlayPiece(samples);
}

void MicrophoneFeed::PlayPiece(Listening::SampleView sound) const {
    // Both channels alike: whoever mixes them down to one gets the samples back.
    std::vector<std::int16_t> interleaved;
    interleaved.reserve(2 * sound.GetSize());
    for (std::int16_t const sample : sound) {
        interleaved.push_back(sample);
        interleaved.push_back(sample);
    }
    std::ofstream file(path_, std::ios::binary | std::ios::app);
    file.write(reinterpret_cast<char const*>(interleaved.data()),
               static_cast<std::streamsize>(interleaved.size() * sizeof(std::int16_t)));
    if (!file.flush()) {
        throw std::runtime_error("the microphone's file cannot be written: " + path_);
    }
}

} // namespace TestSupport
