#pragma once

#include "simulation/com/comobject.h"
#include "simulation/device/capturebuffer.h"
#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

/// A capture buffer as the module sees it: the COM interface, which counts references, consults the fault
/// plan, writes the journal and leaves the rest to `CaptureBuffer`. It has no IDirectSoundNotify.
class CaptureBufferInterface final : public IDirectSoundCaptureBuffer8, public ComObject {
public:
    CaptureBufferInterface(World& world, std::uint32_t number, DSCBUFFERDESC const& description)
        : ComObject(world, "capture buffer", number),
          model_(world, world.Microphone(), number, description) {}

    CaptureBuffer& Model() { return model_; }
    std::uint32_t& References() override { return model_.references; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetCaps(DSCBCAPS* caps) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(DWORD* capture, DWORD* read) override;
    HRESULT STDMETHODCALLTYPE GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) override;
    HRESULT STDMETHODCALLTYPE GetStatus(DWORD* status) override;
    HRESULT STDMETHODCALLTYPE Initialize(IDirectSoundCapture* capture,
                                         DSCBUFFERDESC const* description) override;
    HRESULT STDMETHODCALLTYPE Lock(DWORD offset, DWORD bytes, void** address1, DWORD* bytes1, void** address2,
                                   DWORD* bytes2, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Start(DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Unlock(void* address1, DWORD bytes1, void* address2, DWORD bytes2) override;
    HRESULT STDMETHODCALLTYPE GetObjectInPath(REFGUID effect, DWORD index, REFGUID riid,
                                              void** object) override;
    HRESULT STDMETHODCALLTYPE GetFXStatus(DWORD count, DWORD* status) override;

private:
    CaptureBuffer model_;
};

} // namespace Simulation
