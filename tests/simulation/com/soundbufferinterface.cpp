#include "simulation/com/soundbufferinterface.h"

#include "simulation/com/lockaddresses.h"

namespace Simulation {

namespace {

Call_t QueryCall(REFIID riid) {
    if (IsEqualGUID(riid, IID_IDirectSoundBuffer)) {
        return Call_t::BufferQueryBuffer;
    }
    if (IsEqualGUID(riid, IID_IDirectSoundBuffer8)) {
        return Call_t::BufferQueryBuffer8;
    }
    if (IsEqualGUID(riid, IID_IDirectSoundNotify)) {
        return Call_t::BufferQueryNotify;
    }
    return Call_t::BufferQueryOther;
}

} // namespace

void SoundBufferInterface::RetireIfUnreferenced() {
    if (model_.references == 0 && model_.notifyReferences == 0) {
        model_.Retire();
    }
}

HRESULT SoundBufferInterface::Find(REFIID riid, void** object) {
    if (IsEqualGUID(riid, IID_IUnknown) || IsEqualGUID(riid, IID_IDirectSoundBuffer)) {
        *object = static_cast<IDirectSoundBuffer*>(this);
    } else if (IsEqualGUID(riid, IID_IDirectSoundBuffer8)) {
        *object = static_cast<IDirectSoundBuffer8*>(this);
    } else if (IsEqualGUID(riid, IID_IDirectSoundNotify) &&
               (model_.Flags() & DSBCAPS_CTRLPOSITIONNOTIFY) != 0) {
        *object = static_cast<IDirectSoundNotify*>(&notify_);
        ++model_.notifyReferences;
        return S_OK;
    } else {
        return E_NOINTERFACE;
    }
    ++model_.references;
    return S_OK;
}

HRESULT SoundBufferInterface::QueryInterface(REFIID riid, void** object) {
    return Query(QueryCall(riid), object, [&] { return Find(riid, object); });
}

ULONG SoundBufferInterface::AddRef() {
    return AddReference(Call_t::BufferAddRef);
}

ULONG SoundBufferInterface::Release() {
    return DropReference(Call_t::BufferRelease, [this] { RetireIfUnreferenced(); });
}

HRESULT SoundBufferInterface::GetCaps(DSBCAPS* caps) {
    return Call(Call_t::BufferGetCaps, {}, [&] { return model_.GetCaps(caps); });
}

HRESULT SoundBufferInterface::GetCurrentPosition(DWORD* play, DWORD* write) {
    return Call(Call_t::BufferGetCurrentPosition, {}, [&] { return model_.GetCurrentPosition(play, write); });
}

HRESULT SoundBufferInterface::GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) {
    return Call(Call_t::BufferGetFormat, {}, [&] { return model_.GetFormat(format, size, written); });
}

HRESULT SoundBufferInterface::GetVolume(LONG* volume) {
    return Call(Call_t::BufferGetVolume, {}, [&] { return model_.GetVolume(volume); });
}

HRESULT SoundBufferInterface::GetPan(LONG* pan) {
    return Call(Call_t::BufferGetPan, {}, [&] { return model_.GetPan(pan); });
}

HRESULT SoundBufferInterface::GetFrequency(DWORD* frequency) {
    return Call(Call_t::BufferGetFrequency, {}, [&] { return model_.GetFrequency(frequency); });
}

HRESULT SoundBufferInterface::GetStatus(DWORD* status) {
    return Call(Call_t::BufferGetStatus, {}, [&] { return model_.GetStatus(status); });
}

HRESULT SoundBufferInterface::Initialize(IDirectSound*, DSBUFFERDESC const*) {
    return Call(Call_t::BufferInitialize, {}, [] { return DSERR_ALREADYINITIALIZED; });
}

HRESULT SoundBufferInterface::Lock(DWORD offset, DWORD bytes, void** address1, DWORD* bytes1, void** address2,
                                   DWORD* bytes2, DWORD flags) {
    LockAddresses const answer{address1, bytes1, address2, bytes2};
    RingMemory::Region first;
    RingMemory::Region second;
    HRESULT const result = Call(Call_t::BufferLock, {offset, bytes}, [&] {
        return answer.IsValid() ? model_.Lock(offset, bytes, first, second, answer.MayWrap(), flags)
                                : DSERR_INVALIDPARAM;
    });
    answer.Set(first, second);
    return result;
}

HRESULT SoundBufferInterface::Play(DWORD reserved, DWORD priority, DWORD flags) {
    return Call(Call_t::BufferPlay, {flags}, [&] { return model_.Play(reserved, priority, flags); });
}

HRESULT SoundBufferInterface::SetCurrentPosition(DWORD byte) {
    return Call(Call_t::BufferSetCurrentPosition, {byte}, [&] { return model_.SetCurrentPosition(byte); });
}

HRESULT SoundBufferInterface::SetFormat(WAVEFORMATEX const*) {
    // Only the primary buffer's format can be set.
    return Call(Call_t::BufferSetFormat, {}, [] { return DSERR_INVALIDCALL; });
}

HRESULT SoundBufferInterface::SetVolume(LONG volume) {
    return Call(Call_t::BufferSetVolume, {volume}, [&] { return model_.SetVolume(volume); });
}

HRESULT SoundBufferInterface::SetPan(LONG pan) {
    return Call(Call_t::BufferSetPan, {pan}, [&] { return model_.SetPan(pan); });
}

HRESULT SoundBufferInterface::SetFrequency(DWORD frequency) {
    return Call(Call_t::BufferSetFrequency, {frequency}, [&] { return model_.SetFrequency(frequency); });
}

HRESULT SoundBufferInterface::Stop() {
    return Call(Call_t::BufferStop, {}, [&] { return model_.Stop(); });
}

HRESULT SoundBufferInterface::Unlock(void* address1, DWORD bytes1, void* address2, DWORD bytes2) {
    return Call(Call_t::BufferUnlock, {bytes1, bytes2},
                [&] { return model_.Unlock(MakeRegion(address1, bytes1), MakeRegion(address2, bytes2)); });
}

HRESULT SoundBufferInterface::Restore() {
    return Call(Call_t::BufferRestore, {}, [&] { return model_.Restore(); });
}

HRESULT SoundBufferInterface::SetFX(DWORD, DSEFFECTDESC*, DWORD*) {
    return Call(Call_t::BufferSetFX, {}, [] { return DSERR_CONTROLUNAVAIL; });
}

HRESULT SoundBufferInterface::AcquireResources(DWORD, DWORD, DWORD*) {
    return Call(Call_t::BufferAcquireResources, {}, [] { return DS_OK; });
}

HRESULT SoundBufferInterface::GetObjectInPath(REFGUID, DWORD, REFGUID, void** object) {
    if (object != nullptr) {
        *object = nullptr;
    }
    return Call(Call_t::BufferGetObjectInPath, {}, [] { return DSERR_OBJECTNOTFOUND; });
}

} // namespace Simulation
