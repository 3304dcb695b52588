#include "pipeline/ipipelineinterface.h"
#include "pipeline/ipipelinerenderer.h"

namespace Media {

IPipelineInterface::~IPipelineInterface() = default;

void IPipelineInterface::GetDevices(PipelineDevices&) {}

IPipelineRenderer::~IPipelineRenderer() = default;

void IPipelineRenderer::GetHardwareDevices(RendererHardwareDevices&) const {}

} // namespace Media
