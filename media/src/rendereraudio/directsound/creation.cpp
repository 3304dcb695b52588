#include "directsound/creation.h"

#include "primitives/primitives.h"

namespace Media {
namespace DirectSound {

namespace {

constexpr DWORD PlaybackRingLengthSec = 5;

/// Global focus: heard while another program has the foreground.
constexpr DWORD PlaybackFlags = DSBCAPS_GLOBALFOCUS | DSBCAPS_CTRLPOSITIONNOTIFY | DSBCAPS_CTRLVOLUME |
                                DSBCAPS_CTRLPAN | DSBCAPS_CTRLFREQUENCY | DSBCAPS_LOCSOFTWARE;
static_assert(PlaybackFlags == 0x81E8);

// What the system reads of them, as it lays them out.
static_assert(sizeof(WAVEFORMATEX) == 18);
static_assert(sizeof(void*) != 8 || (sizeof(DSBUFFERDESC) == 40 && sizeof(DSCBUFFERDESC) == 40));

WAVEFORMATEX MakeFormat(std::uint32_t channels) {
    WAVEFORMATEX format;
    Primitives::ZeroBytes(&format, sizeof(format));
    format.wFormatTag = WAVE_FORMAT_PCM;
    format.nChannels = static_cast<WORD>(channels);
    format.nSamplesPerSec = Ring::NominalFrequencyHz;
    format.nBlockAlign = static_cast<WORD>(channels * Ring::SampleSizeBytes);
    format.nAvgBytesPerSec = format.nBlockAlign * Ring::NominalFrequencyHz;
    format.wBitsPerSample = SampleSizeBits;
    return format;
}

/// `format` must outlive the description.
template <class Description>
Description Describe(WAVEFORMATEX& format, DWORD flags, DWORD bufferBytes) {
    Description description;
    Primitives::ZeroBytes(&description, sizeof(description));
    description.dwSize = sizeof(description);
    description.dwFlags = flags;
    description.dwBufferBytes = bufferBytes;
    description.lpwfxFormat = &format;
    return description;
}

/// Takes over what creation gave with `result` in `created`, for the current version of its interface.
template <class Interface, class FirstInterface>
boost::intrusive_ptr<Interface> Adopt(HRESULT result, FirstInterface* created, REFIID iid) {
    if (FAILED(result) || created == nullptr) {
        return {};
    }
    return QueryInterfaceOf<Interface>(*AdoptReference(created), iid);
}

} // namespace

boost::intrusive_ptr<IDirectSoundBuffer8> CreatePlaybackBuffer(IDirectSound8& sound, std::uint32_t channels) {
    // Wanted: the ring is counted as mono whatever `channels` is (docs/kept-behaviour.md).
    WAVEFORMATEX format = MakeFormat(channels);
    auto const description =
        Describe<DSBUFFERDESC>(format, PlaybackFlags, PlaybackRingLengthSec * format.nAvgBytesPerSec);
    IDirectSoundBuffer* created = nullptr;
    HRESULT const result = sound.CreateSoundBuffer(&description, &created, nullptr);
    return Adopt<IDirectSoundBuffer8>(result, created, IID_IDirectSoundBuffer8);
}

boost::intrusive_ptr<IDirectSoundCaptureBuffer8> CreateCaptureBuffer(IDirectSoundCapture8& capture) {
    WAVEFORMATEX format = MakeFormat(CaptureChannels);
    // The system may convert: the microphone need not know the format.
    auto const description =
        Describe<DSCBUFFERDESC>(format, DSCBCAPS_WAVEMAPPED, CaptureRingSamples * format.nBlockAlign);
    IDirectSoundCaptureBuffer* created = nullptr;
    HRESULT const result = capture.CreateCaptureBuffer(&description, &created, nullptr);
    return Adopt<IDirectSoundCaptureBuffer8>(result, created, IID_IDirectSoundCaptureBuffer8);
}

} // namespace DirectSound
} // namespace Media
