#include "simulation/com/directsoundinterface.h"

#include "simulation/com/soundbufferinterface.h"
#include "simulation/world.h"

namespace Simulation {

HRESULT DirectSoundInterface::QueryInterface(REFIID riid, void** object) {
    return Query(Call_t::SoundQueryInterface, object, [&]() -> HRESULT {
        if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IDirectSound8)) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IDirectSound8*>(this);
        ++references_;
        return S_OK;
    });
}

ULONG DirectSoundInterface::AddRef() {
    return AddReference(Call_t::SoundAddRef);
}

ULONG DirectSoundInterface::Release() {
    return DropReference(Call_t::SoundRelease, [this] { ReportHeld(made_); });
}

HRESULT DirectSoundInterface::CreateSoundBuffer(DSBUFFERDESC const* description, IDirectSoundBuffer** buffer,
                                                IUnknown* outer) {
    return CreateBuffer(
        Call_t::SoundCreateSoundBuffer, description, buffer, outer,
        [this]() -> HRESULT { return level_ == 0 ? DSERR_PRIOLEVELNEEDED : DS_OK; },
        [&] { return made_.emplace_back(&GetWorld().MakeBuffer(*description)); });
}

HRESULT DirectSoundInterface::GetCaps(DSCAPS* caps) {
    return Call(Call_t::SoundGetCaps, {}, [&]() -> HRESULT {
        if (caps == nullptr || caps->dwSize != sizeof(DSCAPS)) {
            return DSERR_INVALIDPARAM;
        }
        *caps = DSCAPS();
        caps->dwSize = sizeof(DSCAPS);
        caps->dwFlags = DSCAPS_PRIMARYSTEREO | DSCAPS_PRIMARY16BIT | DSCAPS_SECONDARYMONO |
                        DSCAPS_SECONDARYSTEREO | DSCAPS_SECONDARY8BIT | DSCAPS_SECONDARY16BIT |
                        DSCAPS_CONTINUOUSRATE;
        caps->dwMinSecondarySampleRate = DSBFREQUENCY_MIN;
        caps->dwMaxSecondarySampleRate = DSBFREQUENCY_MAX;
        caps->dwPrimaryBuffers = 1;
        return DS_OK;
    });
}

HRESULT DirectSoundInterface::DuplicateSoundBuffer(IDirectSoundBuffer*, IDirectSoundBuffer** duplicate) {
    if (duplicate != nullptr) {
        *duplicate = nullptr;
    }
    return Call(Call_t::SoundDuplicateSoundBuffer, {}, [] { return DSERR_UNSUPPORTED; });
}

HRESULT DirectSoundInterface::SetCooperativeLevel(HWND window, DWORD level) {
    return Call(Call_t::SoundSetCooperativeLevel, {level}, [&]() -> HRESULT {
        if (window == nullptr || level < DSSCL_NORMAL || level > DSSCL_WRITEPRIMARY) {
            return DSERR_INVALIDPARAM;
        }
        window_ = window;
        level_ = level;
        return DS_OK;
    });
}

HRESULT DirectSoundInterface::Compact() {
    return Call(Call_t::SoundCompact, {},
                [&]() -> HRESULT { return level_ >= DSSCL_PRIORITY ? DS_OK : DSERR_PRIOLEVELNEEDED; });
}

HRESULT DirectSoundInterface::GetSpeakerConfig(DWORD* configuration) {
    return Call(Call_t::SoundGetSpeakerConfig, {}, [&]() -> HRESULT {
        if (configuration == nullptr) {
            return DSERR_INVALIDPARAM;
        }
        *configuration = speakerConfiguration_;
        return DS_OK;
    });
}

HRESULT DirectSoundInterface::SetSpeakerConfig(DWORD configuration) {
    return Call(Call_t::SoundSetSpeakerConfig, {configuration}, [&]() -> HRESULT {
        speakerConfiguration_ = configuration;
        return DS_OK;
    });
}

HRESULT DirectSoundInterface::Initialize(GUID const*) {
    return Call(Call_t::SoundInitialize, {}, [] { return DSERR_ALREADYINITIALIZED; });
}

HRESULT DirectSoundInterface::VerifyCertification(DWORD* certified) {
    return Call(Call_t::SoundVerifyCertification, {}, [&]() -> HRESULT {
        if (certified == nullptr) {
            return DSERR_INVALIDPARAM;
        }
        *certified = DS_UNCERTIFIED;
        return DS_OK;
    });
}

} // namespace Simulation
