#include "files/pcmdecoder.h"

#include <new>
#include <stdexcept>
#include <utility>
#include <vector>

namespace AudioHost {

namespace {

/// How channels become one.
enum class Mix_t { ByPlaces, AllAlike };

/// Null where the library knows no way.
ResamplerPointer OpenResampler(AVFrame const& frame, Mix_t mix) {
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    int const channels = frame.ch_layout.nb_channels;
    AVChannelLayout input = {};
    if (mix == Mix_t::AllAlike) {
        input.nb_channels = channels;
    } else if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&input, channels);
    } else if (av_channel_layout_copy(&input, &frame.ch_layout) < 0) {
        throw std::bad_alloc();
    }
    SwrContext* context = nullptr;
    int status =
        swr_alloc_set_opts2(&context, &mono, AV_SAMPLE_FMT_S16, static_cast<int>(Listening::SoundRateHz),
                            &input, static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&input);
    ResamplerPointer resampler(context);
    if (status >= 0 && mix == Mix_t::AllAlike) {
        std::vector<double> const shares(static_cast<std::size_t>(channels), 1.0 / channels);
        status = swr_set_matrix(context, shares.data(), channels);
    }
    return status >= 0 && swr_init(context) >= 0 ? std::move(resampler) : nullptr;
}

} // namespace

PcmDecoder::PcmDecoder(AVCodecParameters const& parameters, AVRational timeBase) : frame_(av_frame_alloc()) {
    AVCodec const* const decoder = avcodec_find_decoder(parameters.codec_id);
    codec_.reset(avcodec_alloc_context3(decoder));
    if (!codec_ || !frame_) {
        throw std::bad_alloc();
    }
    codec_->pkt_timebase = timeBase;
    if (!decoder || avcodec_parameters_to_context(codec_.get(), &parameters) < 0 ||
        avcodec_open2(codec_.get(), decoder, nullptr) < 0) {
        throw std::runtime_error("no decoder");
    }
}

void PcmDecoder::Decode(AVPacket const* packet, Listening::Samples& sound) {
    if (avcodec_send_packet(codec_.get(), packet) >= 0) {
        while (avcodec_receive_frame(codec_.get(), frame_.get()) >= 0) {
            Resample(frame_.get(), sound);
            av_frame_unref(frame_.get());
        }
    }
    if (!packet) {
        EndResampler(sound);
    }
}

bool PcmDecoder::SetUpResampler(AVFrame const& frame) {
    if (IsRateOfSound(frame.sample_rate)) {
        resampler_ = OpenResampler(frame, Mix_t::ByPlaces);
        if (!resampler_) {
            resampler_ = OpenResampler(frame, Mix_t::AllAlike);
        }
    }
    inputRateHz_ = frame.sample_rate;
    inputChannels_ = frame.ch_layout.nb_channels;
    inputFormat_ = frame.format;
    return resampler_ != nullptr;
}

void PcmDecoder::Resample(AVFrame const* frame, Listening::Samples& sound) {
    bool const isSame = resampler_ && frame->sample_rate == inputRateHz_ &&
                        frame->ch_layout.nb_channels == inputChannels_ && frame->format == inputFormat_;
    if (!isSame) {
        EndResampler(sound);
        if (!SetUpResampler(*frame)) {
            return;
        }
    }
    int const room = swr_get_out_samples(resampler_.get(), frame->nb_samples);
    std::size_t const held = sound.size();
    sound.resize(held + static_cast<std::size_t>(room < 0 ? 0 : room));
    auto* output = reinterpret_cast<std::uint8_t*>(sound.data() + held);
    auto** input = const_cast<std::uint8_t const**>(frame->extended_data);
    int const count = swr_convert(resampler_.get(), &output, room, input, frame->nb_samples);
    sound.resize(held + static_cast<std::size_t>(count < 0 ? 0 : count));
}

void PcmDecoder::EndResampler(Listening::Samples& sound) {
    if (!resampler_) {
        return;
    }
    int const room = swr_get_out_samples(resampler_.get(), 0);
    std::size_t const held = sound.size();
    sound.resize(held + static_cast<std::size_t>(room < 0 ? 0 : room));
    auto* output = reinterpret_cast<std::uint8_t*>(sound.data() + held);
    int const count = swr_convert(resampler_.get(), &output, room, nullptr, 0);
    sound.resize(held + static_cast<std::size_t>(count < 0 ? 0 : count));
    resampler_.reset();
}

} // namespace AudioHost
