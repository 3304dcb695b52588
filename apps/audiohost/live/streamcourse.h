#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "kovra/time.h"
#include "live/streamconnection.h"
#include "terminal/hosterror.h"

namespace AudioHost {

/// A stream that broke is opened again after this, then after twice as long each time, up to the longest
/// pause.
constexpr std::int64_t FirstPauseNanoSec = 250 * Kovra::NanoSecPerMilliSec;
constexpr std::int64_t LongestPauseNanoSec = 500 * Kovra::NanoSecPerMilliSec;
/// One that holds for so long from its first packet on is back. A server that sends one and hangs up each
/// time gets the longest pauses, and is given up.
constexpr std::int64_t BackNanoSec = StallLimitNanoSec;
/// One that has not been back for so long since it broke is given up.
constexpr std::int64_t GiveUpNanoSec = 60 * Kovra::NanoSecPerSec;
/// What comes as fast as it is read is held to its own time; a timestamp further off begins a new one.
constexpr std::int64_t MaxAheadNanoSec = 10 * Kovra::NanoSecPerSec;

/// What becomes of a stream, in its order.
struct StreamNews {
    enum class Kind_t {
        /// Packets of `format` follow; of a stream that was open before the first of them is there.
        Opened,
        Packet,
        /// It broke, or could not be opened again; `text` is a part of a sentence.
        Broke,
        /// Nothing more follows. With `error` it never opened, or was given up.
        Over,
    };

    Kind_t kind = Kind_t::Over;
    StreamFormat format;
    LivePacket packet;
    std::string text;
    std::optional<HostError> error;
};

/// Follows a stream to its end: opens it, reads it, and opens it again when it broke. Its first opening is
/// not tried again: what is wrong with it is most likely the address.
///
/// `connect` opens it or throws `HostError`; `wait` lets that many nanoseconds pass, and says false at once
/// when all shall end; `tell` gets what happens.
void FollowStream(std::function<std::unique_ptr<StreamConnection>()> const& connect,
                  std::function<bool(std::int64_t)> const& wait, std::function<void(StreamNews)> const& tell);

} // namespace AudioHost
