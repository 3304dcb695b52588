#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

namespace Simulation {

// Every simulated call: its enumerator and its name in texts. What stands behind "::" is the short name.
// A QueryInterface of a buffer is a call of its own for each interface asked for.
#define SIMULATION_CALLS(X)                                                                   \
    X(Win32CreateEvent, "Win32::CreateEventA")                                                \
    X(Win32SetEvent, "Win32::SetEvent")                                                       \
    X(Win32CloseHandle, "Win32::CloseHandle")                                                 \
    X(Win32Wait, "Win32::WaitForMultipleObjects")                                             \
    X(Win32Sleep, "Win32::Sleep")                                                             \
    X(Win32DesktopWindow, "Win32::GetDesktopWindow")                                          \
    X(SoundEnumerate, "DirectSound::DirectSoundEnumerateA")                                   \
    X(SoundCreate8, "DirectSound::DirectSoundCreate8")                                        \
    X(SoundQueryInterface, "Sound::QueryInterface")                                           \
    X(SoundAddRef, "Sound::AddRef")                                                           \
    X(SoundRelease, "Sound::Release")                                                         \
    X(SoundCreateSoundBuffer, "Sound::CreateSoundBuffer")                                     \
    X(SoundGetCaps, "Sound::GetCaps")                                                         \
    X(SoundDuplicateSoundBuffer, "Sound::DuplicateSoundBuffer")                               \
    X(SoundSetCooperativeLevel, "Sound::SetCooperativeLevel")                                 \
    X(SoundCompact, "Sound::Compact")                                                         \
    X(SoundGetSpeakerConfig, "Sound::GetSpeakerConfig")                                       \
    X(SoundSetSpeakerConfig, "Sound::SetSpeakerConfig")                                       \
    X(SoundInitialize, "Sound::Initialize")                                                   \
    X(SoundVerifyCertification, "Sound::VerifyCertification")                                 \
    X(BufferQueryBuffer, "SoundBuffer::QueryInterface(IDirectSoundBuffer)")                   \
    X(BufferQueryBuffer8, "SoundBuffer::QueryInterface(IDirectSoundBuffer8)")                 \
    X(BufferQueryNotify, "SoundBuffer::QueryInterface(IDirectSoundNotify)")                   \
    X(BufferQueryOther, "SoundBuffer::QueryInterface")                                        \
    X(BufferAddRef, "SoundBuffer::AddRef")                                                    \
    X(BufferRelease, "SoundBuffer::Release")                                                  \
    X(BufferGetCaps, "SoundBuffer::GetCaps")                                                  \
    X(BufferGetCurrentPosition, "SoundBuffer::GetCurrentPosition")                            \
    X(BufferGetFormat, "SoundBuffer::GetFormat")                                              \
    X(BufferGetVolume, "SoundBuffer::GetVolume")                                              \
    X(BufferGetPan, "SoundBuffer::GetPan")                                                    \
    X(BufferGetFrequency, "SoundBuffer::GetFrequency")                                        \
    X(BufferGetStatus, "SoundBuffer::GetStatus")                                              \
    X(BufferInitialize, "SoundBuffer::Initialize")                                            \
    X(BufferLock, "SoundBuffer::Lock")                                                        \
    X(BufferPlay, "SoundBuffer::Play")                                                        \
    X(BufferSetCurrentPosition, "SoundBuffer::SetCurrentPosition")                            \
    X(BufferSetFormat, "SoundBuffer::SetFormat")                                              \
    X(BufferSetVolume, "SoundBuffer::SetVolume")                                              \
    X(BufferSetPan, "SoundBuffer::SetPan")                                                    \
    X(BufferSetFrequency, "SoundBuffer::SetFrequency")                                        \
    X(BufferStop, "SoundBuffer::Stop")                                                        \
    X(BufferUnlock, "SoundBuffer::Unlock")                                                    \
    X(BufferRestore, "SoundBuffer::Restore")                                                  \
    X(BufferSetFX, "SoundBuffer::SetFX")                                                      \
    X(BufferAcquireResources, "SoundBuffer::AcquireResources")                                \
    X(BufferGetObjectInPath, "SoundBuffer::GetObjectInPath")                                  \
    X(NotifyQueryInterface, "SoundNotify::QueryInterface")                                    \
    X(NotifyAddRef, "SoundNotify::AddRef")                                                    \
    X(NotifyRelease, "SoundNotify::Release")                                                  \
    X(NotifySetNotificationPositions, "SoundNotify::SetNotificationPositions")                \
    X(CaptureEnumerate, "DirectSound::DirectSoundCaptureEnumerateA")                          \
    X(CaptureCreate8, "DirectSound::DirectSoundCaptureCreate8")                               \
    X(CaptureQueryInterface, "Capture::QueryInterface")                                       \
    X(CaptureAddRef, "Capture::AddRef")                                                       \
    X(CaptureRelease, "Capture::Release")                                                     \
    X(CaptureCreateCaptureBuffer, "Capture::CreateCaptureBuffer")                             \
    X(CaptureGetCaps, "Capture::GetCaps")                                                     \
    X(CaptureInitialize, "Capture::Initialize")                                               \
    X(CaptureBufferQueryBuffer, "CaptureBuffer::QueryInterface(IDirectSoundCaptureBuffer)")   \
    X(CaptureBufferQueryBuffer8, "CaptureBuffer::QueryInterface(IDirectSoundCaptureBuffer8)") \
    X(CaptureBufferQueryOther, "CaptureBuffer::QueryInterface")                               \
    X(CaptureBufferAddRef, "CaptureBuffer::AddRef")                                           \
    X(CaptureBufferRelease, "CaptureBuffer::Release")                                         \
    X(CaptureBufferGetCaps, "CaptureBuffer::GetCaps")                                         \
    X(CaptureBufferGetCurrentPosition, "CaptureBuffer::GetCurrentPosition")                   \
    X(CaptureBufferGetFormat, "CaptureBuffer::GetFormat")                                     \
    X(CaptureBufferGetStatus, "CaptureBuffer::GetStatus")                                     \
    X(CaptureBufferInitialize, "CaptureBuffer::Initialize")                                   \
    X(CaptureBufferLock, "CaptureBuffer::Lock")                                               \
    X(CaptureBufferStart, "CaptureBuffer::Start")                                             \
    X(CaptureBufferStop, "CaptureBuffer::Stop")                                               \
    X(CaptureBufferUnlock, "CaptureBuffer::Unlock")                                           \
    X(CaptureBufferGetObjectInPath, "CaptureBuffer::GetObjectInPath")                         \
    X(CaptureBufferGetFXStatus, "CaptureBuffer::GetFXStatus")

enum class Call_t : std::uint8_t {
#define SIMULATION_ENUMERATOR(name, text) name,
    SIMULATION_CALLS(SIMULATION_ENUMERATOR)
#undef SIMULATION_ENUMERATOR
};

inline constexpr std::size_t CallCount = 0
#define SIMULATION_COUNT(name, text) +1
    SIMULATION_CALLS(SIMULATION_COUNT)
#undef SIMULATION_COUNT
    ;

/// The full name, such as "SoundBuffer::Lock".
char const* ToString(Call_t call);

/// The name without its interface, such as "Lock".
char const* ToShortString(Call_t call);

/// A set of calls, to pick from the journal.
class CallSet {
public:
    CallSet() = default;
    CallSet(std::initializer_list<Call_t> calls) {
        for (Call_t const call : calls) {
            bits_.set(static_cast<std::size_t>(call));
        }
    }

    static CallSet All();
    /// The Win32 calls.
    static CallSet Win32();
    /// What is asked of a sound buffer, its notification points included, references left out.
    static CallSet Buffer();
    /// What is asked of a capture buffer, references left out.
    static CallSet CaptureBuffer();
    /// QueryInterface, AddRef and Release of every interface.
    static CallSet References();

    bool Contains(Call_t call) const { return bits_[static_cast<std::size_t>(call)]; }

    friend CallSet operator|(CallSet a, CallSet const& b) {
        a.bits_ |= b.bits_;
        return a;
    }
    friend CallSet operator-(CallSet a, CallSet const& b) {
        a.bits_ &= ~b.bits_;
        return a;
    }

private:
    std::bitset<CallCount> bits_;
};

} // namespace Simulation
