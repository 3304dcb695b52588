#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "files/packetsource.h"
#include "kovra/time.h"
#include "listening/samples.h"
#include "mediacore/frame.h"

namespace AudioHost {

/// One frame on its way to the pipeline.
struct MediaFrame {
    std::shared_ptr<Media::FrameAud> frame;
    /// Where it starts in its stream and how long it sounds.
    std::int64_t positionNanoSec = 0;
    std::int64_t durationNanoSec = 0;
    /// The sound that it stands for.
    Listening::Samples sound;
};

/// Makes the pipeline's frames from a file's packets. Frames are stamped `base` plus their position.
///
/// **Threads:** one at a time.
class FrameMaker {
public:
    virtual ~FrameMaker() = default;

    /// False at the end.
    virtual bool Next(MediaFrame& next) = 0;
    /// True when the frames are coded and the renderer decodes them.
    virtual bool IsCoded() const = 0;
};

/// The maker for the stream: mono AAC and mono G.711 go on coded, all else as 20 ms of mono PCM at
/// `SoundRateHz`. `packets` is borrowed. Throws `std::runtime_error` when nothing can decode the stream.
std::unique_ptr<FrameMaker> CreateFrameMaker(PacketSource& packets, Kovra::SysTime base,
                                             std::string const& name);

} // namespace AudioHost
