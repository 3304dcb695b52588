#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "mediacore/frame.h"

namespace Media {

/// G.711 by its u-law, and straight lines between samples where the rate changes.
class HARBOUR_API AudioCodecProxy {
public:
    using Frames = std::vector<std::shared_ptr<FrameAud>>;

    Frames Decode(Frames const& frames);
    Frames Transcode(Frames const& frames, MediaCoding_t coding, int channels, std::uint32_t frequencyHz,
                     Kovra::SysTime duration, bool flush);

private:
    /// Where the last line ended.
    std::int16_t lastSample_ = 0;
    bool hasLast_ = false;
};

} // namespace Media
