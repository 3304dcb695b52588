#pragma once

#include <memory>
#include <string>
#include <vector>

#include "pipeline/pipeline.h"
#include "rendereraudio.h"
#include "support/module/builders.h"
#include "support/module/captureview.h"
#include "support/module/rendererview.h"
#include "support/module/unittest.h"

namespace UnitTest {

/// A renderer that the pipeline has, not initialised.
class RendererTest : public testing::Test {
protected:
    RendererTest() {
        Pipeline::SetAudioRenderer(renderer.get());
        world.Journal().Enable();
    }
    ~RendererTest() override { Pipeline::SetAudioRenderer(nullptr); }

    /// Calls of the test's own thread since the last time.
    std::vector<std::string> TakeTexts(CallSet const& calls = CallSet::All()) {
        std::vector<Simulation::CallRecord> own;
        for (auto const& record : world.Journal().Records(calls)) {
            if (record.threadName.empty()) {
                own.push_back(record);
            }
        }
        world.Journal().Clear();
        return FullTexts(own);
    }

    std::size_t CountOf(Call_t call) { return world.Journal().Records({call}).size(); }

    Simulation::TestWorld world;
    std::unique_ptr<RendererAudio> renderer = std::make_unique<RendererAudio>();
};

} // namespace UnitTest
