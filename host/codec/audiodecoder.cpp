#include "audiodecoder.h"

#include <cstring>
#include <new>
#include <utility>

#include "codedframesplitter.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace Media {

namespace {

constexpr std::uint32_t G711SampleBits = 8;
constexpr std::uint32_t G726MinSampleBits = 2;
constexpr std::uint32_t G726MaxSampleBits = 5;
constexpr std::uint32_t G726NumChannels = 1;

/// An AudioSpecificConfig takes a few dozen bytes, an OpusHead at most 21 + 255.
constexpr std::size_t MaxDecoderConfigBytes = 4096;

/// G.726 comes in two bit orders. RTP (RFC 3551, section 4.5.4) puts the first code into the lowest bits of
/// an octet, which libavcodec calls little-endian; the order of AAL2 is not in use here.
constexpr AVCodecID G726CodecId = AV_CODEC_ID_ADPCM_G726LE;

/// The decoder of layer III reads layers I and II as well: the frame header tells the layer.
constexpr AVCodecID MpegAudioCodecId = AV_CODEC_ID_MP3;

AVCodecID ToCodecId(DecoderSetup const& setup) {
    switch (setup.coding) {
        case MediaCoding_t::G711:
            return setup.law == G711Law_t::ALaw ? AV_CODEC_ID_PCM_ALAW : AV_CODEC_ID_PCM_MULAW;
        case MediaCoding_t::G726:
            return G726CodecId;
        case MediaCoding_t::MpegAudio:
            return MpegAudioCodecId;
        case MediaCoding_t::Aac:
            return AV_CODEC_ID_AAC;
        case MediaCoding_t::Opus:
            return AV_CODEC_ID_OPUS;
        case MediaCoding_t::RawPcm:
            break;
    }
    return AV_CODEC_ID_NONE;
}

bool IsUsable(DecoderSetup const& setup) {
    if (setup.config.size() > MaxDecoderConfigBytes) {
        return false;
    }
    if (setup.coding == MediaCoding_t::G711) {
        return IsUsable(setup.format) && setup.bits == G711SampleBits;
    }
    if (setup.coding == MediaCoding_t::G726) {
        return IsUsable(setup.format) && setup.format.channels == G726NumChannels &&
               setup.bits >= G726MinSampleBits && setup.bits <= G726MaxSampleBits;
    }
    return setup.format.frequency <= MaxFrequencyHz && setup.format.channels <= MaxNumChannels;
}

/// ADTS and MPEG audio frames tell their own length; the other codings' frames are what the sender says.
bool HasSyncWords(DecoderSetup const& setup) {
    return setup.coding == MediaCoding_t::MpegAudio ||
           (setup.coding == MediaCoding_t::Aac && setup.config.empty());
}

void SetConfig(AVCodecContext& context, std::vector<std::uint8_t> const& config) {
    if (config.empty()) {
        return;
    }
    context.extradata = static_cast<std::uint8_t*>(av_mallocz(config.size() + AV_INPUT_BUFFER_PADDING_SIZE));
    if (context.extradata == nullptr) {
        throw std::bad_alloc();
    }
    std::memcpy(context.extradata, config.data(), config.size());
    context.extradata_size = static_cast<int>(config.size());
}

CodecContextOwner OpenContext(DecoderSetup const& setup) {
    AVCodec const* const codec = avcodec_find_decoder(ToCodecId(setup));
    if (codec == nullptr) {
        return nullptr;
    }
    CodecContextOwner context(avcodec_alloc_context3(codec));
    if (!context) {
        throw std::bad_alloc();
    }
    context->sample_rate = static_cast<int>(setup.format.frequency);
    if (setup.format.channels != 0) {
        context->ch_layout = DefaultLayout(static_cast<int>(setup.format.channels));
    }
    context->bits_per_coded_sample = static_cast<int>(setup.bits);
    context->thread_count = 1;
    // Every frame fills the place that its timestamp gives it: an encoder's lead-in is not cut off, which
    // would swallow or shift the first frames.
    context->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    SetConfig(*context, setup.config);
    if (avcodec_open2(context.get(), codec, nullptr) < 0) {
        return nullptr;
    }
    return context;
}

} // namespace

DecoderSetup::DecoderSetup(ParamsAud const& params)
    : coding(params.GetCoding()),
      format{params.GetFrequency(), params.GetNumChannels()},
      bits(params.GetBitsPerSample()),
      law(params.GetLaw()),
      config(params.GetDecoderConfig()) {}

