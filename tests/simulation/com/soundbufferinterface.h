#pragma once

#include "simulation/com/comobject.h"
#include "simulation/com/soundnotifyinterface.h"
#include "simulation/device/soundbuffer.h"
#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

/// A sound buffer as the module sees it: the COM interfaces, which count references, consult the fault plan,
/// write the journal and leave the rest to `SoundBuffer`.
class SoundBufferInterface final : public IDirectSoundBuffer, public IDirectSoundBuffer8, public ComObject {
public:
    SoundBufferInterface(World& world, std::uint32_t number, DSBUFFERDESC const& description)
        : ComObject(world, "sound buffer", number),
          model_(world, world.Speakers(), number, description),
          notify_(*this) {}

    SoundBuffer& Model() { return model_; }
    std::uint32_t& References() override { return model_.references; }

    /// The platform's mutex is held: hands an interface out, with a reference.
    HRESULT Find(REFIID riid, void** object);
    /// The platform's mutex is held: ends playing when the last reference of both objects is gone.
    void RetireIfUnreferenced();

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;

    HRESULT STDMETHODCALLTYPE GetCaps(DSBCAPS* caps) override;
    HRESULT STDMETHODCALLTYPE GetCurrentPosition(DWORD* play, DWORD* write) override;
    HRESULT STDMETHODCALLTYPE GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) override;
    HRESULT STDMETHODCALLTYPE GetVolume(LONG* volume) override;
    HRESULT STDMETHODCALLTYPE GetPan(LONG* pan) override;
    HRESULT STDMETHODCALLTYPE GetFrequency(DWORD* frequency) override;
    HRESULT STDMETHODCALLTYPE GetStatus(DWORD* status) override;
    HRESULT STDMETHODCALLTYPE Initialize(IDirectSound* sound, DSBUFFERDESC const* description) override;
    HRESULT STDMETHODCALLTYPE Lock(DWORD offset, DWORD bytes, void** address1, DWORD* bytes1, void** address2,
                                   DWORD* bytes2, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE Play(DWORD reserved, DWORD priority, DWORD flags) override;
    HRESULT STDMETHODCALLTYPE SetCurrentPosition(DWORD byte) override;
    HRESULT STDMETHODCALLTYPE SetFormat(WAVEFORMATEX const* format) override;
    HRESULT STDMETHODCALLTYPE SetVolume(LONG volume) override;
    HRESULT STDMETHODCALLTYPE SetPan(LONG pan) override;
    HRESULT STDMETHODCALLTYPE SetFrequency(DWORD frequency) override;
    HRESULT STDMETHODCALLTYPE Stop() override;
    HRESULT STDMETHODCALLTYPE Unlock(void* address1, DWORD bytes1, void* address2, DWORD bytes2) override;
    HRESULT STDMETHODCALLTYPE Restore() override;
    HRESULT STDMETHODCALLTYPE SetFX(DWORD count, DSEFFECTDESC* effects, DWORD* results) override;
    HRESULT STDMETHODCALLTYPE AcquireResources(DWORD flags, DWORD count, DWORD* results) override;
    HRESULT STDMETHODCALLTYPE GetObjectInPath(REFGUID effect, DWORD index, REFGUID riid,
                                              void** object) override;

private:
    SoundBuffer model_;
    SoundNotifyInterface notify_;
};

} // namespace Simulation
