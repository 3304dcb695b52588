#pragma once

#include <cstdint>

#include "model/comparison/difference.h"
#include "model/comparison/moduletrace.h"
#include "model/comparison/stepframe.h"
#include "model/playbackmodel.h"
#include "model/steps/step.h"
#include "support/module/peers.h"

namespace ModelTest {

/// A session of the module and its model, in step.
///
/// **Ownership:** borrows everything that it is made of.
class PlaybackPair {
public:
    PlaybackPair(Simulation::World& world, Rules const& rules, Trace& trace, ModuleTrace& moduleTrace,
                 Difference& difference);

    /// What the platform will tell the module in the next step, asked behind its back.
    void Observe();

    void Do(Render const& step);
    void Do(Client const& step);
    void Do(Service const& step);
    void Do(Lose const& step);
    void Do(Skew const& step);
    void Do(CursorStep const& step);
    void Do(StartDelay const& step);
    void Do(LockSplit const& step);

    void Compare();
    void CompareWholeRing();
    /// The session's end on both sides.
    void End();

    bool IsPlaying() const { return model_.sound.isPlaying; }

private:
    Media::RendererAudioPlaybackBuffer& Buffer();
    void CompareRecord();
    void CompareSound();
    void CompareStretch(Simulation::SoundBuffer const& actual, std::uint32_t byte, std::uint32_t count);

    Simulation::World& world_;
    Difference& difference_;
    Media::RendererAudioPlaybackDevice device_;
    boost::intrusive_ptr<Media::RendererAudioPlaybackState> state_;
    PlaybackModel model_;
    bool hasClientState_ = false;
    std::uint32_t playByte_ = 0;
    StepFrame incoming_;
};

} // namespace ModelTest
