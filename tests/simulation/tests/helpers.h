#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <boost/thread/thread.hpp>

#include "kovra/thread.h"
#include "simulation/testworld.h"
#include "simulation/win32/dsoundheaders.h"
#include "simulation/world.h"
#include "support/facts.h"

// The few steps that nearly every test of the simulation begins with.

namespace Simulation {

using Facts::NanoSecPerHour;
using Facts::NanoSecPerMilliSec;
using Facts::NanoSecPerSec;

inline constexpr DWORD RingBytes = 480'000;
inline constexpr DWORD UsualFlags = DSBCAPS_GLOBALFOCUS | DSBCAPS_CTRLPOSITIONNOTIFY | DSBCAPS_CTRLVOLUME |
                                    DSBCAPS_CTRLPAN | DSBCAPS_CTRLFREQUENCY | DSBCAPS_LOCSOFTWARE;

/// A PCM format whose derived fields fit.
inline WAVEFORMATEX MakeFormat(WORD channels = 1, DWORD rate = 48'000, WORD bits = 16) {
    WAVEFORMATEX format{};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = channels;
    format.nSamplesPerSec = rate;
    format.wBitsPerSample = bits;
    format.nBlockAlign = static_cast<WORD>(channels * bits / 8);
    format.nAvgBytesPerSec = rate * format.nBlockAlign;
    return format;
}

inline DSBUFFERDESC MakeDescription(WAVEFORMATEX& format, DWORD bytes = RingBytes, DWORD flags = UsualFlags) {
    DSBUFFERDESC description{};
    description.dwSize = sizeof description;
    description.dwFlags = flags;
    description.dwBufferBytes = bytes;
    description.lpwfxFormat = &format;
    return description;
}

/// A DirectSound object with its level set; releases itself.
class Sound {
public:
    Sound() {
        DirectSoundCreate8(nullptr, &sound_, nullptr);
        sound_->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY);
    }
    Sound(Sound const&) = delete;
    Sound& operator=(Sound const&) = delete;
    ~Sound() { sound_->Release(); }
    IDirectSound8* operator->() const { return sound_; }

private:
    IDirectSound8* sound_ = nullptr;
};

/// A buffer of the usual kind with its three interfaces; releases itself.
class Playable {
public:
    explicit Playable(DWORD bytes = RingBytes, WAVEFORMATEX format = MakeFormat(), DWORD flags = UsualFlags) {
        DSBUFFERDESC const description = MakeDescription(format, bytes, flags);
        sound_->CreateSoundBuffer(&description, &first, nullptr);
        first->QueryInterface(IID_IDirectSoundBuffer8, reinterpret_cast<void**>(&buffer));
        first->QueryInterface(IID_IDirectSoundNotify, reinterpret_cast<void**>(&notify));
    }
    Playable(Playable const&) = delete;
    Playable& operator=(Playable const&) = delete;
    ~Playable() {
        if (notify != nullptr) {
            notify->Release();
        }
        buffer->Release();
        first->Release();
    }
    IDirectSoundBuffer8* operator->() const { return buffer; }

    /// Locks, fills with `value`, unlocks.
    void Fill(DWORD offset, DWORD bytes, std::int16_t value) {
        void* address[2];
        DWORD length[2];
        buffer->Lock(offset, bytes, &address[0], &length[0], &address[1], &length[1], 0);
        for (int part = 0; part < 2; ++part) {
            auto* const samples = static_cast<std::int16_t*>(address[part]);
            for (DWORD i = 0; i < length[part] / 2; ++i) {
                samples[i] = value;
            }
        }
        buffer->Unlock(address[0], length[0], address[1], length[1]);
    }
    DWORD PlayCursor() {
        DWORD byte = 0;
        buffer->GetCurrentPosition(&byte, nullptr);
        return byte;
    }
    DWORD WriteCursor() {
        DWORD byte = 0;
        buffer->GetCurrentPosition(nullptr, &byte);
        return byte;
    }

    IDirectSoundBuffer* first = nullptr;
    IDirectSoundBuffer8* buffer = nullptr;
    IDirectSoundNotify* notify = nullptr;

private:
    Sound sound_;
};

