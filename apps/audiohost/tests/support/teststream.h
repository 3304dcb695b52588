#pragma once

#include <deque>
#include <memory>
#include <string>
#include <utility>

#include "kovra/time.h"
#include "live/streamconnection.h"

namespace AudioHost {

/// A mono G.711 stream of 8000 Hz whose timestamps count nanoseconds.
inline StreamFormat MakeTestFormat() {
    StreamFormat format;
    format.parameters = {avcodec_parameters_alloc(),
                         [](AVCodecParameters* parameters) { avcodec_parameters_free(&parameters); }};
    format.parameters->codec_type = AVMEDIA_TYPE_AUDIO;
    format.parameters->codec_id = AV_CODEC_ID_PCM_MULAW;
    format.parameters->sample_rate = 8000;
    format.parameters->bits_per_coded_sample = 8;
    av_channel_layout_default(&format.parameters->ch_layout, 1);
    format.timeBase = {1, 8000};
    format.ticksPerSec = Kovra::NanoSecPerSec;
    return format;
}

/// A packet of 20 ms.
inline LivePacket MakeTestPacket(std::int64_t milliSec) {
    LivePacket packet;
    packet.data.assign(160, 0xFF);
    packet.ticks = static_cast<std::uint64_t>(milliSec * Kovra::NanoSecPerMilliSec);
    packet.durationNanoSec = 20 * Kovra::NanoSecPerMilliSec;
    packet.arrival = Kovra::JiffyTime::Now();
    return packet;
}

/// Gives its packets, then the result that it ends with.
class TestConnection : public StreamConnection {
public:
    TestConnection(StreamFormat format, std::deque<LivePacket> packets, Result_t end)
        : format_(std::move(format)), packets_(std::move(packets)), end_(end) {}

    StreamFormat const& GetFormat() const override { return format_; }
    Result_t Read(LivePacket& packet, std::string& why) override {
        if (packets_.empty()) {
            why = "it broke";
            return end_;
        }
        packet = std::move(packets_.front());
        packets_.pop_front();
        return Result_t::Packet;
    }

private:
    StreamFormat const format_;
    std::deque<LivePacket> packets_;
    Result_t const end_;
};

} // namespace AudioHost
