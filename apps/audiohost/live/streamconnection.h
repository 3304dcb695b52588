#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "files/ffmpegpointers.h"
#include "kovra/time.h"

namespace AudioHost {

/// How a stream is coded, and what its timestamps count.
struct StreamFormat {
    std::shared_ptr<AVCodecParameters> parameters;
    /// Of the decoder's packets.
    AVRational timeBase = {1, 1};
    std::int64_t ticksPerSec = 1;
    /// Timestamps begin anew after two to the power of so many.
    unsigned int wrapBits = 64;
    /// Packets hold headers of their own (ADTS) instead of the set-up in the parameters.
    bool hasOwnHeaders = false;
    /// It comes as fast as it is read, not as fast as it sounds.
    bool isAhead = false;
    /// It has an end of its own.
    bool isFinite = false;
};

/// One coded packet, as it came.
struct LivePacket {
    std::vector<std::uint8_t> data;
    std::uint64_t ticks = 0;
    /// 0 when nothing tells.
    std::int64_t durationNanoSec = 0;
    Kovra::JiffyTime arrival;
};

/// An open stream.
///
/// **Threads:** one at a time.
class StreamConnection {
public:
    enum class Result_t { Packet, Ended, Broken, Silent };

    virtual ~StreamConnection() = default;

    virtual StreamFormat const& GetFormat() const = 0;
    /// Waits for the next packet. `Broken` when it cannot come any more, `Silent` when nothing has come for
    /// `StallLimitNanoSec`, which is no better; `why` then tells, as a part of a sentence.
    virtual Result_t Read(LivePacket& packet, std::string& why) = 0;
};

/// Nothing from a sender for so long: it has gone, or the way to it.
constexpr std::int64_t StallLimitNanoSec = 2 * Kovra::NanoSecPerSec;
/// A server gets so long for its answers until the stream is open.
constexpr std::int64_t OpenLimitNanoSec = 5 * Kovra::NanoSecPerSec;

enum class Transport_t { Udp, Tcp };

/// What is said behind the address of a stream that cannot be opened, by the library's status.
std::string ReasonOf(int status, bool isDescription);

/// Opens `address` (rtsp, udp or http; or the path of a session's description). `stop` ends every wait in
/// here and in the connection within a fifth of a second, but not the system's look-up of a host's name.
/// Throws `HostError`: `Usage` for another scheme, `FileMissing`, `NoStream` (cannot be reached, refused, no
/// such path, a password is asked for, no answer), `NoSound` (no audio in it), `NotAudio` (in a coding that
/// cannot be decoded). No sentence tells the address's credentials.
std::unique_ptr<StreamConnection> OpenStream(std::string const& address, Transport_t transport,
                                             std::shared_ptr<std::atomic<bool>> stop);

} // namespace AudioHost
