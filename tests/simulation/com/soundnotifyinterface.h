#pragma once

#include "simulation/com/comobject.h"
#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

class SoundBufferInterface;

/// The IDirectSoundNotify of a sound buffer: a part of the buffer's object with a reference count of its
/// own.
class SoundNotifyInterface final : public IDirectSoundNotify, public ComObject {
public:
    explicit SoundNotifyInterface(SoundBufferInterface& buffer);

    std::uint32_t& References() override;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points) override;

private:
    SoundBufferInterface& buffer_;
};

} // namespace Simulation
