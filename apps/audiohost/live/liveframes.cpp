#include "live/liveframes.h"

#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "files/codedframes.h"
#include "files/pcmdecoder.h"
#include "files/pcmframes.h"

namespace AudioHost {

namespace {

/// Samples in an AAC frame, where nothing tells.
constexpr std::int64_t AacFrameSamples = 1024;

class CodedLiveFrames : public LiveFrameMaker {
public:
    CodedLiveFrames(StreamFormat const& format, boost::intrusive_ptr<Media::ParamsAud> params,
                    std::string const& name)
        : params_(std::move(params)),
          isAac_(format.parameters->codec_id == AV_CODEC_ID_AAC),
          rateHz_(format.parameters->sample_rate),
          stamper_(Kovra::SysTime(), name) {}

    bool IsCoded() const override { return true; }

    bool Make(PlacedPacket const& packet, LiveFrame& frame) override {
        std::size_t const size = packet.packet.data.size();
        // G.711 has a byte a sample.
        std::int64_t const samples = isAac_ ? AacFrameSamples : static_cast<std::int64_t>(size);
        bool const isTold = isAac_ && packet.packet.durationNanoSec > 0;
        MediaFrame& media = frame.media;
        media.positionNanoSec = packet.stampNanoSec;
        media.durationNanoSec =
            isTold ? packet.packet.durationNanoSec : samples * Listening::NanoSecPerSec / rateHz_;
        std::shared_ptr<Media::FrameAud> made =
            std::make_shared<Media::FrameAud>(stamper_.Stamp(packet.stampNanoSec), params_);
        made->AttachBuffers(CopyToBuffer(packet.packet.data.data(), size));
        made->SetDuration(Kovra::SysTime(media.durationNanoSec));
        media.sound = sound_.Decode(made);
        media.frame = std::move(made);
        frame.due = packet.due;
        frame.endNanoSec = packet.stampNanoSec + media.durationNanoSec;
        return true;
    }

private:
    boost::intrusive_ptr<Media::ParamsAud> const params_;
    bool const isAac_;
    std::int64_t const rateHz_;
    FrameStamper stamper_;
    SoundOfFrames sound_;
};

class RawLiveFrames : public LiveFrameMaker {
public:
    RawLiveFrames(StreamFormat const& format, std::string const& name)
        : decoder_(*format.parameters, format.timeBase),
          packet_(av_packet_alloc()),
          params_(new Media::ParamsAudRaw),
          stamper_(Kovra::SysTime(), name) {
        if (!packet_) {
            throw std::bad_alloc();
        }
        params_->SetParamsAud(Listening::SoundRateHz, 1, 16);
    }

    bool IsCoded() const override { return false; }

    bool Make(PlacedPacket const& packet, LiveFrame& frame) override {
        MediaFrame& media = frame.media;
        media.sound.clear();
        Decode(packet.packet.data, media.sound);
        if (media.sound.empty()) {
            return false;
        }
        // Counted, as a resampler gives a sample more or less each time.
        if (!hasBegun_ || std::abs(packet.stampNanoSec - Position()) >= CountToleranceNanoSec) {
            hasBegun_ = true;
            originNanoSec_ = packet.stampNanoSec;
            samples_ = 0;
        }
        media.positionNanoSec = Position();
        samples_ += static_cast<std::int64_t>(media.sound.size());
        media.durationNanoSec = Position() - media.positionNanoSec;
        auto made = std::make_shared<Media::FrameAudRaw>(stamper_.Stamp(media.positionNanoSec), params_);
        made->AttachBuffers(CopyToBuffer(media.sound.data(), media.sound.size() * sizeof(std::int16_t)));
        media.frame = std::move(made);
        frame.due = Kovra::JiffyTime(packet.due.NanoSec() + media.positionNanoSec - packet.stampNanoSec);
        std::int64_t const told = packet.packet.durationNanoSec;
        frame.endNanoSec = packet.stampNanoSec + (told > 0 ? told : media.durationNanoSec);
        return true;
    }

private:
    void Decode(std::vector<std::uint8_t> const& data, Listening::Samples& sound) {
        // With the room behind it that decoders read.
        if (av_new_packet(packet_.get(), static_cast<int>(data.size())) < 0) {
            throw std::bad_alloc();
        }
        std::memcpy(packet_->data, data.data(), data.size());
        decoder_.Decode(packet_.get(), sound);
        av_packet_unref(packet_.get());
    }

    /// Hours are moved to the origin: nanoseconds times samples would overflow after 53 of them.
    std::int64_t Position() {
        constexpr std::int64_t SamplesPerHour = 3600LL * Listening::SoundRateHz;
        while (samples_ >= SamplesPerHour) {
            samples_ -= SamplesPerHour;
            originNanoSec_ += Listening::NanoSecPerHour;
        }
        return originNanoSec_ + samples_ * Listening::NanoSecPerSec / Listening::SoundRateHz;
    }

    PcmDecoder decoder_;
    PacketPointer packet_;
    boost::intrusive_ptr<Media::ParamsAudRaw> const params_;
    FrameStamper stamper_;
    bool hasBegun_ = false;
    std::int64_t originNanoSec_ = 0;
    std::int64_t samples_ = 0;
};

} // namespace

std::unique_ptr<LiveFrameMaker> CreateLiveFrameMaker(StreamFormat const& format, std::string const& name) {
    if (auto params = MakeCodedParams(*format.parameters, format.hasOwnHeaders)) {
        return std::make_unique<CodedLiveFrames>(format, std::move(params), name);
    }
    return std::make_unique<RawLiveFrames>(format, name);
}

} // namespace AudioHost
