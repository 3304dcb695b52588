#pragma once

#include <memory>

#include "model/capturemodel.h"
#include "model/comparison/difference.h"
#include "model/steps/step.h"
#include "simulation/world.h"
#include "support/module/peers.h"

namespace ModelTest {

/// A capture proxy of the module and its model, in step.
///
/// **Ownership:** borrows everything that it is made of.
class CapturePair {
public:
    CapturePair(Simulation::World& world, Rules const& rules, Trace& trace, Difference& difference);

    /// What the platform will tell the module in the next step, asked behind its back.
    void Observe();

    void Do(CaptureStart const& step);
    void Do(CaptureStop const& step);
    void Do(CaptureHalt const& step);
    void Do(CaptureCreate const& step);
    void Do(CaptureRead const& step);
    void Do(CaptureMeter const& step);
    void Do(CaptureLevel const& step);
    void Do(CaptureAtOnce const& step);
    void Do(CaptureSkew const& step);
    void Do(CaptureCursorStep const& step);
    void Do(CaptureLockSplit const& step);
    void Do(CaptureStall const& step);

    void Compare();
    /// The proxy's end on both sides.
    void End();

    bool HasSoundBuffer() const { return model_.record.hasDirectSound; }

private:
    std::shared_ptr<Media::RendererAudioCaptureBuffer> Buffer() const;
    void SetEmptyLock(EmptyLock kind);
    void CompareFrame(Media::FrameAud const& frame, CapturedFrame const& expected);

    Simulation::World& world_;
    Difference& difference_;
    Media::RendererAudioCaptureDevice device_;
    std::unique_ptr<Media::RendererAudioCaptureProxy> proxy_;
    CaptureModel model_;
    CaptureView view_;
};

} // namespace ModelTest
