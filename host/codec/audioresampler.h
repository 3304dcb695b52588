#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "ffmpegowners.h"
#include "pcmframe.h"
#include "resamplerplan.h"

namespace Media {

/// Converts one stream of PCM from a rate and channel count to another. The filter's history is kept from
/// call to call; every call gives exactly the samples due (`resamplerplan.h` tells how).
///
/// **Threads:** one at a time.
/// **Units:** sample groups, one sample of every channel.
class AudioResampler {
public:
    /// Null when the rates lie further apart than `MaxRateRatio` or the library has no such conversion.
    /// Both formats must be usable. Throws `std::bad_alloc`.
    static std::unique_ptr<AudioResampler> Create(PcmFormat in, PcmFormat out);

    bool IsFrom(PcmFormat in) const { return in_ == in; }
    bool IsTo(PcmFormat out) const { return out_ == out; }

    /// Converts `sampleGroups` groups (1 to `MaxRawFrameBytes` worth of them). The block is empty when
    /// nothing is due yet, and when more than `MaxRawFrameBytes` would be: then the input is dropped.
    /// Throws `std::bad_alloc`.
    PcmBlock Convert(std::uint8_t const* samples, std::size_t sampleGroups);

    /// The samples that the filter still holds. The stream ends here: convert nothing after it.
    PcmBlock Flush();

    /// A filter to one rate from another that is further away than this takes seconds to compute; no audio
    /// rates are.
    static constexpr std::int64_t MaxRateRatio = 192;

private:
    AudioResampler(PcmFormat in, PcmFormat out, SwrOwner context);

    bool Prime();
    std::size_t ConvertInto(std::uint8_t* out, std::int64_t outGroups, std::uint8_t const* in,
                            std::int64_t inGroups);

    PcmFormat const in_;
    PcmFormat const out_;
    ResamplerPlan const plan_;
    SwrOwner const context_;
    SampleShare share_;
};

} // namespace Media
