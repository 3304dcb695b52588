#pragma once

#include "simulation/win32/dsoundheaders.h"

namespace Simulation {

class SoundBufferInterface;

/// The IDirectSoundNotify of a sound buffer: a part of the buffer's object with a reference count of its
/// own.
class SoundNotifyInterface final : public IDirectSoundNotify {
public:
    explicit SoundNotifyInterface(SoundBufferInterface& buffer) : buffer_(buffer) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** object) override;
    ULONG STDMETHODCALLTYPE AddRef() override;
    ULONG STDMETHODCALLTYPE Release() override;
    HRESULT STDMETHODCALLTYPE SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points) override;

private:
    SoundBufferInterface& buffer_;
};

} // namespace Simulation
