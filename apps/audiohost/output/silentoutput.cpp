#include "output/silentoutput.h"

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
// Needed by dsound.h, and needing windows.h.
#include <mmsystem.h>

#include <dsound.h>

#include <cstring>

#include "listening/samples.h"

namespace AudioHost {

namespace {

// The renderer's own format and length: the device then does for both the same.
constexpr DWORD RateHz = 48000;
constexpr DWORD SampleBytes = 2;
constexpr DWORD LengthSeconds = 5;
constexpr DWORD LengthBytes = LengthSeconds * RateHz * SampleBytes;

/// Shorter than the steps of any cursor, and long enough to cost next to nothing: 0.7 % of a core under Wine.
constexpr DWORD RestMilliSec = 3;

struct Releaser {
    void operator()(IUnknown* object) const { object->Release(); }
};

template <class Interface>
using Owner = std::unique_ptr<Interface, Releaser>;

Owner<IDirectSound8> OpenDevice() {
    IDirectSound8* device = nullptr;
    if (FAILED(DirectSoundCreate8(nullptr, &device, nullptr)) || device == nullptr) {
        return nullptr;
    }
    Owner<IDirectSound8> owner(device);
    bool const isOurs = SUCCEEDED(owner->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY));
    return isOurs ? std::move(owner) : nullptr;
}

Owner<IDirectSoundBuffer> MakeBuffer(IDirectSound8& device) {
    WAVEFORMATEX format = {};
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = 1;
    format.nSamplesPerSec = RateHz;
    format.wBitsPerSample = 8 * SampleBytes;
    format.nBlockAlign = SampleBytes;
    format.nAvgBytesPerSec = RateHz * SampleBytes;
    DSBUFFERDESC description = {};
    description.dwSize = sizeof description;
    description.dwFlags = DSBCAPS_GETCURRENTPOSITION2 | DSBCAPS_GLOBALFOCUS;
    description.dwBufferBytes = LengthBytes;
    description.lpwfxFormat = &format;
    IDirectSoundBuffer* buffer = nullptr;
    if (FAILED(device.CreateSoundBuffer(&description, &buffer, nullptr)) || buffer == nullptr) {
        return nullptr;
    }
    return Owner<IDirectSoundBuffer>(buffer);
}

bool FillWithSilence(IDirectSoundBuffer& buffer) {
    void* bytes = nullptr;
    DWORD count = 0;
    if (FAILED(buffer.Lock(0, 0, &bytes, &count, nullptr, nullptr, DSBLOCK_ENTIREBUFFER))) {
        return false;
    }
    std::memset(bytes, 0, count);
    buffer.Unlock(bytes, count, nullptr, 0);
    return true;
}

class DeviceSilence : public SilentSound {
public:
    DeviceSilence(Owner<IDirectSound8> device, Owner<IDirectSoundBuffer> buffer)
        : device_(std::move(device)), buffer_(std::move(buffer)) {}

    std::optional<std::int64_t> GetPositionNanoSec() override {
        DWORD position = 0;
        if (FAILED(buffer_->GetCurrentPosition(&position, nullptr))) {
            return std::nullopt;
        }
        // Below 2.4e14: no overflow.
        return static_cast<std::int64_t>(position / SampleBytes) * Listening::NanoSecPerSec / RateHz;
    }
    std::int64_t GetLengthNanoSec() const override { return LengthSeconds * Listening::NanoSecPerSec; }
    void Rest() override { Sleep(RestMilliSec); }

private:
    // In this order: the buffer goes first.
    Owner<IDirectSound8> const device_;
    Owner<IDirectSoundBuffer> const buffer_;
};

} // namespace

std::unique_ptr<SilentSound> SilentOutput::Open() {
    Owner<IDirectSound8> device = OpenDevice();
    Owner<IDirectSoundBuffer> buffer = device ? MakeBuffer(*device) : nullptr;
    if (!buffer || !FillWithSilence(*buffer) || FAILED(buffer->Play(0, 0, DSBPLAY_LOOPING))) {
        return nullptr;
    }
    return std::make_unique<DeviceSilence>(std::move(device), std::move(buffer));
}

} // namespace AudioHost
