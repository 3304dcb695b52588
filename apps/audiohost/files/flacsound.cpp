#include "files/flacsound.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "files/ffmpegpointers.h"

namespace AudioHost {

namespace {

void Require(bool isMet) {
    if (!isMet) {
        throw std::runtime_error("the sound cannot be encoded for the report.");
    }
}

/// A file in memory with its muxer.
class FlacFile {
public:
    FlacFile() {
        Require(avformat_alloc_output_context2(&muxer_, nullptr, "flac", nullptr) >= 0 &&
                avio_open_dyn_buf(&muxer_->pb) >= 0);
    }
    ~FlacFile() {
        if (muxer_) {
            std::uint8_t* bytes = nullptr;
            if (muxer_->pb) {
                avio_close_dyn_buf(muxer_->pb, &bytes);
            }
            av_free(bytes);
            avformat_free_context(muxer_);
        }
    }
    FlacFile(FlacFile const&) = delete;
    FlacFile& operator=(FlacFile const&) = delete;

    AVFormatContext& GetMuxer() { return *muxer_; }

    std::string Finish() {
        Require(av_write_trailer(muxer_) >= 0);
        std::uint8_t* bytes = nullptr;
        int const size = avio_close_dyn_buf(muxer_->pb, &bytes);
        muxer_->pb = nullptr;
        std::string text(reinterpret_cast<char const*>(bytes), static_cast<std::size_t>(std::max(0, size)));
        av_free(bytes);
        return text;
    }

private:
    AVFormatContext* muxer_ = nullptr;
};

CodecPointer OpenEncoder() {
    AVCodec const* const codec = avcodec_find_encoder(AV_CODEC_ID_FLAC);
    Require(codec != nullptr);
    CodecPointer encoder(avcodec_alloc_context3(codec));
    Require(encoder != nullptr);
    encoder->sample_rate = static_cast<int>(Listening::SoundRateHz);
    encoder->sample_fmt = AV_SAMPLE_FMT_S16;
    encoder->time_base = {1, static_cast<int>(Listening::SoundRateHz)};
    av_channel_layout_default(&encoder->ch_layout, 1);
    Require(avcodec_open2(encoder.get(), codec, nullptr) >= 0);
    return encoder;
}

FramePointer MakeFrame(AVCodecContext const& encoder, Listening::SampleView sound, std::int64_t position) {
    FramePointer frame(av_frame_alloc());
    Require(frame != nullptr);
    frame->format = encoder.sample_fmt;
    frame->sample_rate = encoder.sample_rate;
    frame->nb_samples = static_cast<int>(sound.GetSize());
    frame->pts = position;
    Require(av_channel_layout_copy(&frame->ch_layout, &encoder.ch_layout) >= 0 &&
            av_frame_get_buffer(frame.get(), 0) >= 0);
    std::memcpy(frame->data[0], sound.begin(), sound.GetSize() * sizeof(std::int16_t));
    return frame;
}

/// No frame: the end.
void Encode(AVCodecContext& encoder, AVFrame const* frame, AVFormatContext& muxer) {
    Require(avcodec_send_frame(&encoder, frame) >= 0);
    PacketPointer const packet(av_packet_alloc());
    Require(packet != nullptr);
    while (avcodec_receive_packet(&encoder, packet.get()) >= 0) {
        packet->stream_index = 0;
        Require(av_write_frame(&muxer, packet.get()) >= 0);
        av_packet_unref(packet.get());
    }
}

} // namespace

std::string EncodeFlac(Listening::SampleView sound) {
    FlacFile file;
    CodecPointer const encoder = OpenEncoder();
    AVStream* const stream = avformat_new_stream(&file.GetMuxer(), nullptr);
    Require(stream && avcodec_parameters_from_context(stream->codecpar, encoder.get()) >= 0);
    stream->time_base = encoder->time_base;
    Require(avformat_write_header(&file.GetMuxer(), nullptr) >= 0);
    std::int64_t const step = encoder->frame_size;
    for (std::int64_t at = 0; at < static_cast<std::int64_t>(sound.GetSize()); at += step) {
        Encode(*encoder, MakeFrame(*encoder, sound.Cut(at, step), at).get(), file.GetMuxer());
    }
    Encode(*encoder, nullptr, file.GetMuxer());
    return file.Finish();
}

} // namespace AudioHost
