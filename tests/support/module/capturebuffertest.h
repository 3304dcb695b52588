#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "rendereraudiocapturebufferfields.h"
#include "support/module/logcapture.h"
#include "support/module/peers.h"
#include "support/module/unittest.h"

namespace UnitTest {

using Frames = std::vector<std::shared_ptr<FrameAud>>;

/// The samples that a frame holds.
inline std::vector<std::int16_t> SamplesOf(FrameAud const& frame) {
    Kovra::BufferInfo const* const info = frame.GetConstBufferBegin();
    std::vector<std::int16_t> samples(info == nullptr ? 0 : info->GetLength() / sizeof(std::int16_t));
    if (!samples.empty()) {
        std::memcpy(samples.data(), info->GetData(), samples.size() * sizeof(std::int16_t));
    }
    return samples;
}

/// `count` samples of the simulated microphone, from number `first` on.
inline std::vector<std::int16_t> PatternFrom(std::uint64_t first, std::size_t count) {
    std::vector<std::int16_t> samples(count);
    for (auto& sample : samples) {
        sample = Simulation::CaptureSettings::Pattern(first++);
    }
    return samples;
}

/// A capture buffer, not created, on an open device. Time stands still unless the test moves it, and no
/// thread runs but the test's own.
class CaptureBufferTest : public ::testing::Test {
protected:
    using Peer = RendererAudioCaptureBufferPeer;

    CaptureBufferTest() {
        EXPECT_EQ(device.Initialize(), 0);
        buffer = std::make_unique<RendererAudioCaptureBuffer>(device.GetWeakFields());
        world.Journal().Enable();
        world.Journal().Clear();
    }

    Peer::Fields& GetFields() { return Peer::GetFields(*buffer); }
    Simulation::CaptureBuffer& Microphone() { return world.OnlyCaptureBuffer(); }

    void Create() {
        ASSERT_EQ(buffer->Create(), 0);
        world.Journal().Clear();
    }

    /// Creates the buffer and places the read position at `readPos`, with nothing captured behind it.
    void CreateAt(std::uint32_t readPos) {
        Create();
        Microphone().SetReadSample(readPos);
        GetFields().readPos = readPos;
    }

    /// The calls of the capture buffer since the last look, or those in `calls`.
    std::vector<std::string> TakeCalls(CallSet const& calls = CallSet::CaptureBuffer()) {
        auto texts = world.Journal().Texts(calls);
        world.Journal().Clear();
        return texts;
    }

    Simulation::TestWorld world;
    LogCapture log;
    RendererAudioCaptureDevice device;
    std::unique_ptr<RendererAudioCaptureBuffer> buffer;
};

} // namespace UnitTest
