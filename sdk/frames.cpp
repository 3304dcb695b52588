#include "frames.h"

#include <cstring>
#include <utility>
#include <vector>

#include "kovra/buffer.h"

namespace Sdk {

namespace {

using Media::MediaCoding_t;

constexpr std::uint32_t MaxFrequencyHz = 768000;
constexpr std::uint32_t MaxChannels = 8;
constexpr std::uint32_t MaxBits = 32;
constexpr std::uint32_t PcmBits = 16;
constexpr std::uint32_t G711Bits = 8;
constexpr std::uint32_t PlayedFrequencyHz = 48000;
constexpr std::uint32_t PlayedChannels = 1;
constexpr std::size_t AlignmentBytes = 16;
constexpr char const* SourceName = "RendererAudioC";

bool IsBitsInRange(RaStreamFormat const& format) {
    switch (format.coding) {
        case RA_CODING_PCM:
            return format.bitsPerSample == PcmBits;
        case RA_CODING_G711:
            return format.bitsPerSample == G711Bits;
        case RA_CODING_G726:
            return format.bitsPerSample >= 2 && format.bitsPerSample <= 5;
        default:
            return format.bitsPerSample <= MaxBits;
    }
}

bool IsConfigInRange(RaStreamFormat const& format) {
    return format.decoderConfigBytes <= RA_MAX_DECODER_CONFIG_BYTES &&
           (format.decoderConfig == nullptr) == (format.decoderConfigBytes == 0);
}

} // namespace

bool IsInRange(std::uint32_t frequencyHz, std::uint32_t channels) {
    return frequencyHz >= 1 && frequencyHz <= MaxFrequencyHz && channels >= 1 && channels <= MaxChannels;
}

bool IsInRange(RaStreamFormat const& format) {
    std::uint32_t const lastLaw = format.coding == RA_CODING_G711 ? RA_LAW_A : RA_LAW_MU;
    return format.coding >= RA_CODING_PCM && format.coding <= RA_CODING_OPUS &&
           IsInRange(format.frequencyHz, format.channels) && IsBitsInRange(format) && format.law <= lastLaw &&
           IsConfigInRange(format) && format.reserved == 0;
}

bool IsPlayable(RaStreamFormat const& format) {
    if (!IsInRange(format) || format.channels != PlayedChannels) {
        return false;
    }
    return format.coding == RA_CODING_G711 || format.coding == RA_CODING_AAC ||
           (format.coding == RA_CODING_PCM && format.frequencyHz == PlayedFrequencyHz);
}

Params MakeParams(RaStreamFormat const& format) {
    Params params(format.coding == RA_CODING_PCM
                      ? new Media::ParamsAudRaw
                      : new Media::ParamsAud(static_cast<MediaCoding_t>(format.coding)));
    params->SetParamsAud(format.frequencyHz, format.channels, format.bitsPerSample);
    params->SetLaw(format.law == RA_LAW_A ? Media::G711Law_t::ALaw : Media::G711Law_t::MuLaw);
    if (format.decoderConfigBytes != 0) {
        auto const* const config = static_cast<std::uint8_t const*>(format.decoderConfig);
        params->SetDecoderConfig({config, config + format.decoderConfigBytes});
    }
    return params;
}

bool IsFrame(Media::ParamsAud const& params, void const* data, std::uint32_t bytes) {
    if (data == nullptr || bytes == 0 || bytes > RA_MAX_FRAME_BYTES) {
        return false;
    }
    return params.GetCoding() != MediaCoding_t::RawPcm ||
           bytes % (params.GetNumChannels() * sizeof(std::int16_t)) == 0;
}

std::shared_ptr<Media::FrameAud> MakeFrame(Params const& params, void const* data, std::uint32_t bytes,
                                           Kovra::SysTime timestamp, std::uint32_t sequenceNumber) {
    boost::intrusive_ptr<Kovra::Buffer> const block = Kovra::Buffer::Create(bytes, AlignmentBytes);
    std::memcpy(block->GetData(), data, bytes);
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(block, 0, bytes));
    Media::FrameIdent ident(timestamp, sequenceNumber, SourceName);
    std::shared_ptr<Media::FrameAud> frame;
    if (auto const raw = boost::dynamic_pointer_cast<Media::ParamsAudRaw>(params)) {
        frame = std::make_shared<Media::FrameAudRaw>(std::move(ident), raw);
    } else {
        frame = std::make_shared<Media::FrameAud>(std::move(ident), params);
    }
    frame->AttachBuffers(std::move(list));
    return frame;
}

} // namespace Sdk