/// What Lock gave, of a sound or a capture buffer.
struct Locked {
    void* address1 = nullptr;
    DWORD bytes1 = 0;
    void* address2 = nullptr;
    DWORD bytes2 = 0;
    HRESULT result = E_FAIL;
};

template <class Lockable>
Locked LockOf(Lockable& lockable, DWORD offset, DWORD bytes, DWORD flags = 0) {
    Locked locked;
    locked.result = lockable->Lock(offset, bytes, &locked.address1, &locked.bytes1, &locked.address2,
                                   &locked.bytes2, flags);
    return locked;
}

template <class Lockable>
HRESULT Unlock(Lockable& lockable, Locked const& locked) {
    return lockable->Unlock(locked.address1, locked.bytes1, locked.address2, locked.bytes2);
}

inline DSCBUFFERDESC MakeCaptureDescription(WAVEFORMATEX& format, DWORD bytes = RingBytes) {
    DSCBUFFERDESC description{};
    description.dwSize = sizeof description;
    description.dwFlags = DSCBCAPS_WAVEMAPPED;
    description.dwBufferBytes = bytes;
    description.lpwfxFormat = &format;
    return description;
}

/// A capture buffer of the usual kind with its capture object; releases itself.
class Microphone {
public:
    explicit Microphone(DWORD bytes = RingBytes, WAVEFORMATEX format = MakeFormat()) {
        DirectSoundCaptureCreate8(nullptr, &capture, nullptr);
        DSCBUFFERDESC const description = MakeCaptureDescription(format, bytes);
        IDirectSoundCaptureBuffer* first = nullptr;
        capture->CreateCaptureBuffer(&description, &first, nullptr);
        first->QueryInterface(IID_IDirectSoundCaptureBuffer8, reinterpret_cast<void**>(&buffer));
        first->Release();
    }
    Microphone(Microphone const&) = delete;
    Microphone& operator=(Microphone const&) = delete;
    ~Microphone() {
        buffer->Release();
        capture->Release();
    }
    IDirectSoundCaptureBuffer8* operator->() const { return buffer; }

    DWORD ReadCursor() const {
        DWORD byte = 0;
        buffer->GetCurrentPosition(nullptr, &byte);
        return byte;
    }
    DWORD CaptureCursor() const {
        DWORD byte = 0;
        buffer->GetCurrentPosition(&byte, nullptr);
        return byte;
    }
    /// Locks, copies, unlocks.
    std::vector<std::int16_t> Read(DWORD offset, DWORD bytes) {
        Locked const locked = LockOf(buffer, offset, bytes);
        std::vector<std::int16_t> samples;
        for (auto const& [address, length] : {std::make_pair(locked.address1, locked.bytes1),
                                              std::make_pair(locked.address2, locked.bytes2)}) {
            auto const* const begin = static_cast<std::int16_t const*>(address);
            samples.insert(samples.end(), begin, begin + length / sizeof(std::int16_t));
        }
        Unlock(buffer, locked);
        return samples;
    }

    IDirectSoundCapture* capture = nullptr;
    IDirectSoundCaptureBuffer8* buffer = nullptr;
};

/// A playback buffer in a world of its own.
class PlayableTest : public testing::Test {
protected:
    TestWorld world;
    Playable playable;
};

/// The same of the other side.
class MicrophoneTest : public testing::Test {
protected:
    TestWorld world;
    Microphone microphone;
    CaptureBuffer& buffer = world.OnlyCaptureBuffer();
};

/// An auto-reset event that closes itself.
class TestEvent {
public:
    explicit TestEvent(bool isManualReset = false, bool isSignalled = false)
        : handle(CreateEventA(nullptr, isManualReset, isSignalled, nullptr)) {}
    TestEvent(TestEvent const&) = delete;
    TestEvent& operator=(TestEvent const&) = delete;
    ~TestEvent() { CloseHandle(handle); }
    bool IsSignalled() const { return WaitForMultipleObjects(1, &handle, FALSE, 0) == WAIT_OBJECT_0; }

    HANDLE const handle;
};

/// Collects complaints instead of failing the test.
class Complaints {
public:
    World::Reporter Reporter() {
        return [this](std::string const& text) { texts.push_back(text); };
    }
    std::vector<std::string> texts;
};

} // namespace Simulation
