#include "pcmframe.h"

#include <cstring>
#include <utility>

namespace Media {

namespace {

/// Lets the widest vector instructions in use run on aligned data.
constexpr std::size_t PcmAlignmentBytes = 32;

} // namespace

boost::intrusive_ptr<Kovra::Buffer> CreatePcmBuffer(PcmFormat format, std::size_t sampleGroups) {
    return Kovra::Buffer::Create(sampleGroups * BytesPerSampleGroup(format), PcmAlignmentBytes);
}

std::shared_ptr<FrameAudRaw> MakePcmFrame(FrameIdent ident, PcmFormat format, PcmBlock const& block) {
    boost::intrusive_ptr<ParamsAudRaw> const params(new ParamsAudRaw);
    params->SetParamsAud(format.frequency, format.channels, PcmSampleBits);
    auto frame = std::make_shared<FrameAudRaw>(std::move(ident), params);
    Kovra::BufferInfoListScoped buffers;
    auto const byteCount = static_cast<std::uint32_t>(block.sampleGroups * BytesPerSampleGroup(format));
    buffers.Append(Kovra::BufferInfo(block.buffer, 0, byteCount));
    frame->AttachBuffers(std::move(buffers));
    return frame;
}

std::size_t CountBytes(FrameAud const& frame) {
    std::size_t byteCount = 0;
    auto const& slices = frame.GetBuffers();
    for (std::size_t i = 0; i < slices.GetCount(); ++i) {
        byteCount += slices.GetBegin()[i].GetLength();
    }
    return byteCount;
}

void GatherBytes(FrameAud const& frame, std::size_t paddingBytes, std::vector<std::uint8_t>& bytes) {
    bytes.assign(CountBytes(frame) + paddingBytes, 0);
    std::size_t filled = 0;
    auto const& slices = frame.GetBuffers();
    for (std::size_t i = 0; i < slices.GetCount(); ++i) {
        auto const& slice = slices.GetBegin()[i];
        if (slice.GetLength() == 0) {
            continue;
        }
        std::memcpy(bytes.data() + filled, slice.GetData(), slice.GetLength());
        filled += slice.GetLength();
    }
}

bool IsUsableRawFrame(FrameAud const& frame) {
    PcmFormat const format{frame.GetFrequency(), frame.GetNumChannels()};
    if (frame.GetCoding() != MediaCoding_t::RawPcm || !IsUsable(format) ||
        frame.GetParams().GetBitsPerSample() != PcmSampleBits) {
        return false;
    }
    std::size_t const byteCount = CountBytes(frame);
    return byteCount >= BytesPerSampleGroup(format) && byteCount <= MaxRawFrameBytes;
}

} // namespace Media
