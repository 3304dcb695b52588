#pragma once

#include <cstdint>
#include <initializer_list>
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

    /// For the platform, its mutex held. Counted here, by whoever hands the object out too.
    std::uint32_t references = 0;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE CreateCaptureBuffer(DSCBUFFERDESC const* description,
                                                  IDirectSoundCaptureBuffer** buffer,
                                                  IUnknown* outer) override;
    HRESULT STDMETHODCALLTYPE GetCaps(DSCCAPS* caps) override;
    HRESULT STDMETHODCALLTYPE Initialize(GUID const* device) override;

private:
    template <class Work>
    HRESULT Call(Call_t call, std::initializer_list<std::int64_t> arguments, Work work);
    HRESULT Create(DSCBUFFERDESC const* description, IDirectSoundCaptureBuffer** buffer,
                   IUnknown const* outer);

    std::vector<CaptureBufferInterface*> made_;
};

} // namespace Simulation
