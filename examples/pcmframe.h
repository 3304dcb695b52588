// Frames of a host's own samples, for the examples in C++.
#pragma once

#include <mediacore/frame.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

using PcmParams = boost::intrusive_ptr<Media::ParamsAudRaw>;

inline PcmParams MakePcmParams(std::uint32_t frequencyHz, std::uint32_t channels) {
    PcmParams params(new Media::ParamsAudRaw());
    params->SetParamsAud(frequencyHz, channels, 16);
    return params;
}

/// A frame with a copy of `count` samples, all channels counted, whose place on the stream's timeline is
/// `timestamp`, above 0.
inline std::shared_ptr<Media::FrameAudRaw> MakePcmFrame(std::int16_t const* samples, std::size_t count,
                                                        PcmParams const& params, Kovra::SysTime timestamp) {
    auto const bytes = static_cast<std::uint32_t>(count * sizeof *samples);
    boost::intrusive_ptr<Kovra::Buffer> const buffer = Kovra::Buffer::Create(bytes, sizeof *samples);
    std::memcpy(buffer->GetData(), samples, bytes);
    Kovra::BufferInfoListScoped buffers;
    buffers.Append(Kovra::BufferInfo(buffer, 0, bytes));
    auto frame = std::make_shared<Media::FrameAudRaw>(Media::FrameIdent(timestamp, 0, "Example"), params);
    frame->AttachBuffers(std::move(buffers));
    return frame;
}
