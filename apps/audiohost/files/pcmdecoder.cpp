#include "files/pcmdecoder.h"

#include <new>
#include <stdexcept>

namespace AudioHost {

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

void PcmDecoder::SetUpResampler(AVFrame const& frame) {
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    AVChannelLayout input = {};
    if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&input, frame.ch_layout.nb_channels);
    } else if (av_channel_layout_copy(&input, &frame.ch_layout) < 0) {
        throw std::bad_alloc();
    }
    SwrContext* context = nullptr;
    int const status =
        swr_alloc_set_opts2(&context, &mono, AV_SAMPLE_FMT_S16, static_cast<int>(Listening::SoundRateHz),
                            &input, static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
    av_channel_layout_uninit(&input);
    resampler_.reset(context);
    if (status < 0 || swr_init(resampler_.get()) < 0) {
        throw std::runtime_error("no resampler");
    }
    inputRateHz_ = frame.sample_rate;
    inputChannels_ = frame.ch_layout.nb_channels;
    inputFormat_ = frame.format;
}

void PcmDecoder::Resample(AVFrame const* frame, Listening::Samples& sound) {
    bool const isSame = resampler_ && frame->sample_rate == inputRateHz_ &&
                        frame->ch_layout.nb_channels == inputChannels_ && frame->format == inputFormat_;
    if (!isSame) {
        EndResampler(sound);
        SetUpResampler(*frame);
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
