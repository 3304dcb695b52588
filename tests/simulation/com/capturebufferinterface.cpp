#include "simulation/com/capturebufferinterface.h"

#include "simulation/com/lockaddresses.h"

namespace Simulation {

namespace {

Call_t CaptureQueryCall(REFIID riid) {
    if (IsEqualGUID(riid, IID_IDirectSoundCaptureBuffer)) {
        return Call_t::CaptureBufferQueryBuffer;
    }
    if (IsEqualGUID(riid, IID_IDirectSoundCaptureBuffer8)) {
        return Call_t::CaptureBufferQueryBuffer8;
    }
    return Call_t::CaptureBufferQueryOther;
}

} // namespace

HRESULT CaptureBufferInterface::QueryInterface(REFIID riid, void** object) {
    return Query(CaptureQueryCall(riid), object, [&]() -> HRESULT {
        if (!IsEqualGUID(riid, IID_IUnknown) && CaptureQueryCall(riid) == Call_t::CaptureBufferQueryOther) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IDirectSoundCaptureBuffer8*>(this);
        ++model_.references;
        return S_OK;
    });
}

ULONG CaptureBufferInterface::AddRef() {
    return AddReference(Call_t::CaptureBufferAddRef);
}

ULONG CaptureBufferInterface::Release() {
    return DropReference(Call_t::CaptureBufferRelease, [this] { model_.Stop(); });
}

HRESULT CaptureBufferInterface::GetCaps(DSCBCAPS* caps) {
    return Call(Call_t::CaptureBufferGetCaps, {}, [&] { return model_.GetCaps(caps); });
}

HRESULT CaptureBufferInterface::GetCurrentPosition(DWORD* capture, DWORD* read) {
    return Call(Call_t::CaptureBufferGetCurrentPosition, {},
                [&] { return model_.GetCurrentPosition(capture, read); });
}

HRESULT CaptureBufferInterface::GetFormat(WAVEFORMATEX* format, DWORD size, DWORD* written) {
    return Call(Call_t::CaptureBufferGetFormat, {}, [&] { return model_.GetFormat(format, size, written); });
}

HRESULT CaptureBufferInterface::GetStatus(DWORD* status) {
    return Call(Call_t::CaptureBufferGetStatus, {}, [&] { return model_.GetStatus(status); });
}

HRESULT CaptureBufferInterface::Initialize(IDirectSoundCapture*, DSCBUFFERDESC const*) {
    return Call(Call_t::CaptureBufferInitialize, {}, [] { return DSERR_ALREADYINITIALIZED; });
}

HRESULT CaptureBufferInterface::Lock(DWORD offset, DWORD bytes, void** address1, DWORD* bytes1,
                                     void** address2, DWORD* bytes2, DWORD flags) {
    LockAddresses const answer{address1, bytes1, address2, bytes2};
    RingMemory::Region first;
    RingMemory::Region second;
    HRESULT const result = Call(Call_t::CaptureBufferLock, {offset, bytes}, [&] {
        return answer.IsValid() ? model_.Lock(offset, bytes, first, second, answer.MayWrap(), flags)
                                : DSERR_INVALIDPARAM;
    });
    answer.Set(first, second);
    return result;
}

HRESULT CaptureBufferInterface::Start(DWORD flags) {
    return Call(Call_t::CaptureBufferStart, {flags}, [&] { return model_.Start(flags); });
}

HRESULT CaptureBufferInterface::Stop() {
    return Call(Call_t::CaptureBufferStop, {}, [&] { return model_.Stop(); });
}

HRESULT CaptureBufferInterface::Unlock(void* address1, DWORD bytes1, void* address2, DWORD bytes2) {
    return Call(Call_t::CaptureBufferUnlock, {bytes1, bytes2},
                [&] { return model_.Unlock(MakeRegion(address1, bytes1), MakeRegion(address2, bytes2)); });
}

HRESULT CaptureBufferInterface::GetObjectInPath(REFGUID, DWORD, REFGUID, void** object) {
    if (object != nullptr) {
        *object = nullptr;
    }
    return Call(Call_t::CaptureBufferGetObjectInPath, {}, [] { return DSERR_OBJECTNOTFOUND; });
}

HRESULT CaptureBufferInterface::GetFXStatus(DWORD, DWORD*) {
    return Call(Call_t::CaptureBufferGetFXStatus, {}, [] { return DSERR_CONTROLUNAVAIL; });
}

} // namespace Simulation
