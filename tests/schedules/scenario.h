#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "simulation/world.h"
#include "support/module/builders.h"
#include "support/module/peers.h"
#include "support/module/rendererview.h"
#include "together.h"

namespace Schedules {

using namespace Media;

/// For a scenario's body: one way in which it can end. Each is a sentence of its own.
void EndsIn(std::string const& state);

/// Runs `body` on every schedule that the settings ask for (see CMakeLists.txt). Nothing may be found wrong
/// in any, and the states that it ends in must be those which docs/architecture.md lists for `name`.
void ExpectOnAllSchedules(std::string const& name, std::function<void()> const& body);

#define SCHEDULES_TEST(suite, name)                         \
    static void suite##name();                              \
    TEST(suite, name) {                                     \
        ExpectOnAllSchedules(#name, [] { suite##name(); }); \
    }                                                       \
    static void suite##name()

/// A simulated machine with one renderer, which the pipeline has. What is left over at the end is found.
class Stage {
public:
    Stage();
    ~Stage();
    Stage(Stage const&) = delete;
    Stage& operator=(Stage const&) = delete;

    /// Opens the renderer; its playback thread has come to its first wait.
    void Open();
    /// Lets time pass. The playback thread runs meanwhile.
    void Pass(std::int64_t milliSec) { world.Clock().AdvanceMilliSec(milliSec); }

    RendererAudioPlaybackDevice& Device() { return *device_; }

    /// As many sound buffers, events and registered buffers as there are sessions with sound, and all lists
    /// alike.
    void ExpectRegistered(std::size_t buffers);
    Simulation::World world{[](std::string const& complaint) { Scheduler::Get().Report(complaint); }};
    std::unique_ptr<RendererAudio> renderer = std::make_unique<RendererAudio>();

private:
    RendererAudioPlaybackDevice* device_ = nullptr;
};

/// One session of a stage.
class Session {
public:
    explicit Session(Stage& stage) : stage_(stage), state_(UnitTest::OpenSession(*stage.renderer)) {}

    /// Hands over the next frame, 20 ms of `value`, to be heard `leadMilliSec` from now. Whether it was
    /// written.
    bool Render(std::int16_t value, std::uint32_t frequencyHz = Facts::FrequencyHz);
    void SetClient(float volume, float balance);
    /// The playback thread waits for the session's event, and services its buffer.
    void ExpectServiced();
    /// Lets go of the session.
    void End() { state_.reset(); }

    RendererAudioPlaybackBuffer& Buffer() { return UnitTest::BufferOf(*state_); }
    RendererAudioPlaybackBufferPeer::Fields& Fields() {
        return RendererAudioPlaybackBufferPeer::GetFields(Buffer());
    }
    Simulation::SoundBuffer& Sound() { return *sound_; }
    HANDLE Event() { return Fields().notifyPosition->hEventNotify; }
    /// Keeps in mind the sound buffer that the session has made last.
    void FindSound() { sound_ = &stage_.world.LatestBuffer(); }

    static constexpr std::int64_t LeadMilliSec = 100;
    static constexpr std::int64_t Origin = UnitTest::FirstTimestampNanoSec;
    /// Timestamp of the next frame.
    std::int64_t timestampNanoSec = Origin;

private:
    Stage& stage_;
    boost::intrusive_ptr<PipelineState> state_;
    Simulation::SoundBuffer* sound_ = nullptr;
};

} // namespace Schedules
