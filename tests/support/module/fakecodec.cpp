#include "support/module/fakecodec.h"

#include <cassert>

namespace UnitTest {

namespace {
FakeCodec* current = nullptr;
} // namespace

FakeCodec::FakeCodec() {
    assert(current == nullptr);
    current = this;
}

FakeCodec::~FakeCodec() {
    current = nullptr;
}

} // namespace UnitTest

namespace Media {

struct AudioCodecProxy::State {};

AudioCodecProxy::AudioCodecProxy() = default;
AudioCodecProxy::~AudioCodecProxy() = default;

std::vector<std::shared_ptr<FrameAud>> AudioCodecProxy::Decode(
    std::vector<std::shared_ptr<FrameAud>> const& frames) {
    auto* const fake = UnitTest::current;
    if (fake == nullptr) {
        return {};
    }
    fake->decodeCalls.push_back(frames);
    return fake->decode ? fake->decode(frames) : UnitTest::Frames();
}

std::vector<std::shared_ptr<FrameAud>> AudioCodecProxy::Transcode(
    std::vector<std::shared_ptr<FrameAud>> const& frames, MediaCoding_t coding, unsigned char channels,
    unsigned int frequency, Kovra::SysTime duration, bool flush) {
    auto* const fake = UnitTest::current;
    if (fake == nullptr) {
        return {};
    }
    UnitTest::TranscodeRequest const request{coding, channels, frequency, duration.NanoSec(), flush};
    fake->transcodeCalls.push_back(request);
    return fake->transcode ? fake->transcode(frames, request) : UnitTest::Frames();
}

} // namespace Media
