#include "testframes.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace CodecTest {

namespace {

constexpr std::size_t BlockAlignmentBytes = 16;
constexpr std::int64_t FrameMilliSec = 20;

Media::FrameIdent MakeIdent(std::uint32_t sequenceNumber) {
    return {Kovra::SysTime::FromMilliSec(FrameMilliSec * sequenceNumber), sequenceNumber, "Source"};
}

Kovra::BufferInfo MakeSlice(void const* data, std::size_t byteCount) {
    auto block = Kovra::Buffer::Create(byteCount, BlockAlignmentBytes);
    if (byteCount != 0) {
        std::memcpy(block->GetData(), data, byteCount);
    }
    return {block, 0, static_cast<std::uint32_t>(byteCount)};
}

void Attach(Media::Frame& frame, void const* data, std::size_t byteCount) {
    Kovra::BufferInfoListScoped list;
    list.Append(MakeSlice(data, byteCount));
    frame.AttachBuffers(std::move(list));
}

} // namespace

Params MakeParams(Media::MediaCoding_t coding, std::uint32_t frequency, std::uint32_t channels,
                  std::uint32_t bits) {
    Params params(new Media::ParamsAud(coding));
    params->SetParamsAud(frequency, channels, bits);
    return params;
}

Params MakeG711(Media::G711Law_t law, std::uint32_t channels) {
    Params params = MakeParams(Media::MediaCoding_t::G711, 8'000, channels, 8);
    params->SetLaw(law);
    return params;
}

std::shared_ptr<Media::FrameAud> MakeCoded(Params const& params, Bytes const& bytes,
                                           std::uint32_t sequenceNumber) {
    auto frame = std::make_shared<Media::FrameAud>(MakeIdent(sequenceNumber), params);
    Attach(*frame, bytes.data(), bytes.size());
    return frame;
}

std::shared_ptr<Media::FrameAud> MakeCodedInSlices(Params const& params, Bytes const& bytes,
                                                   std::size_t sliceBytes) {
    auto frame = std::make_shared<Media::FrameAud>(MakeIdent(0), params);
    Kovra::BufferInfoListScoped list;
    for (std::size_t offset = 0; offset < bytes.size(); offset += sliceBytes) {
        list.Append(MakeSlice(bytes.data() + offset, std::min(sliceBytes, bytes.size() - offset)));
    }
    frame->AttachBuffers(std::move(list));
    return frame;
}

std::shared_ptr<Media::FrameAud> MakeRaw(std::uint32_t frequency, std::uint32_t channels,
                                         Samples const& samples, std::uint32_t sequenceNumber) {
    boost::intrusive_ptr<Media::ParamsAudRaw> params(new Media::ParamsAudRaw);
    params->SetParamsAud(frequency, channels, 16);
    auto frame = std::make_shared<Media::FrameAudRaw>(MakeIdent(sequenceNumber), params);
    Attach(*frame, samples.data(), samples.size() * sizeof(Samples::value_type));
    return frame;
}

Samples SamplesOf(Media::FrameAud const& frame) {
    auto const* slice = frame.GetConstBufferBegin();
    if (slice == nullptr) {
        return {};
    }
    Samples samples(slice->GetLength() / sizeof(Samples::value_type));
    if (!samples.empty()) {
        std::memcpy(samples.data(), slice->GetData(), samples.size() * sizeof(Samples::value_type));
    }
    return samples;
}

Samples SamplesOf(Frames const& frames) {
    Samples all;
    for (auto const& frame : frames) {
        Samples const samples = SamplesOf(*frame);
        all.insert(all.end(), samples.begin(), samples.end());
    }
    return all;
}

Samples Channel(Samples const& interleaved, std::size_t channels, std::size_t channel) {
    Samples one;
    for (std::size_t i = channel; i < interleaved.size(); i += channels) {
        one.push_back(interleaved[i]);
    }
    return one;
}

} // namespace CodecTest
