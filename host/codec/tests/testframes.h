#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <cstdint>
#include <memory>
#include <vector>

#include "mediacore/frame.h"

namespace CodecTest {

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::int16_t>;
using Frames = std::vector<std::shared_ptr<Media::FrameAud>>;
using Params = boost::intrusive_ptr<Media::ParamsAud>;

Params MakeParams(Media::MediaCoding_t coding, std::uint32_t frequency, std::uint32_t channels,
                  std::uint32_t bits);
Params MakeG711(Media::G711Law_t law, std::uint32_t channels = 1);

/// A coded frame of `bytes`, number `sequenceNumber` of a source named "Source", at that many times 20 ms.
std::shared_ptr<Media::FrameAud> MakeCoded(Params const& params, Bytes const& bytes,
                                           std::uint32_t sequenceNumber = 0);

/// The same bytes in slices of `sliceBytes`, each in a block of its own.
std::shared_ptr<Media::FrameAud> MakeCodedInSlices(Params const& params, Bytes const& bytes,
                                                   std::size_t sliceBytes);

/// A raw frame of interleaved samples, identified as above.
std::shared_ptr<Media::FrameAud> MakeRaw(std::uint32_t frequency, std::uint32_t channels,
                                         Samples const& samples, std::uint32_t sequenceNumber = 0);

Samples SamplesOf(Media::FrameAud const& frame);
/// All frames' samples one behind the other.
Samples SamplesOf(Frames const& frames);
/// Every `channels`-th sample, from `channel` on.
Samples Channel(Samples const& interleaved, std::size_t channels, std::size_t channel);

} // namespace CodecTest
