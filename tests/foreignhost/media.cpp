// Frames, and the codec.
#include <cstddef>
#include <cstring>
#include <utility>

#include "codec/audiocodecproxy.h"
#include "harbour/host.h"

namespace Media {

namespace {

constexpr std::uint32_t OutputFrequencyHz = 48000;
constexpr std::size_t BlockAlignmentBytes = 32;

/// u-law: a sign, three bits that tell the segment, four within it; all inverted.
std::int16_t Expand(std::uint8_t code) {
    auto const inverted = static_cast<std::uint8_t>(~code);
    int const segment = (inverted >> 4) & 7;
    int const magnitude = ((((inverted & 15) << 3) + 132) << segment) - 132;
    return static_cast<std::int16_t>((inverted & 128) != 0 ? -magnitude : magnitude);
}

} // namespace

void ParamsAudRaw::SetParamsAud(std::uint32_t frequencyHz, std::uint32_t channels, std::uint32_t bits) {
    frequencyHz_ = frequencyHz;
    channels_ = static_cast<std::uint16_t>(channels);
    bits_ = static_cast<std::uint16_t>(bits);
}

FrameAud::FrameAud(FrameIdent ident, boost::intrusive_ptr<ParamsAudRaw> params)
    : params_(std::move(params)), ident_(std::move(ident)) {}
FrameAud::~FrameAud() = default;

std::uint32_t FrameAud::GetFrequency() const {
    return params_->frequencyHz_;
}

std::uint32_t FrameAud::GetNumChannels() const {
    return params_->channels_;
}

MediaCoding_t FrameAud::GetCoding() const {
    return params_->coding_;
}

Kovra::SysTime FrameAud::GetTimestamp() const {
    return ident_.time_;
}

Kovra::SysTime FrameAud::GetDuration() const {
    std::int64_t const samples = data_ ? data_->GetLength() * 8 / params_->bits_ / params_->channels_ : 0;
    return Kovra::SysTime(Kovra::SysTime::Span(samples * 1'000'000'000 / params_->frequencyHz_));
}

Kovra::BufferInfo const* FrameAud::GetConstBufferBegin() const {
    return data_ ? &*data_ : nullptr;
}

void FrameAud::AttachBuffers(Kovra::BufferInfoListScoped&& list) {
    data_ = list.infos_.front();
}

FrameAudRaw::FrameAudRaw(FrameIdent ident, boost::intrusive_ptr<ParamsAudRaw> params)
    : FrameAud(std::move(ident), std::move(params)) {}

} // namespace Media

namespace Harbour {

/// What a frame is made of, for the host itself.
struct FrameAccess {
    static Media::FrameIdent const& IdentOf(Media::FrameAud const& frame) { return frame.ident_; }
    static void SetCoding(Media::ParamsAudRaw& params, Media::MediaCoding_t coding) {
        params.coding_ = coding;
    }
};

namespace {

class TelephoneFrame final : public Media::FrameAud {
public:
    TelephoneFrame(Media::FrameIdent ident, boost::intrusive_ptr<Media::ParamsAudRaw> params)
        : FrameAud(std::move(ident), std::move(params)) {}
};

template <class Frame, class Value>
std::shared_ptr<Frame> Make(Media::FrameIdent const& ident, Media::MediaCoding_t coding,
                            std::uint32_t frequencyHz, std::vector<Value> const& values) {
    boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
    params->SetParamsAud(frequencyHz, 1, 8 * sizeof(Value));
    FrameAccess::SetCoding(*params, coding);
    auto frame = std::make_shared<Frame>(ident, params);
    std::size_t const bytes = values.size() * sizeof(Value);
    auto const block = Kovra::Buffer::Create(bytes, Media::BlockAlignmentBytes);
    std::memcpy(block->GetData(), values.data(), bytes);
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(block, 0, bytes));
    frame->AttachBuffers(std::move(list));
    return frame;
}

Media::FrameIdent At(std::int64_t timestampNanoSec) {
    return {Kovra::SysTime(Kovra::SysTime::Span(timestampNanoSec)), 0, "harbour"};
}

} // namespace

std::shared_ptr<Media::FrameAudRaw> MakeRawFrame(std::int64_t timestampNanoSec,
                                                 std::vector<std::int16_t> const& samples) {
    return Make<Media::FrameAudRaw>(At(timestampNanoSec), Media::MediaCoding_t::RawPcm,
                                    Media::OutputFrequencyHz, samples);
}

std::shared_ptr<Media::FrameAud> MakeTelephoneFrame(std::int64_t timestampNanoSec,
                                                    std::vector<std::uint8_t> const& codes) {
    return Make<TelephoneFrame>(At(timestampNanoSec), Media::MediaCoding_t::G711, 8000, codes);
}

std::vector<std::int16_t> GetSamples(Media::FrameAud const& frame) {
    Kovra::BufferInfo const& data = *frame.GetConstBufferBegin();
    std::vector<std::int16_t> samples(data.GetLength() / sizeof(std::int16_t));
    std::memcpy(samples.data(), data.GetData(), data.GetLength());
    return samples;
}

} // namespace Harbour

namespace Media {

AudioCodecProxy::Frames AudioCodecProxy::Decode(Frames const& frames) {
    Frames decoded;
    for (auto const& frame : frames) {
        Kovra::BufferInfo const* const data = frame->GetConstBufferBegin();
        if (frame->GetCoding() != MediaCoding_t::G711 || data == nullptr) {
            continue;
        }
        std::vector<std::int16_t> samples;
        for (std::uint32_t i = 0; i < data->GetLength(); ++i) {
            samples.push_back(Expand(data->GetData()[i]));
        }
        decoded.push_back(Harbour::Make<FrameAudRaw>(Harbour::FrameAccess::IdentOf(*frame),
                                                     MediaCoding_t::RawPcm, frame->GetFrequency(), samples));
    }
    return decoded;
}

AudioCodecProxy::Frames AudioCodecProxy::Transcode(Frames const& frames, MediaCoding_t coding,
                                                   int /*channels*/, std::uint32_t frequencyHz,
                                                   Kovra::SysTime /*duration*/, bool /*flush*/) {
    Frames transcoded;
    for (auto const& frame : frames) {
        std::uint32_t const steps = frequencyHz / frame->GetFrequency();
        std::vector<std::int16_t> samples;
        for (std::int16_t const sample : Harbour::GetSamples(*frame)) {
            int const from = hasLast_ ? lastSample_ : sample;
            for (std::uint32_t i = 1; i <= steps; ++i) {
                samples.push_back(static_cast<std::int16_t>(from + (sample - from) * static_cast<int>(i) /
                                                                       static_cast<int>(steps)));
            }
            lastSample_ = sample;
            hasLast_ = true;
        }
        transcoded.push_back(
            Harbour::Make<FrameAudRaw>(Harbour::FrameAccess::IdentOf(*frame), coding, frequencyHz, samples));
    }
    return transcoded;
}

} // namespace Media
