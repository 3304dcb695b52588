#pragma once

#include <memory>
#include <string>

#include "files/framemaker.h"
#include "live/packetorder.h"
#include "live/streamconnection.h"

namespace AudioHost {

/// One frame of a stream on its way to the pipeline. Its position is on the stream's timeline.
struct LiveFrame {
    MediaFrame media;
    Kovra::JiffyTime due;
    /// How long before it was due the packet came that it is made of.
    std::int64_t spareNanoSec = 0;
    /// Where on the timeline the packet ends that it is made of.
    std::int64_t endNanoSec = 0;
};

/// Makes the pipeline's frames of a stream's packets, which come in their order: one of each packet that has
/// sound in it.
///
/// **Threads:** one at a time.
class LiveFrameMaker {
public:
    virtual ~LiveFrameMaker() = default;

    /// False when nothing can be made of the packet.
    virtual bool Make(PlacedPacket const& packet, LiveFrame& frame) = 0;
    /// True when the renderer decodes the frames.
    virtual bool IsCoded() const = 0;
};

/// Decoded sound goes on where it was, as long as the timestamps agree with the count of its samples so well.
constexpr std::int64_t CountToleranceNanoSec = NextToleranceNanoSec;

/// The maker for the stream: mono AAC and mono G.711 go on coded, all else as mono PCM at `SoundRateHz`.
/// Throws `std::runtime_error` when nothing can decode the stream.
std::unique_ptr<LiveFrameMaker> CreateLiveFrameMaker(StreamFormat const& format, std::string const& name);

} // namespace AudioHost
