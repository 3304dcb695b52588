#include "model/playbackmodel.h"

#include <cmath>
#include <cstring>
#include <limits>

#include "support/facts.h"

namespace ModelTest {

namespace {

using Facts::NanoSecPerMilliSec;

constexpr std::uint32_t Raw = 0x300;
constexpr std::uint32_t HeardCodings[] = {0x300, 0x301, 0x304};
constexpr std::uint8_t NewRingByte = 0xA5;
constexpr std::uint32_t MaxChannels = 2;
constexpr std::int32_t Silence = -10000;

/// Saturating, as the clock's difference is.
std::int64_t DifferenceNanoSec(std::int64_t later, std::int64_t earlier) {
    if (earlier < 0 && later > std::numeric_limits<std::int64_t>::max() + earlier) {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (earlier > 0 && later < std::numeric_limits<std::int64_t>::min() + earlier) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return later - earlier;
}

std::int32_t DifferenceMilliSec(std::int64_t later, std::int64_t earlier) {
    std::int64_t const milliSec = DifferenceNanoSec(later, earlier) / NanoSecPerMilliSec;
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(static_cast<std::uint64_t>(milliSec)));
}

/// `a` minus `b` on a ring.
std::uint32_t Minus(std::uint32_t a, std::uint32_t b, std::uint32_t ring) {
    std::int64_t const difference = (std::int64_t{a} - b) % ring;
    return static_cast<std::uint32_t>(difference < 0 ? difference + ring : difference);
}

/// What is no number counts as the lower bound.
double Clamp(double value) {
    if (!(value > 0.0)) {
        return 0.0;
    }
    return value > 1.0 ? 1.0 : value;
}

/// The low 16 bits, as the format's fields keep them.
std::uint32_t Word(std::uint32_t value) {
    return value % 65536;
}

} // namespace

PlaybackModel::PlaybackModel(Rules const& rules, Trace& trace, std::int64_t nowNanoSec)
    : rules_(rules), trace_(trace) {
    record.lastPresentTime = nowNanoSec;
    record.driftWindowStart = nowNanoSec;
}

void PlaybackModel::Log(int level, std::string message) {
    trace_.logs.push_back({"Media.RendererAudioPlaybackBuffer", level, std::move(message), ""});
}

// --- the sound buffer

void PlaybackModel::CreateSound(IncomingFrame const& frame) {
    record.sourceFrequency = frame.rate;
    if (frame.rate == 0) {
        return;
    }
    record.ringSamples = rules_.ringSamples;
    record.bytesPerSample = 2;
    record.baseTimestamp = frame.timestampNanoSec;
    record.nsPerSample = rules_.samplePeriodNanoSec;

    std::uint32_t const channels = Word(frame.channels);
    std::uint32_t const bytes = 5 * Word(2 * frame.channels) * 48000;
    std::uint32_t const made =
        trace_.Issue(Call_t::SoundCreateSoundBuffer, 1, {rules_.soundBufferFlags, bytes}, [&] {
            if (channels > MaxChannels) {
                return BadFormat;
            }
            sound = SoundModel();
            sound.number = ++soundCount_;
            sound.ring.assign(bytes, NewRingByte);
            changes.clear();
            return Ok;
        });
    if (HasFailed(made)) {
        return;
    }
    bool const isKnown = !HasFailed(trace_.Issue(Call_t::BufferQueryBuffer8, sound.number));
    trace_.Issue(Call_t::BufferRelease, sound.number);
    if (!isKnown) {
        return;
    }
    record.hasSound = true;
    ApplyVolume();
    ApplyPan();
    trace_.Issue(Call_t::BufferSetCurrentPosition, sound.number, {0});
    record.hasNotify = !HasFailed(trace_.Issue(Call_t::BufferQueryNotify, sound.number));
    record.notifyEvent = trace_.MakeEvent();
    trace_.SetEvent(Trace::PlaybackWakeEvent);
    Clear(0, record.ringSamples);
}

void PlaybackModel::ReleaseSound() {
    if (record.hasNotify) {
        record.hasNotify = false;
        trace_.Issue(Call_t::NotifyRelease, sound.number);
    }
    if (record.hasSound) {
        trace_.SetEvent(Trace::PlaybackWakeEvent);
        trace_.CloseEvent(record.notifyEvent);
        record.hasSound = false;
        trace_.Issue(Call_t::BufferRelease, sound.number);
        sound.isPlaying = false;
    }
}

void PlaybackModel::Lose() {
    sound.isPlaying = false;
    sound.isLost = true;
}

// --- writing

bool PlaybackModel::Render(IncomingFrame const& frame, std::int64_t& presentation, std::int64_t nowNanoSec,
                           std::uint32_t playByte) {
    if (!record.hasSound) {
        CreateSound(frame);
    }
    if (!record.hasSound) {
        return false;
    }
    bool const isWritten = Write(frame);
    if (isWritten || rules_.isPresentedAfterFailedWrite) {
        Present(presentation, nowNanoSec, playByte);
    }
    return isWritten;
}

bool PlaybackModel::Write(IncomingFrame const& frame) {
    record.active = 1;
    if (frame.rate != record.sourceFrequency) {
        ReleaseSound();
        CreateSound(frame);
        Log(1, "AudioBuffer resetting frequency to " +
                   std::to_string(static_cast<std::int32_t>(record.sourceFrequency)));
    }
    Place(frame.timestampNanoSec);
    CloseGap();

    Bytes samples = frame.samples;
    if (frame.coding != Raw) {
        if (!Decode(frame)) {
            return false;
        }
        samples = record.decoded;
    }
    bool const isWritten = Copy(samples, frame.coding);
    record.writeEnd = (samples.count / 2 + record.writePos) % record.ringSamples;
    if (record.hasNotify) {
        record.notifyByte = 2 * record.writeEnd;
    }
    return isWritten;
}

void PlaybackModel::Place(std::int64_t timestampNanoSec) {
    if (record.baseTimestamp == 0) {
        record.baseTimestamp = timestampNanoSec;
    }
    // Timestamps come from outside: their difference wraps like a counter's.
    auto const distance = static_cast<std::int64_t>(static_cast<std::uint64_t>(timestampNanoSec) -
                                                    static_cast<std::uint64_t>(record.baseTimestamp));
    if (distance < 0) {
        if (rules_.isRingClearedForEarlierFrame) {
            Clear(0, record.ringSamples);
        }
        record.baseTimestamp = timestampNanoSec;
        record.writePos = 0;
        return;
    }
    std::int64_t position = distance % rules_.ringTimeSpanNanoSec / record.nsPerSample;
    if (rules_.hasEvenPositions && position % 2 == 1) {
        ++position;
    }
    record.writePos = static_cast<std::uint32_t>(position % record.ringSamples);
}

void PlaybackModel::CloseGap() {
    std::uint32_t const gap = Minus(record.writePos, record.writeEnd, record.ringSamples);
    if (gap == 0 || gap >= rules_.lossLimitSamples) {
        return;
    }
    if (gap <= rules_.smallGapSamples) {
        record.writePos = record.writeEnd;
        Log(1, "AudioBuffer ignoring small gap (" + std::to_string(gap) + " samples)");
        return;
    }
    Log(1, "AudioBuffer packet loss, zero'ing " + std::to_string(gap) + " samples");
    if (rules_.isLossZeroed) {
        Clear(record.writeEnd, gap);
    }
}

bool PlaybackModel::Decode(IncomingFrame const& frame) {
    record.hasDecoded = false;
    record.decoded = Bytes();
    trace_.codec.emplace_back();
    std::vector<DecodedFrame> const* frames = &frame.decoded;
    if (!frames->empty() && frames->front().rate != 48000) {
        CodecLine line;
        line.isTranscode = true;
        line.coding = Raw;
        line.channels = 1;
        line.frequency = 48000;
        line.durationNanoSec = frames->front().durationNanoSec;
        trace_.codec.push_back(line);
        frames = &frame.transcoded;
    }
    if (!frames->empty() && !frames->back().isNull) {
        record.hasDecoded = true;
        record.decoded = frames->back().samples;
    }
    return record.hasDecoded;
}

bool PlaybackModel::Copy(Bytes samples, std::uint32_t coding) {
    // DirectSound takes no empty lock: nothing to write is a frame without data, and nothing is asked.
    Regions regions;
    if (samples.data == nullptr || samples.count == 0 || !Lock(2 * record.writePos, samples.count, regions)) {
        return false;
    }
    for (std::uint32_t const heard : HeardCodings) {
        if (coding == heard) {
            Put(regions.first, samples.data, regions.firstBytes);
            if (regions.hasSecond) {
                Put(regions.second, samples.data + regions.firstBytes, regions.secondBytes);
            }
        }
    }
    bool const isLastInSecond = regions.hasSecond && rules_.isLastSampleFromSecondRegion;
    std::uint32_t const last = isLastInSecond ? regions.second : regions.first;
    std::uint32_t const lastBytes = isLastInSecond ? regions.secondBytes : regions.firstBytes;
    if (lastBytes >= 2) {
        std::memcpy(&record.lastSample, &sound.ring[last + lastBytes - 2], 2);
    }
    Unlock(regions);
    return true;
}

bool PlaybackModel::Clear(std::uint32_t position, std::uint32_t count) {
    Regions regions;
    if (!Lock(2 * position, 2 * count, regions)) {
        return false;
    }
    Put(regions.first, nullptr, regions.firstBytes);
    if (regions.hasSecond) {
        Put(regions.second, nullptr, regions.secondBytes);
    }
    Unlock(regions);
    record.clearedEnd = (position + count) % record.ringSamples;
    return true;
}

void PlaybackModel::ClearPlayed(std::uint32_t play) {
    std::uint32_t const played = Minus(play, record.clearedEnd, record.ringSamples);
    if (played >= rules_.clearingThresholdSamples) {
        Clear(record.clearedEnd, played - played % rules_.clearingGranuleSamples);
    }
}

bool PlaybackModel::Lock(std::uint32_t byte, std::uint32_t count, Regions& regions) {
    if (!record.hasSound) {
        return false;
    }
    std::uint32_t result = TryLock(byte, count, regions);
    if (result == BufferLost && rules_.isLostBufferRestored) {
        trace_.IssueSet(Call_t::BufferRestore, sound.number, {}, sound.isLost, false);
        result = TryLock(byte, count, regions);
    }
    return !HasFailed(result);
}

std::uint32_t PlaybackModel::TryLock(std::uint32_t byte, std::uint32_t count, Regions& regions) {
    return trace_.Issue(Call_t::BufferLock, sound.number, {byte, count}, [&] {
        auto const size = static_cast<std::uint32_t>(sound.ring.size());
        if (sound.isLost) {
            return BufferLost;
        }
        if (byte >= size || count == 0 || count > size) {
            return InvalidArgument;
        }
        std::uint32_t const toEnd = size - byte;
        std::uint32_t const fromSplit =
            lockSplitBytes_ != 0 && lockSplitBytes_ < count ? lockSplitBytes_ : count;
        regions.first = byte;
        regions.firstBytes = count > toEnd ? toEnd : fromSplit;
        regions.hasSecond = regions.firstBytes < count;
        regions.second = regions.hasSecond ? (byte + regions.firstBytes) % size : 0;
        regions.secondBytes = count - regions.firstBytes;
        return Ok;
    });
}

void PlaybackModel::Unlock(Regions const& regions) {
    trace_.Issue(Call_t::BufferUnlock, sound.number, {regions.firstBytes, regions.secondBytes});
}

void PlaybackModel::Put(std::uint32_t byte, std::uint8_t const* data, std::uint32_t count) {
    if (count == 0) {
        return;
    }
    if (data == nullptr) {
        std::memset(&sound.ring[byte], 0, count);
    } else {
        std::memcpy(&sound.ring[byte], data, count);
    }
    changes.emplace_back(byte, count);
}

// --- presentation

void PlaybackModel::Present(std::int64_t& presentation, std::int64_t nowNanoSec, std::uint32_t playByte) {
    std::int64_t const aheadNanoSec = DifferenceNanoSec(presentation, nowNanoSec);
    if (aheadNanoSec <= rules_.pastLimitNanoSec) {
        Log(1, "AudioBuffer presentation requested in the past, stopping");
        if (record.hasSound) {
            StopSound();
        }
        return;
    }
    if (!record.hasSound || HasFailed(trace_.Issue(Call_t::BufferGetStatus, sound.number))) {
        return;
    }
    auto const ahead =
        static_cast<std::uint32_t>(aheadNanoSec % rules_.ringTimeSpanNanoSec / record.nsPerSample);
    // In 32 bits without sign, which matters for the last samples before five seconds.
    std::uint32_t const start = (record.writePos - ahead + record.ringSamples) % record.ringSamples;
    if (!sound.isPlaying) {
        Start(start);
        record.lastPresentTime = nowNanoSec;
        return;
    }
    if (HasFailed(trace_.Issue(Call_t::BufferGetCurrentPosition, sound.number))) {
        record.lastPresentTime = nowNanoSec;
        return;
    }
    std::uint32_t const play = playByte / 2;
    ClearPlayed(play);
    std::uint32_t const lag = Minus(record.writePos, play, record.ringSamples);
    if (lag > rules_.lagLimitSamples) {
        Log(1, "AudioBuffer timestamp drift too high, resetting");
        Jump(start);
        if (rules_.isWindowRestartedByReset) {
            record.driftWindowStart = nowNanoSec;
            record.measuredLagSum = 0;
            record.expectedLagSum = 0;
        }
    } else {
        ControlDrift(nowNanoSec, lag, ahead);
    }
    presentation =
        nowNanoSec + std::int64_t{lag} * record.nsPerSample / NanoSecPerMilliSec * NanoSecPerMilliSec;
    record.lastPresentTime = nowNanoSec;
}

void PlaybackModel::Start(std::uint32_t position) {
    Log(1, "AudioBuffer playback started");
    Jump(position);
    if (record.hasNotify) {
        trace_.Issue(Call_t::NotifySetNotificationPositions, sound.number,
                     {1, record.notifyByte, record.notifyEvent});
    }
    if (rules_.isVolumeRestoredAtStart) {
        ApplyVolume();
    }
    trace_.Issue(Call_t::BufferPlay, sound.number, {1}, [&] {
        if (sound.isLost) {
            return BufferLost;
        }
        sound.isPlaying = true;
        return Ok;
    });
}

void PlaybackModel::Jump(std::uint32_t position) {
    trace_.Issue(Call_t::BufferSetCurrentPosition, sound.number, {2 * position});
    SetSoundFrequency(rules_.nominalFrequencyHz);
}

void PlaybackModel::SetSoundFrequency(std::uint32_t hertz) {
    record.playFrequency = hertz;
    trace_.IssueSet(Call_t::BufferSetFrequency, sound.number, {hertz}, sound.frequency, hertz);
}

void PlaybackModel::ControlDrift(std::int64_t nowNanoSec, std::uint32_t lag, std::uint32_t ahead) {
    std::int32_t const windows =
        DifferenceMilliSec(nowNanoSec, record.driftWindowStart) / rules_.windowMilliSec;
    if (record.expectedLagSum == 0 || windows == 0) {
        record.measuredLagSum += lag;
        record.expectedLagSum += ahead;
        return;
    }
    if (rules_.isVerdictWithCurrentLag) {
        record.measuredLagSum += lag;
        record.expectedLagSum += ahead;
    }
    double const ratio =
        static_cast<double>(record.measuredLagSum) / static_cast<double>(record.expectedLagSum);
    std::uint32_t target = rules_.nominalFrequencyHz;
    if (ratio < rules_.lowerRatio) {
        target = rules_.slowFrequencyHz;
    } else if (ratio > rules_.upperRatio) {
        target = rules_.fastFrequencyHz;
    }
    if (target != record.playFrequency) {
        SetSoundFrequency(target);
        Log(0, "Adjusting audio frequency to " + std::to_string(target) + " Hz");
    }
    record.driftWindowStart = nowNanoSec;
    record.measuredLagSum = 0;
    record.expectedLagSum = 0;
}

// --- the service pass

void PlaybackModel::Service(std::int64_t nowNanoSec, std::uint32_t playByte) {
    if (record.active != 0) {
        std::int32_t const idle = DifferenceMilliSec(nowNanoSec, record.lastPresentTime);
        bool const isNew =
            rules_.doesNewFramePreventIdleStop && record.writePos != record.lastServicedWritePos;
        if (idle > rules_.idleGraceMilliSec) {
            if (idle <= rules_.idleLimitMilliSec || isNew) {
                if (!HasFailed(trace_.Issue(Call_t::BufferGetCurrentPosition, sound.number))) {
                    ClearPlayed(playByte / 2);
                }
            } else {
                StopIdle(idle);
            }
        }
    }
    record.lastServicedWritePos = record.writePos;
}

void PlaybackModel::StopIdle(std::int32_t idleMilliSec) {
    record.active = 0;
    SetSoundVolume(Silence);
    StopSound();
    record.baseTimestamp = 0;
    Clear(0, record.ringSamples);
    Log(1, "Idle AudioBuffer playback stopped (" + std::to_string(idleMilliSec) + " ms)");
}

void PlaybackModel::StopSound() {
    trace_.IssueSet(Call_t::BufferStop, sound.number, {}, sound.isPlaying, false);
}

// --- levels

void PlaybackModel::ApplyClientState(float volume, float balance) {
    // Not a number differs from itself too.
    if (balance != record.pan) {
        record.pan = balance;
        if (record.hasSound) {
            ApplyPan();
        }
    }
    if (volume != record.volume) {
        record.volume = volume;
        if (record.hasSound) {
            ApplyVolume();
        }
    }
}

void PlaybackModel::SetSoundVolume(std::int32_t volume) {
    trace_.IssueSet(Call_t::BufferSetVolume, sound.number, {volume}, sound.volume, volume);
}

void PlaybackModel::ApplyVolume() {
    double const gain = std::pow(record.volume, rules_.volumeExponent);
    SetSoundVolume(-10000 - static_cast<std::int32_t>(Clamp(gain) * -10000.0));
}

void PlaybackModel::ApplyPan() {
    std::int32_t const pan = -10000 - static_cast<std::int32_t>(Clamp(record.pan) * -rules_.panSpan);
    trace_.IssueSet(Call_t::BufferSetPan, sound.number, {pan}, sound.pan, pan);
}

} // namespace ModelTest
