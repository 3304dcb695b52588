#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "codec/audiocodecproxy.h"

namespace UnitTest {

using Frames = std::vector<std::shared_ptr<Media::FrameAud>>;

/// What the module asked of the codec library beside the frames.
struct TranscodeRequest {
    Media::MediaCoding_t coding = Media::MediaCoding_t::RawPcm;
    unsigned int channels = 0;
    unsigned int frequency = 0;
    std::int64_t durationNanoSec = 0;
    bool flush = false;
};

/// Stands in for the codec library: while it lives, every `AudioCodecProxy` of the program answers as it
/// says. Without one, every decode yields nothing.
///
/// **Threads:** made and asked on the thread that decodes.
class FakeCodec {
public:
    FakeCodec();
    ~FakeCodec();
    FakeCodec(FakeCodec const&) = delete;
    FakeCodec& operator=(FakeCodec const&) = delete;

    /// Nothing unless set.
    std::function<Frames(Frames const&)> decode;
    std::function<Frames(Frames const&, TranscodeRequest const&)> transcode;

    std::vector<Frames> decodeCalls;
    std::vector<TranscodeRequest> transcodeCalls;
};

} // namespace UnitTest
