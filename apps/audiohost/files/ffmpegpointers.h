#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libswresample/swresample.h>
}

namespace AudioHost {

/// Owners of the library's objects.
struct FfmpegDeleter {
    /// With what it reads by, where that is not the library's own.
    void operator()(AVFormatContext* context) const;
    void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
    void operator()(AVPacket* packet) const { av_packet_free(&packet); }
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
    void operator()(SwrContext* context) const { swr_free(&context); }
};

using FormatPointer = std::unique_ptr<AVFormatContext, FfmpegDeleter>;
using CodecPointer = std::unique_ptr<AVCodecContext, FfmpegDeleter>;
using PacketPointer = std::unique_ptr<AVPacket, FfmpegDeleter>;
using FramePointer = std::unique_ptr<AVFrame, FfmpegDeleter>;
using ResamplerPointer = std::unique_ptr<SwrContext, FfmpegDeleter>;

} // namespace AudioHost
