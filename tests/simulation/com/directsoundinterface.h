#pragma once

#include <cstdint>
#include <vector>

#include "simulation/com/comobject.h"
#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

class SoundBufferInterface;

/// The simulated IDirectSound8. It makes secondary sound buffers that are described as the real API demands,
/// once the cooperative level is set.
class DirectSoundInterface final : public IDirectSound8, public ComObject {
public:
    DirectSoundInterface(World& world, std::uint32_t number)
        : ComObject(world, "DirectSound object", number) {}

    // For the platform, its mutex held.
    DWORD Level() const { return level_; }
    HWND Window() const { return window_; }
    std::uint32_t& References() override { return references_; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE CreateSoundBuffer(DSBUFFERDESC const* description, IDirectSoundBuffer** buffer,
                                                IUnknown* outer) override;
    HRESULT STDMETHODCALLTYPE GetCaps(DSCAPS* caps) override;
    HRESULT STDMETHODCALLTYPE DuplicateSoundBuffer(IDirectSoundBuffer* original,
                                                   IDirectSoundBuffer** duplicate) override;
    HRESULT STDMETHODCALLTYPE SetCooperativeLevel(HWND window, DWORD level) override;
    HRESULT STDMETHODCALLTYPE Compact() override;
    HRESULT STDMETHODCALLTYPE GetSpeakerConfig(DWORD* configuration) override;
    HRESULT STDMETHODCALLTYPE SetSpeakerConfig(DWORD configuration) override;
    HRESULT STDMETHODCALLTYPE Initialize(GUID const* device) override;
    HRESULT STDMETHODCALLTYPE VerifyCertification(DWORD* certified) override;

private:
    std::uint32_t references_ = 0;
    std::vector<SoundBufferInterface*> made_;
    DWORD level_ = 0;
    HWND window_ = nullptr;
    DWORD speakerConfiguration_ = DSSPEAKER_STEREO;
};

} // namespace Simulation
