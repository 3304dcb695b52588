// Loads the installed DLL and calls it through the installed headers. Opens no device: there may be none.
#include <rendereraudio.h>

#include <cstdio>

int main() {
    Media::RendererAudio renderer;
    bool const isFreshRenderer = !renderer.IsEnabled() &&
                                 renderer.GetType() == Media::IPipelineRenderer::Params_t::Audio &&
                                 Media::RendererAudio::Instance() == nullptr;
    std::puts(isFreshRenderer ? "a renderer that is not enabled yet" : "not what a new renderer should be");
    return isFreshRenderer ? 0 : 1;
}
