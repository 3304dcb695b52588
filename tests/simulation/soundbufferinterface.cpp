#include "simulation/soundbufferinterface.h"

#include <string>

#include "simulation/invocation.h"
#include "simulation/world.h"

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

RingMemory::Region MakeRegion(void* address, DWORD bytes) {
    return {static_cast<std::uint8_t*>(address), bytes};
}

} // namespace

template <class Work>
HRESULT SoundBufferInterface::Call(Call_t call, std::initializer_list<std::int64_t> arguments, Work work) {
    Invocation invocation(world_, call, model_.Number(), arguments);
    if (!IsAlive(model_.references, call)) {
        return invocation.Return(E_FAIL);
    }
    return invocation.Return(invocation.Fault() ? invocation.FaultResult() : work());
}

bool SoundBufferInterface::IsAlive(std::uint32_t references, Call_t call) {
    if (references == 0) {
        world_.ReportMisuse(std::string(ToString(call)) + " on sound buffer " +
                            std::to_string(model_.Number()) + " after its last release");
    }
    return references != 0;
}

void SoundBufferInterface::RetireIfUnreferenced() {
    if (model_.references == 0 && model_.notifyReferences == 0) {
        model_.Retire();
    }
}

HRESULT SoundBufferInterface::Query(REFIID riid, void** object) {
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
    if (object != nullptr) {
        *object = nullptr;
    }
    return Call(QueryCall(riid), {}, [&] { return object != nullptr ? Query(riid, object) : E_POINTER; });
}

ULONG SoundBufferInterface::AddRef() {
    Invocation invocation(world_, Call_t::BufferAddRef, model_.Number(), {});
    if (!IsAlive(model_.references, Call_t::BufferAddRef)) {
        return 0;
    }
    ++model_.references;
    return invocation.Return<ULONG>(model_.references, model_.references, false);
}

ULONG SoundBufferInterface::Release() {
    Invocation invocation(world_, Call_t::BufferRelease, model_.Number(), {});
    if (!IsAlive(model_.references, Call_t::BufferRelease)) {
        return 0;
    }
    --model_.references;
    RetireIfUnreferenced();
    return invocation.Return<ULONG>(model_.references, model_.references, false);
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
    RingMemory::Region first;
    RingMemory::Region second;
    HRESULT const result = Call(Call_t::BufferLock, {offset, bytes}, [&] {
        if (address1 == nullptr || bytes1 == nullptr) {
            return DSERR_INVALIDPARAM;
        }
        bool const mayWrap = address2 != nullptr && bytes2 != nullptr;
        return model_.Lock(offset, bytes, first, second, mayWrap, flags);
    });
    if (address1 != nullptr && bytes1 != nullptr) {
        *address1 = first.address;
        *bytes1 = first.bytes;
    }
    if (address2 != nullptr) {
        *address2 = second.address;
    }
    if (bytes2 != nullptr) {
        *bytes2 = second.bytes;
    }
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
