#include "simulation/com/captureinterface.h"

#include "simulation/com/capturebufferinterface.h"
#include "simulation/world.h"

namespace Simulation {

HRESULT CaptureInterface::QueryInterface(REFIID riid, void** object) {
    return Query(Call_t::CaptureQueryInterface, object, [&]() -> HRESULT {
        if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IDirectSoundCapture)) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IDirectSoundCapture*>(this);
        ++references_;
        return S_OK;
    });
}

ULONG CaptureInterface::AddRef() {
    return AddReference(Call_t::CaptureAddRef);
}

ULONG CaptureInterface::Release() {
    return DropReference(Call_t::CaptureRelease, [this] { ReportHeld(made_); });
}

HRESULT CaptureInterface::CreateCaptureBuffer(DSCBUFFERDESC const* description,
                                              IDirectSoundCaptureBuffer** buffer, IUnknown* outer) {
    return CreateBuffer(
        Call_t::CaptureCreateCaptureBuffer, description, buffer, outer, [] { return DS_OK; },
        [&] { return made_.emplace_back(&GetWorld().MakeCaptureBuffer(*description)); });
}

HRESULT CaptureInterface::GetCaps(DSCCAPS* caps) {
    return Call(Call_t::CaptureGetCaps, {}, [&]() -> HRESULT {
        if (caps == nullptr || caps->dwSize != sizeof(DSCCAPS)) {
            return DSERR_INVALIDPARAM;
        }
        caps->dwFlags = DSCCAPS_MULTIPLECAPTURE;
        caps->dwFormats = WAVE_FORMAT_4M16 | WAVE_FORMAT_4S16 | WAVE_FORMAT_48M16 | WAVE_FORMAT_48S16;
        caps->dwChannels = MaxChannels;
        return DS_OK;
    });
}

HRESULT CaptureInterface::Initialize(GUID const*) {
    return Call(Call_t::CaptureInitialize, {}, [] { return DSERR_ALREADYINITIALIZED; });
}

} // namespace Simulation
