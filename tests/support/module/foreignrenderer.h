#pragma once

#include "pipeline/ipipelinerenderer.h"

namespace UnitTest {

/// A renderer of another make.
class ForeignRenderer : public Media::IPipelineRenderer {
public:
    int Initialize() override { return 0; }
    void Shutdown() override {}
    bool IsEnabled() const override { return false; }
    Params_t::Type_t GetType() const override { return Params_t::Audio; }
    Params_t::SubType_t GetSubType() const override { return Params_t::System; }
    void RegisterSession(Media::PipelineSessionParams_t&,
                         boost::intrusive_ptr<Media::PipelineState>&) override {}
    void Divide(boost::intrusive_ptr<Media::PipelineStageRenderJob> const&) override {}
};

} // namespace UnitTest
