#pragma once

#include <cstdint>
#include <string>

#include "files/ffmpegpointers.h"
#include "files/mediainput.h"

namespace AudioHost {

/// The coded packets of a file's best audio stream.
///
/// **Threads:** one at a time.
class PacketSource {
public:
    /// Throws `HostError` with a sentence that names the file: `FileMissing`, `NotAudio` (cannot be read,
    /// empty, not an audio file) or `NoSound` (no audio stream in it).
    explicit PacketSource(MediaInput const& input);

    AVCodecParameters const& GetParameters() const { return *stream_->codecpar; }
    /// Seconds that one unit of a packet's time stamps lasts.
    AVRational GetTimeBase() const { return stream_->time_base; }
    /// How long the file sounds, in nanoseconds, as its headers tell; 0 when they do not.
    std::int64_t GetDurationNanoSec() const;
    /// Short name of the container, such as "wav" or "aac".
    std::string GetFormatName() const { return format_->iformat->name; }

    /// The stream's next packet, valid until the next call; null at the end (or where the file breaks off).
    AVPacket const* Next();
    /// Packets given out so far.
    std::uint64_t GetPacketCount() const { return packetCount_; }

private:
    FormatPointer format_;
    PacketPointer packet_;
    AVStream* stream_ = nullptr;
    std::uint64_t packetCount_ = 0;
};

/// The last part of `path`, for messages.
std::string FileNameOf(std::string const& path);

} // namespace AudioHost
