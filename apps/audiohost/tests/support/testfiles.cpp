#include "support/testfiles.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <random>
#include <stdexcept>

#include "files/ffmpegpointers.h"

namespace AudioHost {

namespace {

struct CloseOutput {
    void operator()(AVFormatContext* context) const {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};

void Require(bool isRight, char const* what) {
    if (!isRight) {
        throw std::runtime_error(what);
    }
}

std::string Number(std::uint32_t value, int bytes) {
    std::string text;
    for (int i = 0; i < bytes; ++i) {
        text += static_cast<char>(value >> (8 * i) & 0xFFU);
    }
    return text;
}

CodecPointer OpenEncoder(char const* name, int rateHz, int channels, bool hasGlobalHeader) {
    AVCodec const* const codec = avcodec_find_encoder_by_name(name);
    Require(codec != nullptr, "no such encoder");
    CodecPointer encoder(avcodec_alloc_context3(codec));
    encoder->sample_rate = rateHz;
    encoder->sample_fmt = codec->sample_fmts[0];
    encoder->bit_rate = 128000;
    encoder->time_base = {1, rateHz};
    encoder->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    av_channel_layout_default(&encoder->ch_layout, channels);
    if (hasGlobalHeader) {
        encoder->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    }
    Require(avcodec_open2(encoder.get(), codec, nullptr) >= 0, "the encoder does not open");
    return encoder;
}

FramePointer MakeFrame(AVCodecContext const& encoder, Listening::SampleView sound, std::int64_t position) {
    FramePointer frame(av_frame_alloc());
    frame->format = encoder.sample_fmt;
    frame->sample_rate = encoder.sample_rate;
    frame->nb_samples = static_cast<int>(sound.GetSize());
    frame->pts = position;
    Require(av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout) >= 0, "no memory");
    Require(av_frame_get_buffer(frame.get(), 0) >= 0, "no memory");
    for (std::size_t i = 0; i < sound.GetSize(); ++i) {
        for (int channel = 0; channel < encoder.ch_layout.nb_channels; ++channel) {
            if (encoder.sample_fmt == AV_SAMPLE_FMT_FLTP) {
                reinterpret_cast<float*>(frame->data[channel])[i] = sound[i] / 32768.0F;
            } else {
                Require(channel == 0, "only mono is interleaved");
                reinterpret_cast<std::int16_t*>(frame->data[0])[i] = sound[i];
            }
        }
    }
    return frame;
}

void WritePackets(AVCodecContext& encoder, AVFormatContext& output, AVFrame const* frame) {
    Require(avcodec_send_frame(&encoder, frame) >= 0, "the encoder refuses a frame");
    PacketPointer packet(av_packet_alloc());
    while (avcodec_receive_packet(&encoder, packet.get()) >= 0) {
        packet->stream_index = 0;
        av_packet_rescale_ts(packet.get(), encoder.time_base, output.streams[0]->time_base);
        Require(av_interleaved_write_frame(&output, packet.get()) >= 0, "the muxer refuses a packet");
    }
}

} // namespace

TestFolder::TestFolder() {
    static std::atomic<int> count{0};
    path_ = std::filesystem::temp_directory_path() /
            ("audiohost" + std::to_string(std::random_device{}()) + "-" + std::to_string(++count));
    std::filesystem::create_directories(path_);
}

TestFolder::~TestFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

std::string TestFolder::PathOf(std::string const& name) const {
    return (path_ / std::filesystem::u8path(name)).u8string();
}

std::string TestFolder::Write(std::string const& name, std::string const& bytes) const {
    std::string const path = PathOf(name);
    std::ofstream(std::filesystem::u8path(path), std::ios::binary) << bytes;
    return path;
}

std::string ReadFile(std::string const& path) {
    std::ifstream file(std::filesystem::u8path(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string MakeWav(WavFormat const& format, std::string const& data) {
    std::uint32_t const block = format.channels * format.bits / 8U;
    auto const size = static_cast<std::uint32_t>(data.size());
    return "RIFF" + Number(36 + size, 4) + "WAVEfmt " + Number(16, 4) + Number(format.tag, 2) +
           Number(format.channels, 2) + Number(format.rateHz, 4) + Number(format.rateHz * block, 4) +
           Number(block, 2) + Number(format.bits, 2) + "data" + Number(size, 4) + data;
}

std::string BytesOf(Listening::Samples const& samples) {
    std::string bytes;
    for (std::int16_t const sample : samples) {
        bytes += Number(static_cast<std::uint16_t>(sample), 2);
    }
    return bytes;
}

void EncodeFile(std::string const& path, char const* muxer, char const* encoderName,
                Listening::Samples const& sound, int rateHz, int channels) {
    AVFormatContext* context = nullptr;
    Require(avformat_alloc_output_context2(&context, nullptr, muxer, path.c_str()) >= 0, "no such muxer");
    std::unique_ptr<AVFormatContext, CloseOutput> const output(context);
    CodecPointer const encoder =
        OpenEncoder(encoderName, rateHz, channels, (context->oformat->flags & AVFMT_GLOBALHEADER) != 0);
    AVStream* const stream = avformat_new_stream(context, nullptr);
    Require(stream && avcodec_parameters_from_context(stream->codecpar, encoder.get()) >= 0, "no stream");
    stream->time_base = encoder->time_base;
    Require(avio_open(&context->pb, path.c_str(), AVIO_FLAG_WRITE) >= 0, "the file does not open");
    Require(avformat_write_header(context, nullptr) >= 0, "the header is not written");
    std::int64_t const step = encoder->frame_size > 0 ? encoder->frame_size : rateHz / 50;
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(sound.size()); at += step) {
        WritePackets(*encoder, *context,
                     MakeFrame(*encoder, Listening::SampleView(sound).Cut(at, step), at).get());
    }
    WritePackets(*encoder, *context, nullptr);
    Require(av_write_trailer(context) >= 0, "the trailer is not written");
}

} // namespace AudioHost
