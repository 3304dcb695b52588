#include "rendereraudiosoundbuffer.h"

#include "primitives/primitives.h"
#include "rendereraudioring.h"

namespace Media {

namespace {

constexpr WORD SampleSizeBits = 16;
constexpr DWORD RingLengthSec = 5;

/// Global focus: heard while another program has the foreground.
constexpr DWORD SoundBufferFlags = DSBCAPS_GLOBALFOCUS | DSBCAPS_CTRLPOSITIONNOTIFY | DSBCAPS_CTRLVOLUME |
                                   DSBCAPS_CTRLPAN | DSBCAPS_CTRLFREQUENCY | DSBCAPS_LOCSOFTWARE;
static_assert(SoundBufferFlags == 0x81E8);

/// The ring is counted at two bytes a position and five seconds of mono whatever `channels` is: of a buffer
/// with several channels only the first part is used, and it is not fit for listening.
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
DSBUFFERDESC MakeDescription(WAVEFORMATEX& format) {
    DSBUFFERDESC description;
    Primitives::ZeroBytes(&description, sizeof(description));
    description.dwSize = sizeof(description);
    description.dwFlags = SoundBufferFlags;
    description.dwBufferBytes = RingLengthSec * format.nAvgBytesPerSec;
    description.lpwfxFormat = &format;
    return description;
}

} // namespace

boost::intrusive_ptr<IDirectSoundBuffer8> CreatePlaybackSoundBuffer(IDirectSound8& sound,
                                                                    std::uint32_t channels) {
    WAVEFORMATEX format = MakeFormat(channels);
    DSBUFFERDESC const description = MakeDescription(format);
    IDirectSoundBuffer* created = nullptr;
    if (FAILED(sound.CreateSoundBuffer(&description, &created, nullptr)) || created == nullptr) {
        return {};
    }
    boost::intrusive_ptr<IDirectSoundBuffer> const first = AdoptReference(created);
    return QueryInterfaceOf<IDirectSoundBuffer8>(*first, IID_IDirectSoundBuffer8);
}

} // namespace Media
