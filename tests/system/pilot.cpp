#include "pilot.h"

#include <windows.h>

#include <mmsystem.h>

#include <dsound.h>

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "ears/pilotsound.h"

namespace SystemTest {

namespace {

constexpr WORD Channels = 2;
constexpr WORD FrameBytes = Channels * sizeof(std::int16_t);

void Require(HRESULT result, char const* what) {
    if (FAILED(result)) {
        throw std::runtime_error(std::string("the pilot cannot be played: no ") + what);
    }
}

std::vector<std::int16_t> MakeRightOnly(Listening::SampleView sound) {
    std::vector<std::int16_t> interleaved;
    for (std::int16_t const sample : sound) {
        interleaved.push_back(0);
        interleaved.push_back(sample);
    }
    return interleaved;
}

} // namespace

Pilot::Pilot() {
    std::vector<std::int16_t> const samples = MakeRightOnly(MakePilotSound());
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = Channels;
    format.nSamplesPerSec = Listening::SoundRateHz;
    format.nAvgBytesPerSec = Listening::SoundRateHz * FrameBytes;
    format.nBlockAlign = FrameBytes;
    format.wBitsPerSample = 16;
    DSBUFFERDESC description = {};
    description.dwSize = sizeof(description);
    description.dwFlags = DSBCAPS_GLOBALFOCUS;
    description.dwBufferBytes = static_cast<DWORD>(samples.size() * sizeof(std::int16_t));
    description.lpwfxFormat = &format;

    IDirectSound8* sound = nullptr;
    Require(DirectSoundCreate8(nullptr, &sound, nullptr), "sound output");
    sound_.reset(sound);
    // As the module does: under Wine the level is the device's, not the object's.
    Require(sound_->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY), "cooperation");
    IDirectSoundBuffer* buffer = nullptr;
    Require(sound_->CreateSoundBuffer(&description, &buffer, nullptr), "buffer");
    buffer_.reset(buffer);
    void* memory = nullptr;
    DWORD bytes = 0;
    Require(buffer_->Lock(0, description.dwBufferBytes, &memory, &bytes, nullptr, nullptr, 0), "memory");
    std::memcpy(memory, samples.data(), bytes);
    buffer_->Unlock(memory, bytes, nullptr, 0);
    Require(buffer_->Play(0, 0, DSBPLAY_LOOPING), "playback");
}

void Pilot::Release::operator()(IDirectSound8* sound) const {
    sound->Release();
}

void Pilot::Release::operator()(IDirectSoundBuffer* buffer) const {
    buffer->Release();
}

} // namespace SystemTest
