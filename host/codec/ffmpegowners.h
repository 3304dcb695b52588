#pragma once

#include <memory>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

namespace Media {

/// Frees an FFmpeg object through the library's function that takes the address of the pointer.
template <auto Free>
struct FreeByAddress {
    template <class T>
    void operator()(T* object) const {
        Free(&object);
    }
};

struct ParserCloser {
    void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
};

using CodecContextOwner = std::unique_ptr<AVCodecContext, FreeByAddress<avcodec_free_context>>;
using PacketOwner = std::unique_ptr<AVPacket, FreeByAddress<av_packet_free>>;
using AvFrameOwner = std::unique_ptr<AVFrame, FreeByAddress<av_frame_free>>;
using SwrOwner = std::unique_ptr<SwrContext, FreeByAddress<swr_free>>;
using ParserOwner = std::unique_ptr<AVCodecParserContext, ParserCloser>;

/// The library's usual speaker order for a channel count. Owns nothing for 1 to 8 channels.
inline AVChannelLayout DefaultLayout(int channels) {
    AVChannelLayout layout{};
    av_channel_layout_default(&layout, channels);
    return layout;
}

} // namespace Media
