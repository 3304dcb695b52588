#pragma once

#include <cstdint>
#include <vector>

#include "simulation/com/comobject.h"
#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

class CaptureBufferInterface;

/// The simulated IDirectSoundCapture, which IDirectSoundCapture8 is another name of. It makes capture buffers
/// that are described as the real API demands.
class CaptureInterface final : public IDirectSoundCapture, public ComObject {
public:
    CaptureInterface(World& world, std::uint32_t number) : ComObject(world, "capture object", number) {}

    std::uint32_t& References() override { return references_; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE CreateCaptureBuffer(DSCBUFFERDESC const* description,
                                                  IDirectSoundCaptureBuffer** buffer,
                                                  IUnknown* outer) override;
    HRESULT STDMETHODCALLTYPE GetCaps(DSCCAPS* caps) override;
    HRESULT STDMETHODCALLTYPE Initialize(GUID const* device) override;

private:
    std::uint32_t references_ = 0;
    std::vector<CaptureBufferInterface*> made_;
};

} // namespace Simulation
