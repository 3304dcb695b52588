#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "kovra/buffer.h"
#include "mediacore/frame.h"

namespace Media {

using FrameList = std::vector<std::shared_ptr<FrameAud>>;

/// Interleaved signed 16-bit PCM of a rate and channel count.
struct PcmFormat {
    /// Hz.
    std::uint32_t frequency = 0;
    std::uint32_t channels = 0;

    friend constexpr bool operator==(PcmFormat a, PcmFormat b) {
        return a.frequency == b.frequency && a.channels == b.channels;
    }
    friend constexpr bool operator!=(PcmFormat a, PcmFormat b) { return !(a == b); }
};

inline constexpr std::uint32_t MaxFrequencyHz = 768'000;
inline constexpr std::uint32_t MaxNumChannels = 8;
inline constexpr std::uint32_t PcmSampleBits = 16;
inline constexpr std::uint32_t PcmSampleBytes = PcmSampleBits / 8;

/// Largest raw frame taken or made. The largest coded frame (1 MiB of G.726 at 2 bits) decodes to 8 MiB and
/// grows sixfold from 8000 to 48000 Hz; whatever is larger comes from damaged parameters.
inline constexpr std::size_t MaxRawFrameBytes = std::size_t{64} * 1024 * 1024;

constexpr bool IsUsable(PcmFormat format) {
    return format.frequency >= 1 && format.frequency <= MaxFrequencyHz && format.channels >= 1 &&
           format.channels <= MaxNumChannels;
}

constexpr std::size_t BytesPerSampleGroup(PcmFormat format) {
    return std::size_t{format.channels} * PcmSampleBytes;
}

/// A block with its first `sampleGroups` groups filled (one group: a sample of every channel).
struct PcmBlock {
    boost::intrusive_ptr<Kovra::Buffer> buffer;
    std::size_t sampleGroups = 0;
};

/// An uninitialised block for `sampleGroups` groups, which must fit into `MaxRawFrameBytes`.
boost::intrusive_ptr<Kovra::Buffer> CreatePcmBuffer(PcmFormat format, std::size_t sampleGroups);

/// Wraps a non-empty block as a raw frame.
std::shared_ptr<FrameAudRaw> MakePcmFrame(FrameIdent ident, PcmFormat format, PcmBlock const& block);

/// Bytes of all slices together.
std::size_t CountBytes(FrameAud const& frame);

/// Copies all slices, one behind the other, into `bytes` (resized), with `paddingBytes` zeros behind them.
void GatherBytes(FrameAud const& frame, std::size_t paddingBytes, std::vector<std::uint8_t>& bytes);

/// True for raw PCM with at least one whole sample group and parameters that can be played.
bool IsUsableRawFrame(FrameAud const& frame);

} // namespace Media
