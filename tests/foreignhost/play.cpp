// Plays on the simulated machine through the renderer as this host has built it, and listens: exit code 0
// when all that was sent is heard in time, and everything is given back.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "harbour/host.h"
#include "pipeline/pipelinesessionparams.h"
#include "rendereraudio.h"
#include "simulation/world.h"

namespace {

constexpr std::int64_t NanoSecPerMilliSec = 1'000'000;
constexpr int FrameMilliSec = 20;
constexpr std::size_t FrameSamples = 960;
constexpr int LeadMilliSec = 100;
constexpr std::int64_t FirstTimestampNanoSec = 5'000'000'000;
constexpr int Frames = 6;
/// Those before it are not heard at a start.
constexpr int FirstHeardFrame = 2;
/// A sample at 48000 Hz, and what positions are rounded by.
constexpr std::int64_t ToleranceNanoSec = 50'000;

bool hasFailed = false;

void Check(bool isRight, char const* what) {
    if (!isRight) {
        std::printf("wrong: %s\n", what);
        hasFailed = true;
    }
}

/// Sample `index` of the sound that is played: never zero, and each one there only once.
std::int16_t SampleOf(int frame, std::size_t index) {
    return static_cast<std::int16_t>(frame * static_cast<int>(FrameSamples) + static_cast<int>(index) + 1);
}

std::vector<std::int16_t> SoundOf(int frame) {
    std::vector<std::int16_t> sound(FrameSamples);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        sound[i] = SampleOf(frame, i);
    }
    return sound;
}

boost::intrusive_ptr<Media::PipelineState> Register(Media::RendererAudio& renderer) {
    Media::PipelineSessionParams_t params;
    boost::intrusive_ptr<Media::PipelineState> state;
    renderer.RegisterSession(params, state);
    Check(state != nullptr, "a session gets its state");
    return state;
}

bool Render(Media::RendererAudio& renderer, boost::intrusive_ptr<Media::PipelineState> const& state,
            std::shared_ptr<Media::FrameAud> frame) {
    auto const job =
        Harbour::MakeJob(state, std::move(frame), Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec));
    renderer.Divide(job);
    return Harbour::HasSucceeded(*job);
}

void PlayRawSound(Simulation::World& world, Media::RendererAudio& renderer) {
    auto const state = Register(renderer);
    Harbour::Wish(*state, 0.0F, 0.0F);
    std::vector<std::int64_t> wanted;
    for (int frame = 0; frame < Frames; ++frame) {
        wanted.push_back(world.Clock().NowNanoSec() + LeadMilliSec * NanoSecPerMilliSec);
        Check(Render(renderer, state,
                     Harbour::MakeRawFrame(FirstTimestampNanoSec + frame * FrameMilliSec * NanoSecPerMilliSec,
                                           SoundOf(frame))),
              "a raw frame is rendered");
        if (frame == 0) {
            world.OnlyBuffer().EnableSpeaker();
        }
        world.Clock().AdvanceMilliSec(FrameMilliSec);
    }
    world.Clock().AdvanceMilliSec(LeadMilliSec);
    Simulation::SoundBuffer& buffer = world.OnlyBuffer();
    Check(buffer.IsPlaying(), "playback runs");
    Check(buffer.Volume() == DSBVOLUME_MIN && buffer.Pan() == DSBPAN_LEFT, "the client's wishes are applied");
    for (int frame = FirstHeardFrame; frame < Frames; ++frame) {
        auto const heard = buffer.GetSpeaker().TimeOfValue(SampleOf(frame, 0));
        auto const asked = wanted[static_cast<std::size_t>(frame)];
        Check(heard.has_value() && std::abs(*heard - asked) <= ToleranceNanoSec, "a frame is heard in time");
    }
}

void PlayTelephoneSound(Simulation::World& world, Media::RendererAudio& renderer) {
    // Loudest, and below zero.
    constexpr std::uint8_t Code = 0;
    constexpr std::int16_t Sample = -32124;
    auto const state = Register(renderer);
    Check(Render(renderer, state,
                 Harbour::MakeTelephoneFrame(FirstTimestampNanoSec, std::vector<std::uint8_t>(160, Code))),
          "a telephone frame is rendered");
    Check(world.LatestBuffer().Samples(0, FrameSamples) == std::vector<std::int16_t>(FrameSamples, Sample),
          "the host's own codec has decoded it");
}

void Record(Simulation::World& world, Media::RendererAudio const& renderer) {
    auto const microphone = renderer.GetCaptureProxy();
    Check(microphone != nullptr, "there is a microphone");
    if (microphone == nullptr) {
        return;
    }
    world.OnlyCaptureBuffer();
    world.Clock().AdvanceMilliSec(3 * FrameMilliSec);
    std::vector<std::shared_ptr<Media::FrameAud>> frames;
    Check(microphone->ReadFrames(frames) == 0 && frames.size() == 3, "the microphone gives three frames");
    for (auto const& frame : frames) {
        Check(frame->GetFrequency() == 48000 && Harbour::GetSamples(*frame).size() == FrameSamples,
              "a captured frame is whole");
    }
}

void Live(Simulation::World& world) {
    Media::RendererAudio renderer;
    Harbour::UseRenderer(&renderer);
    Check(renderer.Initialize() == 0 && renderer.IsEnabled(), "the renderer is initialised");
    Check(Media::RendererAudio::Instance() == &renderer, "the renderer is found again");
    PlayRawSound(world, renderer);
    PlayTelephoneSound(world, renderer);
    Record(world, renderer);
    renderer.Shutdown();
    Harbour::UseRenderer(nullptr);
}

} // namespace

int main() {
    {
        // Ends the program when something is not given back.
        Simulation::World world;
        Live(world);
    }
    auto const channels = Harbour::GetLogChannels();
    auto const texts = Harbour::GetLogTexts();
    Check(std::count(channels.begin(), channels.end(), "Media.RendererAudio") == 1, "channels are fetched");
    Check(std::count(texts.begin(), texts.end(),
                     "Media.RendererAudioPlaybackBuffer: AudioBuffer playback started") == 2,
          "two starts are logged");
    Check(Harbour::GetPoolFigures().inUse == 0, "every block goes back to the pool");
    Check(Harbour::GetPoolFigures().reused > 0, "blocks are given out again");
    std::puts(hasFailed ? "not as it should be" : "all was heard");
    return hasFailed ? EXIT_FAILURE : EXIT_SUCCESS;
}
