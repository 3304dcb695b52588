#include "simulation/device/soundbuffer.h"

#include <algorithm>

namespace Simulation {

namespace {

// The headers give it as a signed number.
constexpr DWORD OffsetStop = static_cast<DWORD>(DSBPN_OFFSETSTOP);

} // namespace

SoundBuffer::SoundBuffer(Machine& machine, PlaybackEndpoint& endpoint, std::uint32_t number,
                         DSBUFFERDESC const& description)
    : DeviceBuffer(machine, endpoint, "sound buffer", number, *description.lpwfxFormat, description.dwFlags,
                   description.dwBufferBytes, RingMemory::Access_t::Write),
      endpoint_(endpoint),
      frequency_(description.lpwfxFormat->nSamplesPerSec) {
    ApplySettings();
}

// --- cursor, speaker, events

void SoundBuffer::CatchUp(std::int64_t nanoSec) {
    if (speaker_ == nullptr) {
        cursor_.AdvanceTo(nanoSec);
        return;
    }
    CursorClock const before = cursor_;
    cursor_.AdvanceTo(nanoSec);
    if (isPlaying_ && nanoSec >= before.NanoSec()) {
        Hear(before, std::min(cursor_.Frame(), endFrame_ - 1));
    }
}

void SoundBuffer::Hear(CursorClock const& before, std::int64_t frame) {
    if (frame < nextUnheardFrame_) {
        return;
    }
    if (!speaker_->IsContinuing()) {
        HeardRun run;
        run.clock = before;
        run.startNanoSec = before.TimeOf(nextUnheardFrame_);
        run.clock.AdvanceTo(run.startNanoSec);
        run.ringFrame = static_cast<std::uint32_t>(nextUnheardFrame_ % RingFrames());
        run.frequencyHz = frequency_;
        run.volume = volume_;
        run.pan = pan_;
        speaker_->Begin(run);
    }
    auto const* const samples = reinterpret_cast<std::int16_t const*>(ring_.Committed());
    while (nextUnheardFrame_ <= frame) {
        std::int64_t const ringFrame = nextUnheardFrame_ % RingFrames();
        std::int64_t const count = std::min(frame + 1 - nextUnheardFrame_, RingFrames() - ringFrame);
        speaker_->Hear(samples + ringFrame * format_.nChannels, static_cast<std::size_t>(count));
        nextUnheardFrame_ += count;
    }
}

void SoundBuffer::Schedule(std::int64_t fromFrame) {
    nextEventNanoSec_ = INT64_MAX;
    if (isPlaying_) {
        std::int64_t const ringFrame = fromFrame % RingFrames();
        std::int64_t distance = isLooping_ ? INT64_MAX : endFrame_ - fromFrame;
        for (NotificationPoint const& point : positions_) {
            if (point.ringFrame > ringFrame) {
                distance = std::min(distance, point.ringFrame - ringFrame);
            } else if (isLooping_) {
                distance = std::min(distance, point.ringFrame + RingFrames() - ringFrame);
            }
        }
        if (distance != INT64_MAX) {
            nextEventFrame_ = fromFrame + distance;
            nextEventNanoSec_ = cursor_.TimeOf(nextEventFrame_);
        }
    }
    machine_.Reschedule();
}

void SoundBuffer::RunEvent(std::int64_t nanoSec) {
    CatchUp(nanoSec);
    std::int64_t const frame = nextEventFrame_;
    if (frame == endFrame_) {
        Halt();
        cursor_.SetFrame(0);
        return;
    }
    // The next one is found first: a signalled thread may come back here.
    Schedule(frame);
    for (NotificationPoint const& point : positions_) {
        if (point.ringFrame == frame % RingFrames()) {
            Signal(point.event);
        }
    }
}

void SoundBuffer::Signal(HANDLE event) {
    ++(machine_.Notify(event) ? firedNotifications_ : droppedNotifications_);
}

void SoundBuffer::Halt() {
    bool const wasPlaying = isPlaying_;
    Retire();
    if (wasPlaying) {
        for (DSBPOSITIONNOTIFY const& point : points_) {
            if (point.dwOffset == OffsetStop) {
                Signal(point.hEventNotify);
            }
        }
    }
}

void SoundBuffer::Retire() {
    isPlaying_ = false;
    isLooping_ = false;
    endFrame_ = INT64_MAX;
    cursor_.Stop();
    if (speaker_ != nullptr) {
        speaker_->Break();
    }
    Schedule();
}

void SoundBuffer::ApplySettings() {
    CatchUp();
    cursor_.SetRate(frequency_, endpoint_.skewPartsPerBillion);
    if (speaker_ != nullptr) {
        speaker_->Break();
    }
    Schedule();
}

// --- what the module asks for

HRESULT SoundBuffer::GetCaps(DSBCAPS* caps) const {
    if (caps == nullptr || caps->dwSize < sizeof(DSBCAPS)) {
        return DSERR_INVALIDPARAM;
    }
    caps->dwFlags = flags_;
    caps->dwBufferBytes = ring_.Size();
    caps->dwUnlockTransferRate = 0;
    caps->dwPlayCpuOverhead = 0;
    return DS_OK;
}

HRESULT SoundBuffer::GetCurrentPosition(DWORD* play, DWORD* write) {
    if (play == nullptr && write == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    std::int64_t const reported = endpoint_.ReportedFrame(cursor_.Frame(), stepOrigin_);
    if (play != nullptr) {
        *play = ByteOf(reported);
    }
    if (write != nullptr) {
        *write = ByteOf(reported + (isPlaying_ ? endpoint_.leadFrames : 0));
    }
    return DS_OK;
}

HRESULT SoundBuffer::GetControl(DWORD flag, LONG control, LONG* value) const {
    if ((flags_ & flag) == 0) {
        return DSERR_CONTROLUNAVAIL;
    }
    if (value == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    *value = control;
    return DS_OK;
}

HRESULT SoundBuffer::GetFrequency(DWORD* frequency) const {
    if (frequency == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    *frequency = frequency_;
    return DS_OK;
}

HRESULT SoundBuffer::GetStatus(DWORD* status) {
    if (status == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    *status = (isPlaying_ ? DSBSTATUS_PLAYING : 0U) | (isLooping_ ? DSBSTATUS_LOOPING : 0U) |
              (isLost_ ? DSBSTATUS_BUFFERLOST : 0U);
    return DS_OK;
}

HRESULT SoundBuffer::Lock(DWORD offset, DWORD bytes, RingMemory::Region& first, RingMemory::Region& second,
                          bool mayWrap, DWORD flags) {
    if (isLost_) {
        return DSERR_BUFFERLOST;
    }
    if ((flags & DSBLOCK_FROMWRITECURSOR) != 0) {
        GetCurrentPosition(nullptr, &offset);
    }
    if ((flags & DSBLOCK_ENTIREBUFFER) != 0) {
        bytes = ring_.Size();
    }
    if (!ring_.Contains(offset, bytes)) {
        return DSERR_INVALIDPARAM;
    }
    if (endpoint_.doLocksExclude) {
        WaitForForeignLocks(offset, bytes);
    }
    OpenLock(offset, bytes, mayWrap, first, second);
    return DS_OK;
}

void SoundBuffer::WaitForForeignLocks(std::uint32_t offset, std::uint32_t bytes) {
    PlatformLock held(PlatformMutex(), std::adopt_lock);
    unlocked_.wait(held, [&] { return !ring_.HasForeignLock(offset, bytes); });
    held.release();
}

HRESULT SoundBuffer::Unlock(RingMemory::Region first, RingMemory::Region second) {
    if (speaker_ != nullptr) {
        // What passed under the cursor so far was heard as it stood before this lock.
        CatchUp();
    }
    bool const isRight = CloseLock(first, second);
    unlocked_.notify_all();
    if (!isRight) {
        return DSERR_INVALIDPARAM;
    }
    return isLost_ ? DSERR_BUFFERLOST : DS_OK;
}

HRESULT SoundBuffer::Play(DWORD reserved, DWORD priority, DWORD flags) {
    if (reserved != 0 || priority != 0 || (flags & ~static_cast<DWORD>(DSBPLAY_LOOPING)) != 0) {
        return DSERR_INVALIDPARAM;
    }
    if (isLost_) {
        return DSERR_BUFFERLOST;
    }
    CatchUp();
    if (!isPlaying_) {
        isPlaying_ = true;
        std::int64_t const frame = cursor_.Frame() % RingFrames();
        cursor_.SetFrame(frame);
        cursor_.Start(Now() + endpoint_.startDelayNanoSec);
        stepOrigin_ = frame;
        nextUnheardFrame_ = frame;
    }
    isLooping_ = (flags & DSBPLAY_LOOPING) != 0;
    endFrame_ = isLooping_ ? INT64_MAX : cursor_.Frame() - cursor_.Frame() % RingFrames() + RingFrames();
    Schedule();
    return DS_OK;
}

HRESULT SoundBuffer::SetCurrentPosition(DWORD byte) {
    if (byte >= ring_.Size()) {
        return DSERR_INVALIDPARAM;
    }
    CatchUp();
    cursor_.SetFrame(byte / format_.nBlockAlign);
    stepOrigin_ = cursor_.Frame();
    nextUnheardFrame_ = cursor_.Frame();
    endFrame_ = isPlaying_ && !isLooping_ ? RingFrames() : INT64_MAX;
    if (speaker_ != nullptr) {
        speaker_->Break();
    }
    Schedule();
    return DS_OK;
}

HRESULT SoundBuffer::SetControl(DWORD flag, LONG& control, LONG lowest, LONG highest, LONG value) {
    if ((flags_ & flag) == 0) {
        return DSERR_CONTROLUNAVAIL;
    }
    if (value < lowest || value > highest) {
        return DSERR_INVALIDPARAM;
    }
    if (speaker_ != nullptr && value != control) {
        CatchUp();
        speaker_->Break();
    }
    control = value;
    return DS_OK;
}

HRESULT SoundBuffer::SetFrequency(DWORD frequency) {
    if ((flags_ & DSBCAPS_CTRLFREQUENCY) == 0) {
        return DSERR_CONTROLUNAVAIL;
    }
    DWORD const wanted = frequency == DSBFREQUENCY_ORIGINAL ? format_.nSamplesPerSec : frequency;
    if (wanted < DSBFREQUENCY_MIN || wanted > DSBFREQUENCY_MAX) {
        return DSERR_INVALIDPARAM;
    }
    if (wanted != frequency_) {
        CatchUp();
        frequency_ = wanted;
        ApplySettings();
    }
    return DS_OK;
}

HRESULT SoundBuffer::Stop() {
    CatchUp();
    Halt();
    return DS_OK;
}

HRESULT SoundBuffer::Restore() {
    isLost_ = false;
    return DS_OK;
}

HRESULT SoundBuffer::SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points) {
    if (count > DSBNOTIFICATIONS_MAX || (count != 0 && points == nullptr)) {
        return DSERR_INVALIDPARAM;
    }
    if (isPlaying_) {
        return DSERR_INVALIDCALL;
    }
    std::vector<NotificationPoint> positions;
    for (DWORD i = 0; i < count; ++i) {
        if (!machine_.MayBeNotified(points[i].hEventNotify)) {
            ReportMisuse("a notification point with a handle that is no event");
            return DSERR_INVALIDPARAM;
        }
        if (points[i].dwOffset == OffsetStop) {
            continue;
        }
        if (points[i].dwOffset >= ring_.Size()) {
            return DSERR_INVALIDPARAM;
        }
        positions.push_back(
            {static_cast<std::int64_t>(points[i].dwOffset / format_.nBlockAlign), points[i].hEventNotify});
    }
    points_.assign(points, points + count);
    positions_ = std::move(positions);
    return DS_OK;
}

} // namespace Simulation
