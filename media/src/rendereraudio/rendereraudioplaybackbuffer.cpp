#include "rendereraudioplaybackbuffer.h"

#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "primitives/primitives.h"
#include "rendereraudiocodes.h"
#include "rendereraudiodrift.h"
#include "rendereraudiolevels.h"
#include "rendereraudiolog.h"
#include "rendereraudioplaybackdevice.h"
#include "rendereraudioplaybackrecord.h"
#include "rendereraudioring.h"
#include "rendereraudioringlock.h"
#include "rendereraudiosoundbuffer.h"

namespace Media {

namespace {

using Kovra::LogLevel_t;

std::shared_ptr<Kovra::LoggerFacade> const logger = FetchLogger("Media.RendererAudioPlaybackBuffer");

constexpr std::size_t DspStateAlignmentBytes = 16;
constexpr unsigned char DecodedChannels = 1;

/// Up to this long without a presentation, the session is taken to be alive.
constexpr std::int32_t IdleGraceMilliSec = 500;
/// Beyond this, with no new frame either, it is taken to be idle.
constexpr std::int32_t IdleLimitMilliSec = 1000;

boost::intrusive_ptr<Kovra::Buffer> CreateDspState() {
    std::int32_t sizeBytes = 0;
    Primitives::GetProcessingStateSize(&sizeBytes);
    auto state = Kovra::Buffer::Create(static_cast<std::size_t>(sizeBytes), DspStateAlignmentBytes);
    Primitives::InitProcessingState(state->GetData());
    return state;
}

/// Raw PCM goes through the processor's fastest copy, decoded PCM through a plain move; the samples of a
/// coding that cannot be heard stay out of the ring.
void CopySamples(std::uint8_t const* source, std::uint8_t* destination, std::uint32_t byteCount,
                 MediaCoding_t coding) {
    if (coding == MediaCoding_t::RawPcm) {
        Primitives::CopyBytes(source, destination, static_cast<std::int32_t>(byteCount));
    } else if (coding == MediaCoding_t::G711 || coding == MediaCoding_t::Aac) {
        std::memmove(destination, source, byteCount);
    }
}

/// The play cursor's byte offset, or nothing when it cannot be read.
std::optional<std::uint32_t> ReadPlayByte(IDirectSoundBuffer8* soundBuffer) {
    DWORD playByte = 0;
    DWORD writeByte = 0;
    if (soundBuffer == nullptr || FAILED(soundBuffer->GetCurrentPosition(&playByte, &writeByte))) {
        return std::nullopt;
    }
    return playByte;
}

} // namespace

// --- construction, creation, destruction

RendererAudioPlaybackBuffer::RendererAudioPlaybackBuffer(RendererAudioPlaybackDevice& device)
    : record_(std::make_unique<Record>(device)) {
    record_->dspState = CreateDspState();
}

RendererAudioPlaybackBuffer::~RendererAudioPlaybackBuffer() {
    ReleaseSoundBuffer();
}

bool RendererAudioPlaybackBuffer::HasSoundBuffer() const {
    return record_->soundBuffer != nullptr;
}

int RendererAudioPlaybackBuffer::CreateSoundBuffer(std::shared_ptr<FrameAud> const& frame) {
    boost::intrusive_ptr<IDirectSound8> const sound = record_->device->GetSound();
    if (sound == nullptr || frame == nullptr) {
        return Status::NothingToCreateWith;
    }
    record_->sourceFrequency = frame->GetFrequency();
    if (record_->sourceFrequency == 0) {
        return Status::Refused;
    }
    record_->ringSamples = Ring::LengthSamples;
    record_->bytesPerSample = Ring::SampleSizeBytes;
    record_->baseTimestamp.store(frame->GetTimestamp().NanoSec(), std::memory_order_relaxed);
    record_->nsPerSample = Ring::SamplePeriodNanoSec;

    record_->soundBuffer = CreatePlaybackSoundBuffer(*sound, frame->GetNumChannels());
    if (record_->soundBuffer == nullptr) {
        return Status::Refused;
    }
    record_->sound = sound;
    SetVolume(record_->volume, true);
    ApplyPan();
    record_->soundBuffer->SetCurrentPosition(0);
    record_->notify = QueryInterfaceOf<IDirectSoundNotify>(*record_->soundBuffer, IID_IDirectSoundNotify);
    record_->notifyPosition->hEventNotify = record_->device->AddBuffer(*this);
    ClearRange(0, record_->ringSamples);
    return Status::Success;
}

void RendererAudioPlaybackBuffer::ReleaseSoundBuffer() {
    record_->notify.reset();
    if (record_->soundBuffer != nullptr) {
        record_->device->RemoveBuffer(*this);
        record_->soundBuffer.reset();
        record_->sound.reset();
    }
}

// --- writing a frame

bool RendererAudioPlaybackBuffer::WriteFrame(std::shared_ptr<FrameAud> const& frame) {
    if (frame == nullptr) {
        return false;
    }
    record_->active.store(1, std::memory_order_relaxed);
    if (frame->GetFrequency() != record_->sourceFrequency) {
        RebuildForRate(frame);
    }
    // Without a ring, because no sound buffer was ever created, there is no place for the frame.
    if (record_->ringSamples == 0) {
        return false;
    }
    PlaceFrame(frame->GetTimestamp().NanoSec());
    JudgeGap();

    MediaCoding_t const coding = frame->GetCoding();
    Kovra::BufferInfo const* info = frame->GetConstBufferBegin();
    if (coding != MediaCoding_t::RawPcm) {
        if (!DecodeFrame(frame)) {
            return false;
        }
        info = record_->decodedFrame->GetConstBufferBegin();
    }
    std::uint8_t const* const data = info == nullptr ? nullptr : info->GetData();
    std::uint32_t const byteCount = info == nullptr ? 0 : info->GetLength();

    std::uint32_t const writePos = record_->writePos.load(std::memory_order_relaxed);
    bool const isWritten = CopyToRing(writePos, byteCount, data, coding);
    record_->writeEnd = (byteCount / record_->bytesPerSample + writePos) % record_->ringSamples;
    if (record_->notify != nullptr) {
        record_->notifyPosition->dwOffset = record_->writeEnd * record_->bytesPerSample;
    }
    return isWritten;
}

void RendererAudioPlaybackBuffer::RebuildForRate(std::shared_ptr<FrameAud> const& frame) {
    ReleaseSoundBuffer();
    CreateSoundBuffer(frame);
    WriteLog(*logger, LogLevel_t::Info, "AudioBuffer resetting frequency to %d",
             static_cast<int>(record_->sourceFrequency));
}

void RendererAudioPlaybackBuffer::PlaceFrame(std::int64_t timestampNanoSec) {
    // Read once: the playback thread may reset it meanwhile.
    std::int64_t base = record_->baseTimestamp.load(std::memory_order_relaxed);
    if (base == 0) {
        base = timestampNanoSec;
        record_->baseTimestamp.store(base, std::memory_order_relaxed);
    }
    std::int64_t const offsetNanoSec = Ring::WrappingDifference(timestampNanoSec, base);
    std::uint32_t position = 0;
    if (offsetNanoSec < 0) {
        ClearRange(0, record_->ringSamples);
        record_->baseTimestamp.store(timestampNanoSec, std::memory_order_relaxed);
    } else {
        position = Ring::PositionRoundedUpToEven(offsetNanoSec, record_->nsPerSample, record_->ringSamples);
    }
    record_->writePos.store(position, std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::JudgeGap() {
    std::uint32_t const gap = Ring::ForwardDistance(
        record_->writeEnd, record_->writePos.load(std::memory_order_relaxed), record_->ringSamples);
    switch (Ring::JudgeGap(gap, record_->ringSamples)) {
        case Ring::Gap_t::None:
            break;
        case Ring::Gap_t::Small:
            record_->writePos.store(record_->writeEnd, std::memory_order_relaxed);
            WriteLog(*logger, LogLevel_t::Info, "AudioBuffer ignoring small gap (%d samples)",
                     static_cast<int>(gap));
            break;
        case Ring::Gap_t::Loss:
            // Nothing is written, whatever the message says: the clearing of played data has left zeros
            // there (PlaybackBuffer_WriteFrame pins it).
            WriteLog(*logger, LogLevel_t::Info, "AudioBuffer packet loss, zero'ing %d samples",
                     static_cast<int>(gap));
            break;
    }
}

bool RendererAudioPlaybackBuffer::DecodeFrame(std::shared_ptr<FrameAud> const& frame) {
    record_->decodedFrame.reset();
    try {
        std::vector<std::shared_ptr<FrameAud>> decoded = record_->codec.Decode({frame});
        // The channel count of a frame that already has the ring's rate is left as it is.
        if (!decoded.empty() && decoded.front() != nullptr &&
            decoded.front()->GetFrequency() != Ring::NominalFrequencyHz) {
            decoded =
                record_->codec.Transcode(decoded, MediaCoding_t::RawPcm, DecodedChannels,
                                         Ring::NominalFrequencyHz, decoded.front()->GetDuration(), false);
        }
        if (!decoded.empty()) {
            record_->decodedFrame = std::move(decoded.back());
        }
    } catch (std::exception const&) {
        // A codec without memory has decoded nothing; what is in the ring is presented all the same.
    }
    return record_->decodedFrame != nullptr;
}

bool RendererAudioPlaybackBuffer::CopyToRing(std::uint32_t startPos, std::uint32_t byteCount,
                                             std::uint8_t const* data, MediaCoding_t coding) {
    // Nothing to write counts as a frame without data: DirectSound takes no empty lock.
    if (data == nullptr || byteCount == 0) {
        return false;
    }
    std::uint32_t const bytesPerSample = record_->bytesPerSample;
    auto const lock =
        RendererAudioRingLock::Acquire(record_->soundBuffer.get(), startPos * bytesPerSample, byteCount);
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
    // A region of one byte, from an odd byte count, holds no sample.
    if (lastBytes >= bytesPerSample) {
        std::memcpy(&record_->lastSample, last + lastBytes - bytesPerSample, sizeof(record_->lastSample));
    }
    return true;
}

bool RendererAudioPlaybackBuffer::ClearRange(std::uint32_t startPos, std::uint32_t count) {
    std::uint32_t const bytesPerSample = record_->bytesPerSample;
    {
        auto const lock = RendererAudioRingLock::Acquire(record_->soundBuffer.get(),
                                                         startPos * bytesPerSample, count * bytesPerSample);
        if (!lock) {
            return false;
        }
        Primitives::ZeroBytes(lock->GetFirst(), static_cast<std::int32_t>(lock->GetFirstBytes()));
        if (lock->GetSecond() != nullptr) {
            Primitives::ZeroBytes(lock->GetSecond(), static_cast<std::int32_t>(lock->GetSecondBytes()));
        }
    }
    record_->clearedEnd.store((startPos + count) % record_->ringSamples, std::memory_order_relaxed);
    return true;
}

void RendererAudioPlaybackBuffer::ClearPlayed(std::uint32_t playPos) {
    std::uint32_t const clearedEnd = record_->clearedEnd.load(std::memory_order_relaxed);
    std::uint32_t const count = Ring::ClearableSamples(clearedEnd, playPos, record_->ringSamples);
    if (count != 0) {
        ClearRange(clearedEnd, count);
    }
}

// --- presentation

void RendererAudioPlaybackBuffer::Present(Kovra::JiffyTime& presentationTime) {
    IDirectSoundBuffer8* const soundBuffer = record_->soundBuffer.get();
    Kovra::JiffyTime const now = Kovra::JiffyTime::Now();
    std::int64_t const aheadNanoSec = presentationTime.GetDiffSysTime(now).NanoSec();
    if (aheadNanoSec < 0) {
        WriteLog(*logger, LogLevel_t::Info, "AudioBuffer presentation requested in the past, stopping");
        if (soundBuffer != nullptr) {
            soundBuffer->Stop();
        }
        return;
    }
    DWORD status = 0;
    if (soundBuffer == nullptr || FAILED(soundBuffer->GetStatus(&status))) {
        return;
    }
    std::uint32_t const writePos = record_->writePos.load(std::memory_order_relaxed);
    std::uint32_t const aheadSamples = Ring::SamplesAheadTruncated(aheadNanoSec, record_->nsPerSample);
    std::uint32_t const startPos = Ring::StartPosition(writePos, aheadSamples, record_->ringSamples);

    if ((status & DSBSTATUS_PLAYING) == 0) {
        StartPlayback(startPos);
        record_->lastPresentTime.store(now, std::memory_order_relaxed);
        return;
    }
    auto const playByte = ReadPlayByte(soundBuffer);
    if (!playByte) {
        record_->lastPresentTime.store(now, std::memory_order_relaxed);
        return;
    }
    std::uint32_t const playPos = *playByte / record_->bytesPerSample;
    ClearPlayed(playPos);
    std::uint32_t const lag = Ring::ForwardDistance(playPos, writePos, record_->ringSamples);
    if (Ring::IsLagBeyondLimit(lag, record_->ringSamples)) {
        WriteLog(*logger, LogLevel_t::Info, "AudioBuffer timestamp drift too high, resetting");
        JumpTo(startPos);
    } else {
        ControlDrift(now, lag, aheadSamples);
    }
    presentationTime = now.AddMilliSec(Ring::MilliSecTruncated(lag, record_->nsPerSample));
    record_->lastPresentTime.store(now, std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::StartPlayback(std::uint32_t startPos) {
    WriteLog(*logger, LogLevel_t::Info, "AudioBuffer playback started");
    JumpTo(startPos);
    // Without the interface, because its query failed, playback starts all the same: the buffer is then
    // serviced by the playback thread's timeout alone.
    if (record_->notify != nullptr) {
        record_->notify->SetNotificationPositions(1, record_->notifyPosition.get());
    }
    ApplyVolume();
    record_->soundBuffer->Play(0, 0, DSBPLAY_LOOPING);
}

void RendererAudioPlaybackBuffer::JumpTo(std::uint32_t startPos) {
    record_->soundBuffer->SetCurrentPosition(startPos * record_->bytesPerSample);
    record_->soundBuffer->SetFrequency(Ring::NominalFrequencyHz);
    record_->playFrequency = Ring::NominalFrequencyHz;
}

void RendererAudioPlaybackBuffer::ControlDrift(Kovra::JiffyTime now, std::uint32_t lagSamples,
                                               std::uint32_t aheadSamples) {
    if (record_->expectedLagSum == 0 ||
        !Drift::IsWindowOver(now.GetDiffMilliSec32(record_->driftWindowStart))) {
        record_->measuredLagSum += lagSamples;
        record_->expectedLagSum += aheadSamples;
        return;
    }
    std::uint32_t const target = Drift::FrequencyForSums(record_->measuredLagSum, record_->expectedLagSum);
    if (target != record_->playFrequency) {
        record_->playFrequency = target;
        record_->soundBuffer->SetFrequency(target);
        WriteLog(*logger, LogLevel_t::Debug, "Adjusting audio frequency to %d Hz", static_cast<int>(target));
    }
    record_->driftWindowStart = now;
    record_->measuredLagSum = 0;
    record_->expectedLagSum = 0;
}

// --- the service pass

void RendererAudioPlaybackBuffer::Service() {
    if (record_->active.load(std::memory_order_relaxed) != 0) {
        std::int32_t const idleMilliSec = Kovra::JiffyTime::Now().GetDiffMilliSec32(
            record_->lastPresentTime.load(std::memory_order_relaxed));
        bool const hasNewFrame =
            record_->writePos.load(std::memory_order_relaxed) != record_->lastServicedWritePos;
        if (idleMilliSec > IdleLimitMilliSec && !hasNewFrame) {
            StopIdle(idleMilliSec);
        } else if (idleMilliSec > IdleGraceMilliSec) {
            if (auto const playByte = ReadPlayByte(record_->soundBuffer.get())) {
                ClearPlayed(*playByte / record_->bytesPerSample);
            }
        }
    }
    record_->lastServicedWritePos = record_->writePos.load(std::memory_order_relaxed);
}

void RendererAudioPlaybackBuffer::StopIdle(std::int32_t idleMilliSec) {
    record_->active.store(0, std::memory_order_relaxed);
    if (record_->soundBuffer != nullptr) {
        record_->soundBuffer->SetVolume(Levels::SilenceHundredthDb);
        record_->soundBuffer->Stop();
    }
    record_->baseTimestamp.store(0, std::memory_order_relaxed);
    ClearRange(0, record_->ringSamples);
    WriteLog(*logger, LogLevel_t::Info, "Idle AudioBuffer playback stopped (%u ms)",
             static_cast<unsigned int>(idleMilliSec));
}

// --- volume and balance

void RendererAudioPlaybackBuffer::SetVolume(float volume, bool force) {
    if (!force && volume == record_->volume) {
        return;
    }
    record_->volume = volume;
    ApplyVolume();
}

void RendererAudioPlaybackBuffer::SetPan(float pan) {
    if (pan == record_->pan) {
        return;
    }
    record_->pan = pan;
    ApplyPan();
}

void RendererAudioPlaybackBuffer::ApplyVolume() {
    if (record_->soundBuffer != nullptr) {
        record_->soundBuffer->SetVolume(Levels::AttenuationForVolume(record_->volume));
    }
}

void RendererAudioPlaybackBuffer::ApplyPan() {
    if (record_->soundBuffer != nullptr) {
        record_->soundBuffer->SetPan(Levels::PanForBalance(record_->pan));
    }
}

} // namespace Media
