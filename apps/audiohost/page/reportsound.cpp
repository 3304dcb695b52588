#include "page/reportsound.h"

#include <algorithm>
#include <utility>

#include "files/flacsound.h"
#include "page/spectrogram.h"

namespace AudioHost {

namespace {

constexpr std::int64_t MaxStretches = 2000;
/// The shortest stretch that takes whole microseconds; all are multiples of it.
constexpr std::int64_t UnitSamples = 6;
constexpr std::int64_t UnitMicroSec = 125;

ReportWave MakeWave(Listening::SampleView sound) {
    auto const size = static_cast<std::int64_t>(sound.GetSize());
    std::int64_t const units = (size / MaxStretches + UnitSamples) / UnitSamples;
    std::int64_t const stretch = units * UnitSamples;
    ReportWave wave;
    wave.stretchMicroSec = units * UnitMicroSec;
    for (std::int64_t at = 0; at < size; at += stretch) {
        Listening::SampleView const part = sound.Cut(at, stretch);
        auto const [low, high] = std::minmax_element(part.begin(), part.end());
        wave.low.push_back(*low);
        wave.high.push_back(*high);
    }
    return wave;
}

} // namespace

ReportSound ShowSound(std::string const& id, std::string const& title, Listening::SampleView sound,
                      std::int64_t startMilliSec) {
    ReportSound result;
    result.id = id;
    result.title = title;
    result.startMilliSec = startMilliSec;
    result.lengthMilliSec = static_cast<std::int64_t>(sound.GetSize()) * Listening::MilliSecPerSec /
                            static_cast<std::int64_t>(Listening::SoundRateHz);
    result.wave = MakeWave(sound);
    result.spectrogram = MakeSpectrogram(sound);
    return result;
}

ReportSound PlaySound(std::string const& id, std::string const& title, Listening::SampleView sound,
                      std::int64_t startMilliSec, std::string const& fileName, std::vector<SideFile>& files) {
    ReportSound result = ShowSound(id, title, sound, startMilliSec);
    if (sound.IsEmpty()) {
        return result;
    }
    std::string flac = EncodeFlac(sound);
    if (result.lengthMilliSec <= MaxEmbeddedSeconds * Listening::MilliSecPerSec) {
        result.flac = std::move(flac);
    } else {
        result.fileName = fileName;
        files.push_back({fileName, std::move(flac)});
    }
    return result;
}

} // namespace AudioHost
