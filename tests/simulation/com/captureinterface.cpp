#include "simulation/com/captureinterface.h"

#include "simulation/com/capturebufferinterface.h"
#include "simulation/device/bufferdescription.h"
#include "simulation/world.h"

namespace Simulation {

template <class Work>
HRESULT CaptureInterface::Call(Call_t call, std::initializer_list<std::int64_t> arguments, Work work) {
    return ComObject::Call(call, references, arguments, work);
}

HRESULT CaptureInterface::QueryInterface(REFIID riid, void** object) {
    if (object != nullptr) {
        *object = nullptr;
    }
    return Call(Call_t::CaptureQueryInterface, {}, [&]() -> HRESULT {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IDirectSoundCapture)) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IDirectSoundCapture*>(this);
        ++references;
        return S_OK;
    });
}

ULONG CaptureInterface::AddRef() {
    return AddReference(Call_t::CaptureAddRef, references);
}

ULONG CaptureInterface::Release() {
    return DropReference(Call_t::CaptureRelease, references, [this] {
        if (references == 0) {
            ReportHeld(made_);
        }
    });
}

HRESULT CaptureInterface::CreateCaptureBuffer(DSCBUFFERDESC const* description,
                                              IDirectSoundCaptureBuffer** buffer, IUnknown* outer) {
    if (buffer != nullptr) {
        *buffer = nullptr;
    }
    std::int64_t const flags = description != nullptr ? description->dwFlags : 0;
    std::int64_t const bytes = description != nullptr ? description->dwBufferBytes : 0;
    return Call(Call_t::CaptureCreateCaptureBuffer, {flags, bytes},
                [&] { return Create(description, buffer, outer); });
}

HRESULT CaptureInterface::Create(DSCBUFFERDESC const* description, IDirectSoundCaptureBuffer** buffer,
                                 IUnknown const* outer) {
    if (buffer == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    if (outer != nullptr) {
        return DSERR_NOAGGREGATION;
    }
    DescriptionVerdict const verdict = JudgeCaptureDescription(description);
    if (!verdict.mistake.empty()) {
        GetWorld().ReportMisuse("CreateCaptureBuffer: " + verdict.mistake);
    }
    if (verdict.result == DS_OK) {
        CaptureBufferInterface& made = GetWorld().MakeCaptureBuffer(*description);
        made.Model().references = 1;
        made_.push_back(&made);
        *buffer = &made;
    }
    return verdict.result;
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
