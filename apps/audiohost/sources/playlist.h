#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "files/mediainput.h"
#include "files/pcmframes.h"
#include "files/soundsource.h"
#include "kovra/time.h"

namespace AudioHost {

/// Files one after the other without a gap, once or over and over. As their codings differ, all of them are
/// decoded here and handed over as PCM.
class Playlist : public SoundSource {
public:
    /// `inputs` has one at least; frames are stamped `base` plus their position. Opens each file when its
    /// turn comes; reading then throws `HostError` as `MediaFile` does.
    Playlist(std::vector<MediaInput> inputs, bool isLoop, Kovra::SysTime base);
    ~Playlist() override;

    std::string const& GetName() const override { return name_; }
    std::string const& GetDescription() const override { return description_; }
    std::int64_t GetDurationNanoSec() const override { return durationNanoSec_; }

    bool ReadFrame(MediaFrame& next) override;

private:
    class Turns;

    std::string const name_;
    std::string const description_;
    std::int64_t const durationNanoSec_;
    std::unique_ptr<Turns> turns_;
    PcmFrames frames_;
};

} // namespace AudioHost
