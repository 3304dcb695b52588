#include "files/framemaker.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "files/codedframes.h"
#include "files/pcmdecoder.h"
#include "files/pcmframes.h"

namespace AudioHost {

namespace {

constexpr std::int64_t FramesPerSec = Listening::NanoSecPerSec / PcmFrameNanoSec;
/// Samples in an AAC frame, for files that do not tell how long a packet lasts.
constexpr std::int64_t AacFrameSamples = 1024;
/// No packet lasts longer, and no file: what tells more is damaged.
constexpr std::int64_t MaxPacketNanoSec = Listening::NanoSecPerSec;
constexpr std::int64_t MaxPositionNanoSec = 24 * Listening::NanoSecPerHour;

class RawFrameMaker : public FrameMaker {
public:
    RawFrameMaker(PacketSource& packets, Kovra::SysTime base, std::string const& name)
        : sound_(packets), frames_(base, name) {}

    bool IsCoded() const override { return false; }
    bool Next(MediaFrame& next) override { return frames_.Next(sound_, next); }

private:
    PacketSound sound_;
    PcmFrames frames_;
};

/// One packet, one frame.
class AacFrameMaker : public FrameMaker {
public:
    AacFrameMaker(PacketSource& packets, boost::intrusive_ptr<Media::ParamsAud> params, Kovra::SysTime base,
                  std::string const& name)
        : packets_(packets),
          stamper_(base, name),
          params_(std::move(params)),
          rateHz_(packets.GetParameters().sample_rate) {}

    bool IsCoded() const override { return true; }

    bool Next(MediaFrame& next) override {
        AVPacket const* const packet = packets_.Next();
        if (!packet) {
            return false;
        }
        Place(*packet, next);
        std::shared_ptr<Media::FrameAud> frame =
            std::make_shared<Media::FrameAud>(stamper_.Stamp(next.positionNanoSec), params_);
        frame->AttachBuffers(CopyToBuffer(packet->data, static_cast<std::size_t>(packet->size)));
        frame->SetDuration(Kovra::SysTime(next.durationNanoSec));
        next.sound = sound_.Decode(frame);
        next.frame = std::move(frame);
        return true;
    }

private:
    /// By the packet's own time stamps, or right behind the packet before where they are damaged or missing.
    void Place(AVPacket const& packet, MediaFrame& next) {
        AVRational const nanoSec = {1, static_cast<int>(Listening::NanoSecPerSec)};
        next.durationNanoSec = av_rescale_q(packet.duration, packets_.GetTimeBase(), nanoSec);
        if (next.durationNanoSec <= 0 || next.durationNanoSec > MaxPacketNanoSec) {
            next.durationNanoSec = AacFrameSamples * Listening::NanoSecPerSec / rateHz_;
        }
        next.positionNanoSec = end_;
        if (packet.pts != AV_NOPTS_VALUE) {
            firstPts_ = firstPts_ == AV_NOPTS_VALUE ? packet.pts : firstPts_;
            // Negative, too, where nanoseconds overflow.
            std::int64_t const position =
                av_rescale_q(av_sat_sub64(packet.pts, firstPts_), packets_.GetTimeBase(), nanoSec);
            if (position >= 0 && position <= MaxPositionNanoSec) {
                next.positionNanoSec = position;
            }
        }
        end_ = next.positionNanoSec + next.durationNanoSec;
    }

    PacketSource& packets_;
    FrameStamper stamper_;
    boost::intrusive_ptr<Media::ParamsAud> params_;
    SoundOfFrames sound_;
    /// As the file's headers tell: what packets tell later may be damaged.
    std::int64_t rateHz_;
    /// The stream's own time of its first packet; encoders start before 0.
    std::int64_t firstPts_ = AV_NOPTS_VALUE;
    std::int64_t end_ = 0;
};

/// Cuts the byte stream anew, since a container's packets may last any time.
class G711FrameMaker : public FrameMaker {
public:
    G711FrameMaker(PacketSource& packets, boost::intrusive_ptr<Media::ParamsAud> params, Kovra::SysTime base,
                   std::string const& name)
        : packets_(packets),
          stamper_(base, name),
          params_(std::move(params)),
          rateHz_(packets.GetParameters().sample_rate),
          frameBytes_(static_cast<std::size_t>(std::max<std::int64_t>(1, rateHz_ / FramesPerSec))) {}

    bool IsCoded() const override { return true; }

    bool Next(MediaFrame& next) override {
        while (held_.GetSize() < frameBytes_) {
            AVPacket const* const packet = packets_.Next();
            if (!packet) {
                break;
            }
            std::vector<std::uint8_t>& held = held_.Grow();
            held.insert(held.end(), packet->data, packet->data + packet->size);
        }
        std::size_t const count = std::min(held_.GetSize(), frameBytes_);
        if (count == 0) {
            return false;
        }
        next.positionNanoSec = sent_ * Listening::NanoSecPerSec / rateHz_;
        sent_ += static_cast<std::int64_t>(count);
        next.durationNanoSec = sent_ * Listening::NanoSecPerSec / rateHz_ - next.positionNanoSec;
        std::shared_ptr<Media::FrameAud> frame =
            std::make_shared<Media::FrameAud>(stamper_.Stamp(next.positionNanoSec), params_);
        frame->AttachBuffers(CopyToBuffer(held_.Take(count), count));
        frame->SetDuration(Kovra::SysTime(next.durationNanoSec));
        next.sound = sound_.Decode(frame);
        next.frame = std::move(frame);
        return true;
    }

private:
    PacketSource& packets_;
    FrameStamper stamper_;
    boost::intrusive_ptr<Media::ParamsAud> params_;
    SoundOfFrames sound_;
    std::int64_t rateHz_;
    std::size_t frameBytes_;
    Uncut<std::uint8_t> held_;
    /// Samples cut so far, a byte each.
    std::int64_t sent_ = 0;
};

} // namespace

std::unique_ptr<FrameMaker> CreateFrameMaker(PacketSource& packets, Kovra::SysTime base,
                                             std::string const& name) {
    AVCodecParameters const& stream = packets.GetParameters();
    bool const hasOwnHeaders = packets.GetFormatName() == "aac";
    if (auto params = MakeCodedParams(stream, hasOwnHeaders)) {
        if (stream.codec_id == AV_CODEC_ID_AAC) {
            return std::make_unique<AacFrameMaker>(packets, std::move(params), base, name);
        }
        return std::make_unique<G711FrameMaker>(packets, std::move(params), base, name);
    }
    return std::make_unique<RawFrameMaker>(packets, base, name);
}

} // namespace AudioHost
