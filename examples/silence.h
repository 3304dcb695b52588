// Silence that keeps the default output running, for the examples in C++: with something playing already, a
// session's first frame is heard at its time. The C interface does this by itself.
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// Needed by dsound.h, and needing windows.h.
#include <mmsystem.h>

#include <dsound.h>

/// Plays from its construction, which takes a second, to its end; does nothing without an output.
class Silence {
public:
    Silence() {
        if (Play()) {
            Sleep(WarmUpMilliSec);
        }
    }
    ~Silence() {
        if (buffer_ != nullptr) {
            buffer_->Release();
        }
        if (device_ != nullptr) {
            device_->Release();
        }
    }
    Silence(Silence const&) = delete;
    Silence& operator=(Silence const&) = delete;

private:
    static constexpr DWORD WarmUpMilliSec = 1000;
    static constexpr DWORD FrequencyHz = 48000;

    bool Play() {
        WAVEFORMATEX format = {WAVE_FORMAT_PCM, 1, FrequencyHz, 2 * FrequencyHz, 2, 16, 0};
        DSBUFFERDESC description = {};
        description.dwSize = sizeof description;
        description.dwFlags = DSBCAPS_GLOBALFOCUS;
        description.dwBufferBytes = 2 * FrequencyHz;
        description.lpwfxFormat = &format;
        void* bytes = nullptr;
        DWORD count = 0;
        if (FAILED(DirectSoundCreate8(nullptr, &device_, nullptr)) ||
            FAILED(device_->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY)) ||
            FAILED(device_->CreateSoundBuffer(&description, &buffer_, nullptr)) ||
            FAILED(buffer_->Lock(0, 0, &bytes, &count, nullptr, nullptr, DSBLOCK_ENTIREBUFFER))) {
            return false;
        }
        ZeroMemory(bytes, count);
        buffer_->Unlock(bytes, count, nullptr, 0);
        return SUCCEEDED(buffer_->Play(0, 0, DSBPLAY_LOOPING));
    }

    IDirectSound8* device_ = nullptr;
    IDirectSoundBuffer* buffer_ = nullptr;
};
