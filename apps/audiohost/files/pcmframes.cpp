#include "files/pcmframes.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace AudioHost {

namespace {

constexpr std::size_t FrameSamples =
    static_cast<std::size_t>(Listening::SoundRateHz * PcmFrameNanoSec / Listening::NanoSecPerSec);
static_assert(FrameSamples == 960);
constexpr std::size_t BufferAlignmentBytes = 16;

/// Below 2^63 for 53 hours.
std::int64_t NanoSecOf(std::int64_t samples) {
    return samples * Listening::NanoSecPerSec / Listening::SoundRateHz;
}

} // namespace

Kovra::BufferInfoListScoped CopyToBuffer(void const* data, std::size_t size) {
    boost::intrusive_ptr<Kovra::Buffer> const buffer = Kovra::Buffer::Create(size, BufferAlignmentBytes);
    std::memcpy(buffer->GetData(), data, size);
    Kovra::BufferInfoListScoped list;
    list.Append(Kovra::BufferInfo(buffer, 0, static_cast<std::uint32_t>(size)));
    return list;
}

PcmFrames::PcmFrames(Kovra::SysTime base, std::string const& name)
    : stamper_(base, name), params_(new Media::ParamsAudRaw) {
    params_->SetParamsAud(Listening::SoundRateHz, 1, 16);
}

bool PcmFrames::Next(PcmStream& stream, MediaFrame& next) {
    while (sound_.GetSize() < FrameSamples && !isAtEnd_) {
        isAtEnd_ = !stream.Read(sound_.Grow());
    }
    std::size_t const count = std::min(sound_.GetSize(), FrameSamples);
    if (count == 0) {
        return false;
    }
    std::int16_t const* const samples = sound_.Take(count);
    next.sound.assign(samples, samples + count);
    next.positionNanoSec = NanoSecOf(samplesCut_);
    samplesCut_ += static_cast<std::int64_t>(count);
    next.durationNanoSec = NanoSecOf(samplesCut_) - next.positionNanoSec;
    auto frame = std::make_shared<Media::FrameAudRaw>(stamper_.Stamp(next.positionNanoSec), params_);
    frame->AttachBuffers(CopyToBuffer(next.sound.data(), count * sizeof(std::int16_t)));
    next.frame = std::move(frame);
    return true;
}

} // namespace AudioHost
