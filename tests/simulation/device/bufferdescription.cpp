#include "simulation/device/bufferdescription.h"

namespace Simulation {

namespace {

// The microphone gives no other samples.
constexpr WORD CaptureBits = 16;

DescriptionVerdict Mistake(char const* text) {
    return {DSERR_INVALIDPARAM, text};
}

DescriptionVerdict JudgeFormat(WAVEFORMATEX const& format) {
    if (format.wFormatTag != WAVE_FORMAT_PCM || format.nChannels > MaxChannels) {
        return {DSERR_BADFORMAT, ""};
    }
    if (format.nChannels == 0) {
        return Mistake("the format has no channel");
    }
    if (format.wBitsPerSample != 8 && format.wBitsPerSample != 16) {
        return Mistake("the format's samples have neither 8 nor 16 bits");
    }
    if (format.nSamplesPerSec < DSBFREQUENCY_MIN || format.nSamplesPerSec > DSBFREQUENCY_MAX) {
        return Mistake("the format's rate is out of range");
    }
    if (format.nBlockAlign != format.nChannels * format.wBitsPerSample / 8) {
        return Mistake("nBlockAlign does not fit channels and bits");
    }
    if (format.nAvgBytesPerSec != format.nSamplesPerSec * format.nBlockAlign) {
        return Mistake("nAvgBytesPerSec does not fit rate and alignment");
    }
    // The field means nothing here: another value shows that the caller has not cleared the format.
    if (format.cbSize != 0) {
        return Mistake("cbSize is not zero");
    }
    return {};
}

/// What both kinds of buffers say.
template <class Description>
DescriptionVerdict JudgeContent(Description const& description, DWORD minBytes, DWORD maxBytes) {
    if (description.lpwfxFormat == nullptr) {
        return Mistake("there is no format");
    }
    DescriptionVerdict const verdict = JudgeFormat(*description.lpwfxFormat);
    if (verdict.result != DS_OK) {
        return verdict;
    }
    if (description.dwBufferBytes < minBytes || description.dwBufferBytes > maxBytes) {
        return Mistake("dwBufferBytes is out of range");
    }
    if (description.dwBufferBytes % description.lpwfxFormat->nBlockAlign != 0) {
        return Mistake("dwBufferBytes is no whole number of frames");
    }
    return {};
}

} // namespace

DescriptionVerdict JudgeDescription(DSBUFFERDESC const* description) {
    if (description == nullptr) {
        return Mistake("there is no description");
    }
    if (description->dwSize != sizeof(DSBUFFERDESC) && description->dwSize != sizeof(DSBUFFERDESC1)) {
        return Mistake("dwSize is the size of no description");
    }
    if (description->dwReserved != 0) {
        return Mistake("dwReserved is not zero");
    }
    DWORD const flags = description->dwFlags;
    if ((flags & DSBCAPS_PRIMARYBUFFER) != 0) {
        return {DSERR_UNSUPPORTED, ""};
    }
    DWORD const bothPlaces = DSBCAPS_LOCHARDWARE | DSBCAPS_LOCSOFTWARE;
    if ((flags & bothPlaces) == bothPlaces) {
        return Mistake("the buffer is to lie in hardware and software");
    }
    if ((flags & DSBCAPS_CTRL3D) != 0 && (flags & DSBCAPS_CTRLPAN) != 0) {
        return Mistake("a buffer in space has no pan");
    }
    return JudgeContent(*description, DSBSIZE_MIN, DSBSIZE_MAX);
}

DescriptionVerdict JudgeDescription(DSCBUFFERDESC const* description) {
    if (description == nullptr) {
        return Mistake("there is no description");
    }
    bool const hasEffects = description->dwSize == sizeof(DSCBUFFERDESC);
    if (!hasEffects && description->dwSize != sizeof(DSCBUFFERDESC1)) {
        return Mistake("dwSize is the size of no description");
    }
    if (description->dwReserved != 0) {
        return Mistake("dwReserved is not zero");
    }
    DWORD const allFlags = DSCBCAPS_WAVEMAPPED | DSCBCAPS_CTRLFX;
    if ((description->dwFlags & ~allFlags) != 0) {
        return Mistake("dwFlags has a flag that there is not");
    }
    if (hasEffects && (description->dwFXCount != 0) != (description->lpDSCFXDesc != nullptr)) {
        return Mistake("dwFXCount does not fit lpDSCFXDesc");
    }
    if (hasEffects && description->dwFXCount != 0) {
        return {DSERR_UNSUPPORTED, ""};
    }
    DescriptionVerdict const verdict = JudgeContent(*description, 1, MAXDWORD);
    if (verdict.result == DS_OK && description->lpwfxFormat->wBitsPerSample != CaptureBits) {
        return {DSERR_BADFORMAT, ""};
    }
    return verdict;
}

} // namespace Simulation
