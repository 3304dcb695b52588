#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/pcmframes.h"
#include "files/soundsource.h"
#include "kovra/time.h"

namespace AudioHost {

/// Sines of these frequencies (one at least), added up, peaks at half of full scale at most. Endless.
std::unique_ptr<PcmStream> MakeTone(std::vector<double> frequenciesHz);
/// White noise with peaks at a quarter of full scale, the same each time. Endless.
std::unique_ptr<PcmStream> MakeNoise();

/// "440 + 660 Hz".
std::string NameTone(std::vector<double> const& frequenciesHz);

/// Made sound in place of a file.
class TestSignal : public SoundSource {
public:
    /// Frames are stamped `base` plus their position. 0 ns: without an end.
    TestSignal(std::unique_ptr<PcmStream> sound, std::string name, std::int64_t durationNanoSec,
               Kovra::SysTime base)
        : sound_(std::move(sound)),
          name_(std::move(name)),
          durationNanoSec_(durationNanoSec),
          frames_(base, name_) {}

    std::string const& GetName() const override { return name_; }
    std::string const& GetDescription() const override { return description_; }
    std::int64_t GetDurationNanoSec() const override { return durationNanoSec_; }

    bool ReadFrame(MediaFrame& next) override;

private:
    std::unique_ptr<PcmStream> const sound_;
    std::string const name_;
    std::string const description_ = "test signal, handed over as 48 kHz mono PCM";
    std::int64_t const durationNanoSec_;
    PcmFrames frames_;
};

} // namespace AudioHost
