#include "files/codedframes.h"

#include <cstring>
#include <vector>

namespace AudioHost {

namespace {

std::string CodingName(AVCodecID id) {
    switch (id) {
        case AV_CODEC_ID_AAC:
            return "AAC";
        case AV_CODEC_ID_PCM_MULAW:
            return "G.711 mu-law";
        case AV_CODEC_ID_PCM_ALAW:
            return "G.711 A-law";
        case AV_CODEC_ID_MP3:
            return "MP3";
        case AV_CODEC_ID_MP2:
            return "MP2";
        case AV_CODEC_ID_OPUS:
            return "Opus";
        case AV_CODEC_ID_VORBIS:
            return "Vorbis";
        case AV_CODEC_ID_FLAC:
            return "FLAC";
        case AV_CODEC_ID_PCM_S16LE:
            return "16-bit PCM";
        case AV_CODEC_ID_PCM_S24LE:
            return "24-bit PCM";
        default:
            return avcodec_get_name(id);
    }
}

} // namespace

boost::intrusive_ptr<Media::ParamsAud> MakeCodedParams(AVCodecParameters const& stream, bool hasOwnHeaders) {
    boost::intrusive_ptr<Media::ParamsAud> params;
    auto const rateHz = static_cast<std::uint32_t>(stream.sample_rate);
    if (stream.ch_layout.nb_channels != 1) {
        return params;
    }
    if (stream.codec_id == AV_CODEC_ID_AAC) {
        params.reset(new Media::ParamsAud(Media::MediaCoding_t::Aac));
        params->SetParamsAud(rateHz, 1, 16);
        if (stream.extradata_size > 0 && !hasOwnHeaders) {
            params->SetDecoderConfig({stream.extradata, stream.extradata + stream.extradata_size});
        }
    } else if (stream.codec_id == AV_CODEC_ID_PCM_MULAW || stream.codec_id == AV_CODEC_ID_PCM_ALAW) {
        params.reset(new Media::ParamsAud(Media::MediaCoding_t::G711));
        params->SetParamsAud(rateHz, 1, 8);
        params->SetLaw(stream.codec_id == AV_CODEC_ID_PCM_ALAW ? Media::G711Law_t::ALaw
                                                               : Media::G711Law_t::MuLaw);
    }
    return params;
}

std::string DescribeCoding(AVCodecParameters const& stream, bool isCoded) {
    int const channels = stream.ch_layout.nb_channels;
    std::string const layout = channels == 1   ? "mono"
                               : channels == 2 ? "stereo"
                                               : std::to_string(channels) + " channels";
    return CodingName(stream.codec_id) + ", " + std::to_string(stream.sample_rate) + " Hz, " + layout +
           (isCoded ? ", decoded by the renderer" : ", handed over as 48 kHz mono PCM");
}

Listening::Samples SoundOfFrames::Decode(std::shared_ptr<Media::FrameAud>& frame) {
    std::vector<std::shared_ptr<Media::FrameAud>> frames = codec_.Decode({frame});
    bool const isMono = frames.empty() || frames.front()->GetNumChannels() == 1;
    if (!frames.empty() && (!isMono || frames.front()->GetFrequency() != Listening::SoundRateHz)) {
        frames = codec_.Transcode(frames, Media::MediaCoding_t::RawPcm, 1, Listening::SoundRateHz,
                                  frames.front()->GetDuration(), false);
    }
    if (!isMono && !frames.empty()) {
        frame = frames.back();
    }
    Listening::Samples sound;
    Kovra::BufferInfo const* const info = frames.empty() ? nullptr : frames.back()->GetConstBufferBegin();
    if (info && info->GetLength() > 0) {
        sound.resize(info->GetLength() / sizeof(std::int16_t));
        std::memcpy(sound.data(), info->GetData(), sound.size() * sizeof(std::int16_t));
    }
    return sound;
}

} // namespace AudioHost
