#pragma once

#include <memory>

#include "model/playbackmodel.h"
#include "model/steps/step.h"
#include "support/module/fakecodec.h"

namespace ModelTest {

/// The frame of a step and what the codec will make of it, for the module and for the model.
struct StepFrame {
    StepFrame() = default;
    explicit StepFrame(Render const& step);

    std::shared_ptr<Media::FrameAud> frame;
    UnitTest::Frames decoded;
    UnitTest::Frames transcoded;
    IncomingFrame model;
};

} // namespace ModelTest
