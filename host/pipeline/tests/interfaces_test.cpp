#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinejob.h"
#include "pipeline/pipelinesessionparams.h"
#include "pipeline/pipelinestate.h"
#include "vtable.h"

using boost::intrusive_ptr;
using Media::IPipelineRenderer;
using Media::PipelineDevices;
using Media::PipelineSessionParams_t;
using Media::PipelineStageRenderJob;
using Media::PipelineState;
using Media::RendererHardwareDevices;

namespace {

/// Remembers the operation called last.
class TellingRenderer : public IPipelineRenderer {
public:
    int Initialize() override { return Tell("Initialize"), 0; }
    void Shutdown() override { Tell("Shutdown"); }
    void GetDevices(PipelineDevices&) override { Tell("GetDevices"); }
    bool IsEnabled() const override { return Tell("IsEnabled"), true; }
    Params_t::Type_t GetType() const override { return Tell("GetType"), Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Tell("GetSubType"), Params_t::System; }
    void RegisterSession(PipelineSessionParams_t&, intrusive_ptr<PipelineState>&) override {
        Tell("RegisterSession");
    }
    void Divide(intrusive_ptr<PipelineStageRenderJob> const&) override { Tell("Divide"); }
    void GetHardwareDevices(RendererHardwareDevices&) const override { Tell("GetHardwareDevices"); }

    mutable std::string called;

private:
    void Tell(char const* name) const { called = name; }
};

class MinimalRenderer : public IPipelineRenderer {
public:
    int Initialize() override { return 0; }
    void Shutdown() override {}
    bool IsEnabled() const override { return false; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }
    void RegisterSession(PipelineSessionParams_t&, intrusive_ptr<PipelineState>&) override {}
    void Divide(intrusive_ptr<PipelineStageRenderJob> const&) override {}
};

} // namespace

static_assert(std::is_base_of_v<Media::IPipelineInterface, IPipelineRenderer>);
static_assert(std::has_virtual_destructor_v<Media::IPipelineInterface>);
static_assert(IPipelineRenderer::Params_t::Audio == 0 && IPipelineRenderer::Params_t::System == 0);

TEST(IPipelineRenderer, VirtualOperationsKeepTheirSlots) {
    TellingRenderer renderer;
    void* const self = static_cast<IPipelineRenderer*>(&renderer);
    auto const callSlot = [&](std::size_t slot, auto... arguments) {
        GetVirtual<void(void*, decltype(arguments)...)>(renderer, slot)(self, arguments...);
        return renderer.called;
    };
    PipelineDevices devices;
    RendererHardwareDevices hardware;
    PipelineSessionParams_t params;
    intrusive_ptr<PipelineState> state;
    intrusive_ptr<PipelineStageRenderJob> job;
    EXPECT_EQ(callSlot(FirstSlot), "Initialize");
    EXPECT_EQ(callSlot(FirstSlot + 1), "Shutdown");
    EXPECT_EQ(callSlot(FirstSlot + 2, &devices), "GetDevices");
    EXPECT_EQ(callSlot(FirstSlot + 3), "IsEnabled");
    EXPECT_EQ(callSlot(FirstSlot + 4), "GetType");
    EXPECT_EQ(callSlot(FirstSlot + 5), "GetSubType");
    EXPECT_EQ(callSlot(FirstSlot + 6, &params, &state), "RegisterSession");
    EXPECT_EQ(callSlot(FirstSlot + 7, &job), "Divide");
    EXPECT_EQ(callSlot(FirstSlot + 8, &hardware), "GetHardwareDevices");
}

TEST(IPipelineInterface_GetDevices, AddsNothingUnlessOverridden) {
    MinimalRenderer renderer;
    PipelineDevices devices{{"already there"}};
    renderer.GetDevices(devices);
    EXPECT_EQ(devices.names, std::vector<std::string>{"already there"});
}

TEST(IPipelineRenderer_GetHardwareDevices, AddsNothingUnlessOverridden) {
    RendererHardwareDevices devices{{"already there"}};
    MinimalRenderer().GetHardwareDevices(devices);
    EXPECT_EQ(devices.names, std::vector<std::string>{"already there"});
}

TEST(PipelineSessionParams, AskForAudioOnlyUnlessToldOtherwise) {
    EXPECT_TRUE(PipelineSessionParams_t().renderAudio);
    EXPECT_FALSE(PipelineSessionParams_t().renderVideo);
}
