#include "simulation/com/directsoundinterface.h"

#include "simulation/com/soundbufferinterface.h"
#include "simulation/device/bufferdescription.h"
#include "simulation/world.h"

namespace Simulation {

template <class Work>
HRESULT DirectSoundInterface::Call(Call_t call, std::initializer_list<std::int64_t> arguments, Work work) {
    return ComObject::Call(call, references, arguments, work);
}

HRESULT DirectSoundInterface::QueryInterface(REFIID riid, void** object) {
    if (object != nullptr) {
        *object = nullptr;
    }
    return Call(Call_t::SoundQueryInterface, {}, [&]() -> HRESULT {
        if (object == nullptr) {
            return E_POINTER;
        }
        if (!IsEqualGUID(riid, IID_IUnknown) && !IsEqualGUID(riid, IID_IDirectSound8)) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IDirectSound8*>(this);
        ++references;
        return S_OK;
    });
}

ULONG DirectSoundInterface::AddRef() {
    return AddReference(Call_t::SoundAddRef, references);
}

ULONG DirectSoundInterface::Release() {
    return DropReference(Call_t::SoundRelease, references, [this] {
        if (references == 0) {
            ReportHeld(made_);
        }
    });
}

HRESULT DirectSoundInterface::CreateSoundBuffer(DSBUFFERDESC const* description, IDirectSoundBuffer** buffer,
                                                IUnknown* outer) {
    if (buffer != nullptr) {
        *buffer = nullptr;
    }
    std::int64_t const flags = description != nullptr ? description->dwFlags : 0;
    std::int64_t const bytes = description != nullptr ? description->dwBufferBytes : 0;
    return Call(Call_t::SoundCreateSoundBuffer, {flags, bytes},
                [&] { return Create(description, buffer, outer); });
}

HRESULT DirectSoundInterface::Create(DSBUFFERDESC const* description, IDirectSoundBuffer** buffer,
                                     IUnknown const* outer) {
    if (buffer == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    if (outer != nullptr) {
        return DSERR_NOAGGREGATION;
    }
    if (level_ == 0) {
        return DSERR_PRIOLEVELNEEDED;
    }
    DescriptionVerdict const verdict = JudgeDescription(description);
    if (!verdict.mistake.empty()) {
        GetWorld().ReportMisuse("CreateSoundBuffer: " + verdict.mistake);
    }
    if (verdict.result == DS_OK) {
        SoundBufferInterface& made = GetWorld().MakeBuffer(*description);
        made.Model().references = 1;
        made_.push_back(&made);
        *buffer = &made;
    }
    return verdict.result;
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
