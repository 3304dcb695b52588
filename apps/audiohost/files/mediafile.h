#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "files/framemaker.h"
#include "files/packetsource.h"
#include "kovra/time.h"

namespace AudioHost {

/// An audio file as the frames that the pipeline gets.
///
/// **Threads:** one at a time.
class MediaFile {
public:
    /// `path` is UTF-8; frames are stamped `base` (not 0: the renderer takes 0 for "none yet") plus their
    /// position. Throws `HostError` as `PacketSource` does, and `NotAudio` when nothing can decode the file.
    MediaFile(std::string const& path, Kovra::SysTime base);

    std::string const& GetName() const { return name_; }
    /// In words: coding, rate, channels, and who decodes it.
    std::string const& GetDescription() const { return description_; }
    /// In nanoseconds, as the file's headers tell; 0 when they do not.
    std::int64_t GetDurationNanoSec() const { return packets_.GetDurationNanoSec(); }

    /// The next frame; false at the end.
    bool ReadFrame(MediaFrame& next) { return maker_->Next(next); }

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
void RequireSound(std::string const& path);

} // namespace AudioHost
