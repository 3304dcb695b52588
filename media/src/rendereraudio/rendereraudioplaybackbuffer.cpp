#include "rendereraudioplaybackbuffer.h"

#include <cstring>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "arithmetic/drift.h"
#include "arithmetic/levels.h"
#include "arithmetic/ring.h"
#include "directsound/creation.h"
#include "directsound/regionlock.h"
#include "directsound/statuscodes.h"
#include "primitives/primitives.h"
#include "rendereraudiolog.h"
#include "rendereraudioplaybackbufferfields.h"
#include "rendereraudioplaybackdevice.h"

namespace Media {

namespace {

using Kovra::LogLevel_t;

std::shared_ptr<Kovra::LoggerFacade> const logger = FetchLogger("Media.RendererAudioPlaybackBuffer");

constexpr unsigned char DecodedChannels = 1;

/// Up to this long without a presentation, the session is taken to be alive.
constexpr std::int32_t IdleGraceMilliSec = 500;
/// Beyond this, with no new frame either, it is taken to be idle.
constexpr std::int32_t IdleLimitMilliSec = 1000;

/// Raw PCM goes through the processor's fastest copy, decoded PCM through a plain move.
/// Wanted: other codings are not copied, and count as written (docs/kept-behaviour.md).
void CopySamples(std::uint8_t const* source, std::uint8_t* destination, std::uint32_t byteCount,
                 MediaCoding_t coding) {
    if (coding == MediaCoding_t::RawPcm) {
        Primitives::CopyBytes(source, destination, static_cast<std::int32_t>(byteCount));
    } else if (coding == MediaCoding_t::G711 || coding == MediaCoding_t::Aac) {
        std::memmove(destination, source, byteCount);
    }
}

} // namespace

// --- construction, creation, destruction

RendererAudioPlaybackBuffer::RendererAudioPlaybackBuffer(RendererAudioPlaybackDevice& device)
    : fields_(std::make_unique<Fields>(device)) {}

RendererAudioPlaybackBuffer::~RendererAudioPlaybackBuffer() {
    ReleaseSoundBuffer();
}

bool RendererAudioPlaybackBuffer::HasSoundBuffer() const {
    return fields_->soundBuffer != nullptr;
}

int RendererAudioPlaybackBuffer::CreateSoundBuffer(std::shared_ptr<FrameAud> const& frame) {
    boost::intrusive_ptr<IDirectSound8> const sound = fields_->device->GetSound();
    if (sound == nullptr || frame == nullptr) {
        return Status::NothingToCreateWith;
    }
    fields_->sourceFrequency = frame->GetFrequency();
    if (fields_->sourceFrequency == 0) {
        return Status::Refused;
    }
    fields_->ringSamples = Ring::LengthSamples;
    fields_->bytesPerSample = Ring::SampleSizeBytes;
    fields_->baseTimestamp.store(frame->GetTimestamp().NanoSec(), std::memory_order_relaxed);
    fields_->nsPerSample = Ring::SamplePeriodNanoSec;

    fields_->soundBuffer = DirectSound::CreatePlaybackBuffer(*sound, frame->GetNumChannels());
    if (fields_->soundBuffer == nullptr) {
        return Status::Refused;
    }
    fields_->sound = sound;
    SetVolume(fields_->volume, true);
    ApplyPan();
    fields_->soundBuffer->SetCurrentPosition(0);
    fields_->notify =
        DirectSound::QueryInterfaceOf<IDirectSoundNotify>(*fields_->soundBuffer, IID_IDirectSoundNotify);
    try {
        fields_->notifyPosition->hEventNotify = fields_->device->AddBuffer(*this);
    } catch (std::bad_alloc const&) {
        // A sound buffer that is not registered has not been cleared: it must not be played.
        ReleaseSoundBuffer();
        return Status::OutOfMemory;
    }
    Clear({0, fields_->ringSamples});
    return Status::Success;
}

void RendererAudioPlaybackBuffer::ReleaseSoundBuffer() {
    fields_->notify.reset();
    if (fields_->soundBuffer != nullptr) {
        fields_->device->RemoveBuffer(*this);
        fields_->soundBuffer.reset();
        fields_->sound.reset();
    }
}

// --- writing a frame

bool RendererAudioPlaybackBuffer::WriteFrame(std::shared_ptr<FrameAud> const& frame) {
    if (frame == nullptr) {
        return false;
    }
    fields_->active.store(1, std::memory_order_relaxed);
    if (frame->GetFrequency() != fields_->sourceFrequency) {
        RebuildForRate(frame);
    }
    // Without a ring, because no sound buffer was ever created, there is no place for the frame.
    if (fields_->ringSamples == 0) {
        return false;
    }
    PlaceFrame(frame->GetTimestamp().NanoSec());
    CloseSmallGap();

    MediaCoding_t const coding = frame->GetCoding();
    Kovra::BufferInfo const* info = frame->GetConstBufferBegin();
    if (coding != MediaCoding_t::RawPcm) {
        if (!DecodeFrame(frame)) {
            return false;
        }
        info = fields_->decodedFrame->GetConstBufferBegin();
    }
    std::uint8_t const* const data = info == nullptr ? nullptr : info->GetData();
    std::uint32_t const byteCount = info == nullptr ? 0 : info->GetLength();

    std::uint32_t const writePos = fields_->writePos.load(std::memory_order_relaxed);
    bool const isWritten = CopyToRing(writePos, data, byteCount, coding);
    fields_->writeEnd = (byteCount / fields_->bytesPerSample + writePos) % fields_->ringSamples;
    if (fields_->notify != nullptr) {
        fields_->notifyPosition->dwOffset = fields_->writeEnd * fields_->bytesPerSample;
    }
    return isWritten;
}

void RendererAudioPlaybackBuffer::RebuildForRate(std::shared_ptr<FrameAud> const& frame) {
    ReleaseSoundBuffer();
    CreateSoundBuffer(frame);
    WriteLog(*logger, LogLevel_t::Info, "AudioBuffer resetting frequency to %d",
             static_cast<int>(fields_->sourceFrequency));
}

void RendererAudioPlaybackBuffer::PlaceFrame(std::int64_t timestampNanoSec) {
    // Read once: the playback thread may reset it meanwhile.
    std::int64_t base = fields_->baseTimestamp.load(std::memory_order_relaxed);
    if (base == 0) {
        base = timestampNanoSec;
        fields_->baseTimestamp.store(base, std::memory_order_relaxed);
    }
    std::int64_t const offsetNanoSec = Ring::WrappingDifference(timestampNanoSec, base);
    std::uint32_t position = 0;
    if (offsetNanoSec < 0) {
        Clear({0, fields_->ringSamples});
        fields_->baseTimestamp.store(timestampNanoSec, std::memory_order_relaxed);
    } else {
        position = Ring::PositionRoundedUpToEven(offsetNanoSec, fields_->nsPerSample, fields_->ringSamples);
    }
    fields_->writePos.store(position, std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::CloseSmallGap() {
    std::uint32_t const gap = Ring::ForwardDistance(
        fields_->writeEnd, fields_->writePos.load(std::memory_order_relaxed), fields_->ringSamples);
    switch (Ring::JudgeGap(gap, fields_->ringSamples)) {
        case Ring::Gap_t::None:
            break;
        case Ring::Gap_t::Small:
            fields_->writePos.store(fields_->writeEnd, std::memory_order_relaxed);
            WriteLog(*logger, LogLevel_t::Info, "AudioBuffer ignoring small gap (%d samples)",
                     static_cast<int>(gap));
            break;
        case Ring::Gap_t::Loss:
            // Wanted: nothing is zeroed, whatever the message says (docs/kept-behaviour.md).
            WriteLog(*logger, LogLevel_t::Info, "AudioBuffer packet loss, zero'ing %d samples",
                     static_cast<int>(gap));
            break;
    }
}

bool RendererAudioPlaybackBuffer::DecodeFrame(std::shared_ptr<FrameAud> const& frame) {
    fields_->decodedFrame.reset();
    try {
        std::vector<std::shared_ptr<FrameAud>> decoded = fields_->codec.Decode({frame});
        // Wanted: several channels stay when the rate is the ring's own (docs/kept-behaviour.md).
        if (!decoded.empty() && decoded.front() != nullptr &&
            decoded.front()->GetFrequency() != Ring::NominalFrequencyHz) {
            decoded =
                fields_->codec.Transcode(decoded, MediaCoding_t::RawPcm, DecodedChannels,
                                         Ring::NominalFrequencyHz, decoded.front()->GetDuration(), false);
        }
        if (!decoded.empty()) {
            fields_->decodedFrame = std::move(decoded.back());
        }
    } catch (...) {
        // A codec without memory has decoded nothing; what is in the ring is presented all the same.
    }
    return fields_->decodedFrame != nullptr;
}

bool RendererAudioPlaybackBuffer::CopyToRing(std::uint32_t startPos, std::uint8_t const* data,
                                             std::uint32_t byteCount, MediaCoding_t coding) {
    // Nothing to write counts as a frame without data: DirectSound takes no empty lock.
    if (data == nullptr || byteCount == 0) {
        return false;
    }
    std::uint32_t const bytesPerSample = fields_->bytesPerSample;
    auto const lock = DirectSound::PlaybackLock::Acquire(fields_->soundBuffer.get(),
                                                         {startPos * bytesPerSample, byteCount});
    if (!lock) {
        return false;
    }
    CopySamples(data, lock->GetFirst(), lock->GetFirstBytes(), coding);
    std::uint8_t const* last = lock->GetFirst();
    std::uint32_t lastBytes = lock->GetFirstBytes();
    if (lock->GetSecond() != nullptr) {
        CopySamples(data + lock->GetFirstBytes(), lock->GetSecond(), lock->GetSecondBytes(), coding);
        last = lock->GetSecond();
        lastBytes = lock->GetSecondBytes();
    }
    // A region of one byte holds no sample. Wanted, though nobody reads it (docs/kept-behaviour.md).
    if (lastBytes >= bytesPerSample) {
        std::memcpy(&fields_->lastSample, last + lastBytes - bytesPerSample, sizeof(fields_->lastSample));
    }
    return true;
}

void RendererAudioPlaybackBuffer::Clear(Ring::Stretch stretch) {
    std::uint32_t const bytesPerSample = fields_->bytesPerSample;
    {
        auto const lock = DirectSound::PlaybackLock::Acquire(
            fields_->soundBuffer.get(), {stretch.start * bytesPerSample, stretch.samples * bytesPerSample});
        if (!lock) {
            return;
        }
        Primitives::ZeroBytes(lock->GetFirst(), static_cast<std::int32_t>(lock->GetFirstBytes()));
        if (lock->GetSecond() != nullptr) {
            Primitives::ZeroBytes(lock->GetSecond(), static_cast<std::int32_t>(lock->GetSecondBytes()));
        }
    }
    fields_->clearedEnd.store((stretch.start + stretch.samples) % fields_->ringSamples,
                              std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::ClearPlayed(std::uint32_t playPos) {
    std::uint32_t const clearedEnd = fields_->clearedEnd.load(std::memory_order_relaxed);
    std::uint32_t const count = Ring::ClearableSamples(clearedEnd, playPos, fields_->ringSamples);
    if (count != 0) {
        // Wanted: as far as the cursor, also over what was not heard yet (docs/kept-behaviour.md).
        Clear({clearedEnd, count});
    }
}

// --- presentation

void RendererAudioPlaybackBuffer::Present(Kovra::JiffyTime& presentationTime) {
    IDirectSoundBuffer8* const soundBuffer = fields_->soundBuffer.get();
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::int64_t const aheadNanoSec = presentationTime.GetDiffSysTime(now).NanoSec();
    if (aheadNanoSec < 0) {
        WriteLog(*logger, LogLevel_t::Info, "AudioBuffer presentation requested in the past, stopping");
        if (soundBuffer != nullptr) {
            soundBuffer->Stop();
        }
        // Wanted: lastPresentTime stays; this was no presentation (docs/kept-behaviour.md).
        return;
    }
    DWORD status = 0;
    if (soundBuffer == nullptr || FAILED(soundBuffer->GetStatus(&status))) {
        return;
    }
    std::uint32_t const writePos = fields_->writePos.load(std::memory_order_relaxed);
    std::uint32_t const aheadSamples = Ring::SamplesAheadTruncated(aheadNanoSec, fields_->nsPerSample);
    std::uint32_t const startPos = Ring::StartPosition(writePos, aheadSamples, fields_->ringSamples);
    if ((status & DSBSTATUS_PLAYING) == 0) {
        StartPlayback(startPos);
        fields_->lastPresentTime.store(now, std::memory_order_relaxed);
        return;
    }
    auto const playByte = DirectSound::ReadPlayByte(soundBuffer);
    if (!playByte) {
        fields_->lastPresentTime.store(now, std::memory_order_relaxed);
        return;
    }
    std::uint32_t const playPos = *playByte / fields_->bytesPerSample;
    ClearPlayed(playPos);
    std::uint32_t const lag = Ring::ForwardDistance(playPos, writePos, fields_->ringSamples);
    if (Ring::IsLagBeyondLimit(lag, fields_->ringSamples)) {
        WriteLog(*logger, LogLevel_t::Info, "AudioBuffer timestamp drift too high, resetting");
        JumpTo(startPos);
    } else {
        ControlDrift(now, lag, aheadSamples);
    }
    presentationTime = now.AddMilliSec(Ring::MilliSecTruncated(lag, fields_->nsPerSample));
    fields_->lastPresentTime.store(now, std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::StartPlayback(std::uint32_t startPos) {
    WriteLog(*logger, LogLevel_t::Info, "AudioBuffer playback started");
    JumpTo(startPos);
    // Wanted: the point is handed over here alone, and stays (docs/kept-behaviour.md).
    if (fields_->notify != nullptr) {
        fields_->notify->SetNotificationPositions(1, fields_->notifyPosition.get());
    }
    ApplyVolume();
    fields_->soundBuffer->Play(0, 0, DSBPLAY_LOOPING);
}

void RendererAudioPlaybackBuffer::JumpTo(std::uint32_t startPos) {
    fields_->soundBuffer->SetCurrentPosition(startPos * fields_->bytesPerSample);
    fields_->soundBuffer->SetFrequency(Ring::NominalFrequencyHz);
    fields_->playFrequency = Ring::NominalFrequencyHz;
}

void RendererAudioPlaybackBuffer::ControlDrift(Kovra::JiffyTime now, std::uint32_t lagSamples,
                                               std::uint32_t aheadSamples) {
    if (fields_->expectedLagSum == 0 ||
        !Drift::IsWindowOver(now.GetDiffMilliSec32(fields_->driftWindowStart))) {
        fields_->measuredLagSum += lagSamples;
        fields_->expectedLagSum += aheadSamples;
        return;
    }
    std::uint32_t const target = Drift::FrequencyForSums(fields_->measuredLagSum, fields_->expectedLagSum);
    if (target != fields_->playFrequency) {
        fields_->playFrequency = target;
        fields_->soundBuffer->SetFrequency(target);
        WriteLog(*logger, LogLevel_t::Debug, "Adjusting audio frequency to %d Hz", static_cast<int>(target));
    }
    fields_->driftWindowStart = now;
    fields_->measuredLagSum = 0;
    fields_->expectedLagSum = 0;
}

// --- the service pass

void RendererAudioPlaybackBuffer::Service() {
    if (fields_->active.load(std::memory_order_relaxed) != 0) {
        std::int32_t const idleMilliSec = Kovra::JiffyTime::Now().GetDiffMilliSec32(
            fields_->lastPresentTime.load(std::memory_order_relaxed));
        bool const hasNewFrame =
            fields_->writePos.load(std::memory_order_relaxed) != fields_->lastServicedWritePos;
        if (idleMilliSec > IdleLimitMilliSec && !hasNewFrame) {
            StopIdle(idleMilliSec);
        } else if (idleMilliSec > IdleGraceMilliSec) {
            if (auto const playByte = DirectSound::ReadPlayByte(fields_->soundBuffer.get())) {
                ClearPlayed(*playByte / fields_->bytesPerSample);
            }
        }
    }
    fields_->lastServicedWritePos = fields_->writePos.load(std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::StopIdle(std::int32_t idleMilliSec) {
    fields_->active.store(0, std::memory_order_relaxed);
    if (fields_->soundBuffer != nullptr) {
        fields_->soundBuffer->SetVolume(Levels::SilenceHundredthDb);
        fields_->soundBuffer->Stop();
    }
    fields_->baseTimestamp.store(0, std::memory_order_relaxed);
    Clear({0, fields_->ringSamples});
    WriteLog(*logger, LogLevel_t::Info, "Idle AudioBuffer playback stopped (%u ms)",
             static_cast<unsigned int>(idleMilliSec));
}

// --- volume and balance

void RendererAudioPlaybackBuffer::SetVolume(float volume, bool force) {
    if (force || volume != fields_->volume) {
        fields_->volume = volume;
        ApplyVolume();
    }
}

void RendererAudioPlaybackBuffer::SetPan(float pan) {
    if (pan != fields_->pan) {
        fields_->pan = pan;
        ApplyPan();
    }
}

void RendererAudioPlaybackBuffer::ApplyVolume() {
    if (fields_->soundBuffer != nullptr) {
        fields_->soundBuffer->SetVolume(Levels::AttenuationForVolume(fields_->volume));
    }
}

void RendererAudioPlaybackBuffer::ApplyPan() {
    if (fields_->soundBuffer != nullptr) {
        fields_->soundBuffer->SetPan(Levels::PanForBalance(fields_->pan));
    }
}

} // namespace Media
