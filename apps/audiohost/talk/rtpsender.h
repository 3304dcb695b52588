#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "listening/samples.h"
#include "terminal/options.h"

namespace AudioHost {

/// Sends sound to an address of the network as RTP, coded; what is sent last no network confirms.
///
/// **Threads:** one at a time.
/// **Units:** sound is mono at `SoundRateHz`.
class RtpSender {
public:
    /// `address` is rtp://HOST:PORT; the port's successor gets the sender's reports (RTCP), so it is 65534 at
    /// most. Throws `HostError`: `Usage` for another address, `NoStream` when there is no such host.
    RtpSender(std::string const& address, TalkCodec_t codec);
    ~RtpSender();
    RtpSender(RtpSender const&) = delete;
    RtpSender& operator=(RtpSender const&) = delete;

    /// The description (SDP) that a receiver needs; its lines end as the protocol wants it.
    std::string const& GetDescription() const { return description_; }
    /// Coding and rate, in words.
    std::string GetCoding() const;

    /// Sends what is complete of the sound so far: G.711 and Opus in packets of 20 ms, AAC in its frames of
    /// 1024 samples. Each packet's timestamp counts the samples before it, so the receiver sees the clock
    /// that the sound was taken by. What the network does not take is counted, and the next is tried.
    void Send(Listening::SampleView sound);
    /// Sends what the coder still holds, with silence behind it. Nothing may follow.
    void End();

    /// Packets so far, taken by the network or not.
    std::uint64_t CountPackets() const;
    /// Packets that the network did not take.
    std::uint64_t CountFailed() const { return failed_; }

private:
    struct Coder;

    void Encode();

    std::unique_ptr<Coder> const coder_;
    std::string description_;
    std::uint64_t written_ = 0;
    std::uint64_t failed_ = 0;
};

} // namespace AudioHost
