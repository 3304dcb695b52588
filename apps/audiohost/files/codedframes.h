#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>
#include <memory>
#include <string>

#include "codec/audiocodecproxy.h"
#include "files/ffmpegpointers.h"
#include "listening/samples.h"
#include "mediacore/frame.h"

namespace AudioHost {

/// What coded frames of the stream tell the renderer; null when it does not decode such (it does mono AAC and
/// mono G.711). With `hasOwnHeaders` AAC frames tell their set-up themselves (ADTS).
boost::intrusive_ptr<Media::ParamsAud> MakeCodedParams(AVCodecParameters const& stream, bool hasOwnHeaders);

/// Coding, rate, channels, and who decodes it, in words.
std::string DescribeCoding(AVCodecParameters const& stream, bool isCoded);

/// Finds the sound that coded frames of a mono stream stand for in the way that the renderer does.
///
/// **Threads:** one at a time.
class SoundOfFrames {
public:
    /// Mono at `SoundRateHz`; empty where nothing can be decoded. A frame that has several channels after
    /// all, as no description or header said, is replaced by their mix, which is raw: the renderer would take
    /// them for one.
    Listening::Samples Decode(std::shared_ptr<Media::FrameAud>& frame);

private:
    Media::AudioCodecProxy codec_;
};

} // namespace AudioHost
