#pragma once

#include <cstdint>
#include <string>

#include "files/framemaker.h"

namespace AudioHost {

/// What one session plays, as the frames that the pipeline gets.
///
/// **Threads:** one at a time.
class SoundSource {
public:
    virtual ~SoundSource() = default;

    virtual std::string const& GetName() const = 0;
    /// In words: coding, rate, channels, and who decodes it.
    virtual std::string const& GetDescription() const = 0;
    /// In nanoseconds, as far as it is known before it is played; 0 when it is not, or has no end.
    virtual std::int64_t GetDurationNanoSec() const = 0;

    /// The next frame; false at the end.
    virtual bool ReadFrame(MediaFrame& next) = 0;
};

} // namespace AudioHost
