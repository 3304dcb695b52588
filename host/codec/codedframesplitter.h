#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "ffmpegowners.h"

namespace Media {

/// The lengths in bytes, one behind the other from the first byte on, of the whole coded frames in `bytes`
/// (`byteCount` of them, with libavcodec's input padding behind). For streams whose frames start with a
/// sync word and tell their length: ADTS and MPEG audio, as `context` says.
///
/// Ends before the first frame that is cut short or has no sync word, so that a truncated or garbled frame
/// never reaches the decoder, which would conceal it as noise.
///
/// Throws `std::bad_alloc`.
std::vector<std::size_t> FindCodedFrames(AVCodecContext& context, std::uint8_t const* bytes,
                                         std::size_t byteCount);

} // namespace Media
