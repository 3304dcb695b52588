#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <memory>

#include "kovra/time.h"
#include "mediacore/frame.h"
#include "rendereraudio/rendereraudio_c.h"

namespace Sdk {

/// Parameters of a stream.
using Params = boost::intrusive_ptr<Media::ParamsAud>;

/// True when samples may come at such a rate in so many channels.
bool IsInRange(std::uint32_t frequencyHz, std::uint32_t channels);

/// True when every member is in its documented range.
bool IsInRange(RaStreamFormat const& format);

/// True when the renderer plays such a stream so that it can be heard, at its right speed.
bool IsPlayable(RaStreamFormat const& format);

/// The host libraries' words for `format`, which is in range. Copies the decoder's set-up.
Params MakeParams(RaStreamFormat const& format);

/// True when `data` can be a frame of such a stream: there is some, and not too much, and PCM comes in whole
/// samples.
bool IsFrame(Media::ParamsAud const& params, void const* data, std::uint32_t bytes);

/// A frame with a copy of `data`.
std::shared_ptr<Media::FrameAud> MakeFrame(Params const& params, void const* data, std::uint32_t bytes,
                                           Kovra::SysTime timestamp, std::uint32_t sequenceNumber);

} // namespace Sdk
