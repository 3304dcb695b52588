#pragma once

#include <cstdint>
#include <vector>

#include "listening/samples.h"

namespace SystemTest {

/// A place at which a captured sound does not go on as it was sent. In samples.
struct CaptureBreak {
    /// Where in the captured stream it begins.
    std::int64_t place = 0;
    /// Silence put in.
    std::int64_t silent = 0;
    /// Sound left out; negative when some comes again.
    std::int64_t lost = 0;
    /// Neither silence nor a part of the sound.
    std::int64_t foreign = 0;
};

/// How a sound came through the microphone, sample by sample.
struct CapturedSound {
    /// Where in the stream it begins.
    std::int64_t begin = 0;
    std::int64_t heard = 0;
    std::vector<CaptureBreak> breaks;
};

/// Follows `sound`, a noise, through `stream`, in which silence lies around it. What is missing at either end
/// is a break too.
CapturedSound FollowSound(Listening::SampleView sound, Listening::SampleView stream);

} // namespace SystemTest
