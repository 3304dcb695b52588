#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "files/framemaker.h"
#include "files/packetsource.h"
#include "files/soundsource.h"
#include "kovra/time.h"
#include "listening/samples.h"

namespace AudioHost {

/// An audio file.
class MediaFile : public SoundSource {
public:
    /// Frames are stamped `base` (not 0: the renderer takes 0 for "none yet") plus their position. Throws
    /// `HostError` as `PacketSource` does, and `NotAudio` when nothing can decode the file.
    MediaFile(MediaInput const& input, Kovra::SysTime base);

    std::string const& GetName() const override { return name_; }
    std::string const& GetDescription() const override { return description_; }
    /// As the file's headers tell.
    std::int64_t GetDurationNanoSec() const override { return packets_.GetDurationNanoSec(); }

    bool ReadFrame(MediaFrame& next) override { return maker_->Next(next); }

    /// True when coded data has been read, whether or not anything could be made of it.
    bool HasReadData() const { return packets_.GetPacketCount() > 0; }

private:
    std::string name_;
    PacketSource packets_;
    std::unique_ptr<FrameMaker> maker_;
    std::string description_;
};

/// Reads the file until its first sound. Throws `HostError` when there is none: `NotAudio` when nothing in it
/// can be decoded, `NoSound` when it ends without a sample or all of it is silent.
void RequireSound(MediaInput const& input);

/// All of the file as the pipeline would play it. Throws `HostError` as `MediaFile` does.
Listening::Samples ReadSound(MediaInput const& input);

} // namespace AudioHost
