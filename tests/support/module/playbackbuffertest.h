#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "support/module/builders.h"
#include "support/module/fakecodec.h"
#include "support/module/logcapture.h"
#include "support/module/peers.h"
#include "support/module/unittest.h"

namespace UnitTest {

/// A record of the playback buffer's channel.
struct LogLine {
    Kovra::LogLevel_t level;
    std::string message;

    friend bool operator==(LogLine const& a, LogLine const& b) {
        return a.level == b.level && a.message == b.message;
    }
    friend std::ostream& operator<<(std::ostream& out, LogLine const& line) {
        return out << "level " << static_cast<int>(line.level) << ": " << line.message;
    }
};

inline LogLine Debug(std::string message) {
    return {Kovra::LogLevel_t::Debug, std::move(message)};
}
inline LogLine Info(std::string message) {
    return {Kovra::LogLevel_t::Info, std::move(message)};
}

/// A playback buffer on an open device without a playback thread: the test's own thread is the only one, and
/// time stands still unless the test moves it.
class PlaybackBufferTest : public ::testing::Test {
protected:
    using Peer = RendererAudioPlaybackBufferPeer;

    /// Timestamp at ring position 0: past 2^42, and no multiple of anything.
    static constexpr std::int64_t Origin = 7'000'000'000'123;

    PlaybackBufferTest() {
        RendererAudioPlaybackDevicePeer::OpenWithoutThread(device);
        buffer = std::make_unique<RendererAudioPlaybackBuffer>(device);
        world.Journal().Enable();
        world.Journal().Clear();
    }

    Peer::Fields& GetFields() { return Peer::GetFields(*buffer); }
    Simulation::SoundBuffer& Sound() { return world.OnlyBuffer(); }

    /// Creates the sound buffer, silent and not playing, with `Origin` at position 0.
    void Create(std::uint32_t channels = 1) {
        auto const frame = RawFrame(Origin, {0, 0}, 48000, channels);
        ASSERT_EQ(buffer->CreateSoundBuffer(frame), 0);
        world.Journal().Clear();
    }

    /// Writes a mono frame whose timestamp lies `offsetNanoSec` after `Origin`.
    bool Write(std::int64_t offsetNanoSec, std::size_t count, std::int16_t value) {
        return buffer->WriteFrame(ConstantFrame(Origin + offsetNanoSec, count, value));
    }

    /// Makes the next frame's place one that follows no gap rule, as long as it lies in [0, 100000].
    void MakeEveryGapOneOfThePast() { GetFields().writeEnd = 100001; }

    /// The calls since the last look; those of the sound buffer unless said otherwise.
    std::vector<std::string> TakeCalls(CallSet const& calls = CallSet::Buffer()) {
        auto texts = world.Journal().Texts(calls);
        world.Journal().Clear();
        return texts;
    }

    /// The calls since the last look by their enumerators, references included.
    std::vector<std::string> TakeFullNames(CallSet const& calls) {
        std::vector<std::string> names;
        for (auto const& record : world.Journal().Records(calls)) {
            names.emplace_back(ToString(record.call));
        }
        world.Journal().Clear();
        return names;
    }

    /// The records since the last look. Each must be of the buffer's channel and name no place in the code.
    std::vector<LogLine> TakeLog() {
        std::vector<LogLine> lines;
        for (auto const& record : log.GetRecords()) {
            EXPECT_EQ(record.channel, "Media.RendererAudioPlaybackBuffer");
            EXPECT_EQ(record.file, "");
            EXPECT_EQ(record.function, "");
            EXPECT_EQ(record.line, 0);
            lines.push_back({record.level, record.message});
        }
        log.Clear();
        return lines;
    }

    /// Behind the module's back: nothing of it comes into the journal.
    void PutCursorAt(std::uint32_t sample) {
        world.Journal().Enable(false);
        EXPECT_EQ(GetFields().soundBuffer->SetCurrentPosition(sample * 2), DS_OK);
        world.Journal().Enable();
    }
    void Play() {
        world.Journal().Enable(false);
        EXPECT_EQ(GetFields().soundBuffer->Play(0, 0, DSBPLAY_LOOPING), DS_OK);
        world.Journal().Enable();
    }
    /// Fills samples with what no frame of the tests contains.
    void Soil(std::uint32_t first, std::uint32_t count) {
        Sound().Write(first, std::vector<std::int16_t>(count, Soiled));
    }
    bool IsSoiled(std::uint32_t first, std::uint32_t count) {
        return Sound().Samples(first, count) == std::vector<std::int16_t>(count, Soiled);
    }
    static constexpr std::int16_t Soiled = 0x5A5A;

    static std::vector<std::int16_t> Repeat(std::size_t count, std::int16_t value) {
        return std::vector<std::int16_t>(count, value);
    }

    static Kovra::JiffyTime Ahead(std::int64_t nanoSec) {
        return Kovra::JiffyTime(Kovra::JiffyTime::Now().NanoSec() + nanoSec);
    }
    static Kovra::JiffyTime Ago(std::int64_t milliSec) { return Ahead(-milliSec * NanoSecPerMilliSec); }

    Simulation::TestWorld world;
    LogCapture log;
    FakeCodec codec;
    RendererAudioPlaybackDevice device;
    std::unique_ptr<RendererAudioPlaybackBuffer> buffer;
};

} // namespace UnitTest
