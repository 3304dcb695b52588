// The codec of the races suite: without state, so that every thread may have it at once.

#include <cstring>

#include "codec/audiocodecproxy.h"
#include "racestest.h"

namespace Media {

struct AudioCodecProxy::State {};

AudioCodecProxy::AudioCodecProxy() = default;
AudioCodecProxy::~AudioCodecProxy() = default;

std::vector<std::shared_ptr<FrameAud>> AudioCodecProxy::Decode(
    std::vector<std::shared_ptr<FrameAud>> const& frames) {
    std::vector<std::shared_ptr<FrameAud>> decoded;
    for (auto const& frame : frames) {
        std::int16_t value = 0;
        std::memcpy(&value, frame->GetConstBufferBegin()->GetData(), sizeof(value));
        decoded.push_back(
            UnitTest::ConstantFrame(frame->GetTimestamp().NanoSec(), RacesTest::FrameSamples, value));
    }
    return decoded;
}

std::vector<std::shared_ptr<FrameAud>> AudioCodecProxy::Transcode(
    std::vector<std::shared_ptr<FrameAud>> const& frames, MediaCoding_t /*coding*/,
    unsigned char /*channels*/, unsigned int /*frequency*/, Kovra::SysTime /*duration*/, bool /*flush*/) {
    return frames;
}

} // namespace Media
