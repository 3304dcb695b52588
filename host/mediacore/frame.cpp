#include "mediacore/frame.h"

#include <limits>
#include <stdexcept>

namespace Media {

namespace {

constexpr std::uint64_t BitsInByte = 8;

/// How long `bytes` of PCM sound. A sample that is not there in all its channels does not sound. No step
/// exceeds 64 bits: the bytes of a list that fits in memory stay below 2^60, a remainder of samples below
/// 2^32.
constexpr std::int64_t GetRawDurationNanoSec(std::uint64_t bytes, std::uint32_t frequency,
                                             std::uint32_t channels, std::uint32_t bits) {
    if (frequency == 0 || channels == 0 || bits == 0) {
        return 0;
    }
    std::uint64_t const samples = bytes * BitsInByte / (std::uint64_t{channels} * bits);
    std::uint64_t const seconds = samples / frequency;
    // Only a frequency of a few hertz comes here.
    if (seconds >= std::numeric_limits<std::int64_t>::max() / Kovra::NanoSecPerSec) {
        return std::numeric_limits<std::int64_t>::max();
    }
    return static_cast<std::int64_t>(seconds * Kovra::NanoSecPerSec +
                                     samples % frequency * Kovra::NanoSecPerSec / frequency);
}

static_assert(GetRawDurationNanoSec(1920, 48000, 1, 16) == 20'000'000);
// One sample of 44100 Hz is 22675.7 ns.
static_assert(GetRawDurationNanoSec(4, 44100, 2, 16) == 22'675);

std::int64_t GetRawDurationNanoSec(FrameAud const& frame) {
    Kovra::BufferInfoListScoped const& slices = frame.GetBuffers();
    std::uint64_t bytes = 0;
    for (std::size_t index = 0; index < slices.GetCount(); ++index) {
        bytes += slices.GetBegin()[index].GetLength();
    }
    ParamsAud const& params = frame.GetParams();
    return GetRawDurationNanoSec(bytes, params.GetFrequency(), params.GetNumChannels(),
                                 params.GetBitsPerSample());
}

MediaCoding_t GetCodingOrThrow(boost::intrusive_ptr<ParamsAud> const& params) {
    if (!params) {
        throw std::invalid_argument("an audio frame needs parameters");
    }
    return params->GetCoding();
}

} // namespace

Frame::Frame(FrameIdent ident, MediaCoding_t coding) : ident_(std::move(ident)), coding_(coding) {}

Frame::~Frame() = default;

void Frame::AttachBuffers(Kovra::BufferInfoListScoped buffers) {
    buffers_ = std::move(buffers);
}

FrameAud::FrameAud(FrameIdent ident, boost::intrusive_ptr<ParamsAud> params)
    : Frame(std::move(ident), GetCodingOrThrow(params)), params_(std::move(params)) {}

FrameAud::~FrameAud() = default;

Kovra::SysTime FrameAud::GetDuration() const {
    return GetCoding() == MediaCoding_t::RawPcm ? Kovra::SysTime(GetRawDurationNanoSec(*this)) : duration_;
}

FrameAudRaw::FrameAudRaw(FrameIdent ident, boost::intrusive_ptr<ParamsAudRaw> const& params)
    : FrameAud(std::move(ident), params) {}

FrameAudRaw::~FrameAudRaw() = default;

Kovra::SysTime FrameAudRaw::GetDuration() const {
    return Kovra::SysTime(GetRawDurationNanoSec(*this));
}

} // namespace Media
