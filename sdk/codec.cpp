#include "codec.h"

#include <algorithm>
#include <cstring>

namespace Sdk {

namespace {

/// 20 MB: a caller who never reads is told before his memory is full.
constexpr std::size_t MaxWaitingSamples = 10'000'000;

void Append(Media::FrameAud const& frame, std::deque<std::int16_t>& samples) {
    // The codec's frames have one slice.
    Kovra::BufferInfo const* const info = frame.GetConstBufferBegin();
    if (info == nullptr || info->GetLength() == 0) {
        return;
    }
    // Bytes of a frame need not be aligned for samples.
    std::vector<std::int16_t> aligned(info->GetLength() / sizeof(std::int16_t));
    std::memcpy(aligned.data(), info->GetData(), aligned.size() * sizeof(std::int16_t));
    samples.insert(samples.end(), aligned.begin(), aligned.end());
}

} // namespace

RaStatus Codec::Feed(Params const& params, void const* data, std::uint32_t bytes) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (waiting_.size() >= MaxWaitingSamples) {
        return RA_OUT_OF_MEMORY;
    }
    return Convert(proxy_.Decode({MakeFrame(params, data, bytes, Kovra::SysTime(), 0)}), false);
}

RaStatus Codec::Flush() {
    std::lock_guard<std::mutex> const guard(lock_);
    return Convert({}, true);
}

RaStatus Codec::Convert(std::vector<std::shared_ptr<Media::FrameAud>> const& frames, bool isFlush) {
    Kovra::SysTime const duration = frames.empty() ? Kovra::SysTime() : frames.front()->GetDuration();
    std::size_t const before = waiting_.size();
    for (auto const& frame :
         proxy_.Transcode(frames, Media::MediaCoding_t::RawPcm, static_cast<unsigned char>(channels_),
                          frequencyHz_, duration, isFlush)) {
        Append(*frame, waiting_);
    }
    return waiting_.size() == before ? RA_NOTHING_READ : RA_SUCCESS;
}

RaStatus Codec::Read(std::int16_t* samples, std::uint32_t capacity, std::uint32_t& count) {
    std::lock_guard<std::mutex> const guard(lock_);
    if (waiting_.empty()) {
        return RA_TOO_FEW_SAMPLES;
    }
    auto const taken = std::min<std::size_t>(capacity, waiting_.size());
    auto const end = waiting_.begin() + static_cast<std::ptrdiff_t>(taken);
    std::copy(waiting_.begin(), end, samples);
    waiting_.erase(waiting_.begin(), end);
    count = static_cast<std::uint32_t>(taken);
    return RA_SUCCESS;
}

} // namespace Sdk