bool DecoderSetup::operator==(DecoderSetup const& other) const {
    return coding == other.coding && format == other.format && bits == other.bits && law == other.law &&
           config == other.config;
}

std::unique_ptr<AudioDecoder> AudioDecoder::Open(DecoderSetup const& setup) {
    if (!IsUsable(setup)) {
        return nullptr;
    }
    CodecContextOwner context = OpenContext(setup);
    if (!context) {
        return nullptr;
    }
    return std::unique_ptr<AudioDecoder>(new AudioDecoder(setup, std::move(context)));
}

AudioDecoder::AudioDecoder(DecoderSetup setup, CodecContextOwner context)
    : setup_(std::move(setup)),
      context_(std::move(context)),
      packet_(av_packet_alloc()),
      frame_(av_frame_alloc()) {
    if (!packet_ || !frame_) {
        throw std::bad_alloc();
    }
}

void AudioDecoder::Decode(CodedBytes const& bytes, FrameIdent const& ident, FrameList& decoded) {
    std::uint8_t const* coded = bytes.padded.data();
    if (!HasSyncWords(setup_)) {
        DecodeCodedFrame(coded, bytes.GetCount(), ident, decoded);
        return;
    }
    for (std::size_t const length : FindCodedFrames(*context_, coded, bytes.GetCount())) {
        DecodeCodedFrame(coded, length, ident, decoded);
        coded += length;
    }
}

void AudioDecoder::DecodeCodedFrame(std::uint8_t const* bytes, std::size_t byteCount, FrameIdent const& ident,
                                    FrameList& decoded) {
    av_packet_unref(packet_.get());
    if (av_new_packet(packet_.get(), static_cast<int>(byteCount)) < 0) {
        throw std::bad_alloc();
    }
    std::memcpy(packet_->data, bytes, byteCount);
    if (avcodec_send_packet(context_.get(), packet_.get()) < 0) {
        return;
    }
    while (avcodec_receive_frame(context_.get(), frame_.get()) >= 0) {
        AppendPcm(ident, decoded);
    }
}

void AudioDecoder::AppendPcm(FrameIdent const& ident, FrameList& decoded) {
    // The rate is the context's: on a frame the MPEG audio decoder still writes the rate of the frame before
    // it. Negative counts become huge and fail the range check.
    PcmFormat const format{static_cast<std::uint32_t>(context_->sample_rate),
                           static_cast<std::uint32_t>(frame_->ch_layout.nb_channels)};
    if (!IsUsable(format) || frame_->nb_samples <= 0) {
        return;
    }
    auto const sampleGroups = static_cast<std::size_t>(frame_->nb_samples);
    if (sampleGroups > MaxRawFrameBytes / BytesPerSampleGroup(format) ||
        !PrepareConversion(format, static_cast<AVSampleFormat>(frame_->format))) {
        return;
    }
    PcmBlock block{CreatePcmBuffer(format, sampleGroups), 0};
    std::uint8_t* const out = block.buffer->GetData();
    int const converted =
        swr_convert(conversion_.get(), const_cast<std::uint8_t**>(&out), frame_->nb_samples,
                    const_cast<std::uint8_t const**>(frame_->extended_data), frame_->nb_samples);
    if (converted <= 0) {
        return;
    }
    block.sampleGroups = static_cast<std::size_t>(converted);
    decoded.push_back(MakePcmFrame(ident, format, block));
}

bool AudioDecoder::PrepareConversion(PcmFormat format, AVSampleFormat sampleFormat) {
    if (conversion_ && conversionFormat_ == format && conversionSampleFormat_ == sampleFormat) {
        return true;
    }
    conversion_.reset();
    // The same layout on both sides, whatever the stream's speakers are: channels keep their order, and
    // nothing is mixed.
    AVChannelLayout layout = DefaultLayout(static_cast<int>(format.channels));
    auto const frequency = static_cast<int>(format.frequency);
    SwrContext* context = nullptr;
    if (swr_alloc_set_opts2(&context, &layout, AV_SAMPLE_FMT_S16, frequency, &layout, sampleFormat, frequency,
                            0, nullptr) < 0) {
        return false;
    }
    SwrOwner conversion(context);
    if (swr_init(conversion.get()) < 0) {
        return false;
    }
    conversion_ = std::move(conversion);
    conversionFormat_ = format;
    conversionSampleFormat_ = sampleFormat;
    return true;
}

} // namespace Media
