#include "model/capturemodel.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace ModelTest {

namespace {

constexpr std::uint32_t RingSamples = 240000;
constexpr std::uint32_t RingBytes = 480000;
constexpr std::int64_t WaveMapped = 0x80000000;

constexpr int Refused = -1;
constexpr int NothingRead = -10;
constexpr int NoBuffer = -27;
constexpr int TooFew = -30;
constexpr int AlreadyCreated = -43;

/// Samples of the platform's ring from `position` on, as they stand once `captured` have been captured.
std::vector<std::int16_t> SamplesAt(std::uint32_t position, std::uint32_t count, std::uint64_t captured) {
    std::vector<std::int16_t> samples(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint64_t const place = (position + i) % RingSamples;
        std::uint64_t const laps = captured > place ? (captured - place - 1) / RingSamples : 0;
        samples[i] = MicrophoneSample(laps * RingSamples + place);
    }
    return samples;
}

} // namespace

// --- start and stop

void CaptureModel::Start(std::int64_t systemNanoSec) {
    if (!record.hasBuffer) {
        record = CaptureRecord();
        record.hasBuffer = true;
        record.proxyStatus = Create(systemNanoSec);
        return;
    }
    if (!record.hasDirectSound) {
        return;
    }
    trace_.logs.push_back({"Media.RendererAudioCaptureBuffer", 0, "Starting buffer capture",
                           "Media::RendererAudioCaptureBuffer::StartCapture"});
    trace_.Issue(Call_t::CaptureBufferStart, number, {1});
    record.nextTime = systemNanoSec;
    if (!rules_.isReadPositionKeptAtRestart) {
        record.readPos = 0;
    }
}

int CaptureModel::Create(std::int64_t systemNanoSec) {
    if (record.nextTime != 0) {
        return AlreadyCreated;
    }
    record.ringSamples = RingSamples;
    std::uint32_t const made =
        trace_.Issue(Call_t::CaptureCreateCaptureBuffer, 1, {WaveMapped, RingBytes}, [this] {
            number = ++soundCount_;
            return Ok;
        });
    if (HasFailed(made)) {
        return Refused;
    }
    bool const isKnown = !HasFailed(trace_.Issue(Call_t::CaptureBufferQueryBuffer8, number));
    trace_.Issue(Call_t::CaptureBufferRelease, number);
    if (!isKnown) {
        return Refused;
    }
    event_ = trace_.MakeEvent();
    trace_.SetEvent(Trace::CaptureWakeEvent);
    record.hasDirectSound = true;
    trace_.Issue(Call_t::CaptureBufferStart, number, {1});
    record.nextTime = systemNanoSec;
    return 0;
}

void CaptureModel::Stop() {
    if (record.hasBuffer && record.hasDirectSound) {
        trace_.Issue(Call_t::CaptureBufferStop, number);
        trace_.SetEvent(Trace::CaptureWakeEvent);
        trace_.CloseEvent(event_);
        trace_.Issue(Call_t::CaptureBufferRelease, number);
    }
    record.hasBuffer = false;
    record.hasDirectSound = false;
}

void CaptureModel::Halt() {
    if (!record.hasDirectSound) {
        return;
    }
    trace_.logs.push_back({"Media.RendererAudioCaptureBuffer", 0, "Stopping buffer capture",
                           "Media::RendererAudioCaptureBuffer::StopCapture"});
    trace_.Issue(Call_t::CaptureBufferStop, number);
}

// --- reading

int CaptureModel::FindBlocks(CaptureView const& view, std::uint32_t& take) {
    if (!record.hasDirectSound) {
        return NoBuffer;
    }
    switch (std::uint32_t const result = trace_.Issue(Call_t::CaptureBufferGetCurrentPosition, number)) {
        case OutOfMemory:
            return -202;
        case InvalidArgument:
            return -41;
        case NoDriver:
            return -120;
        default:
            if (HasFailed(result)) {
                return -1;
            }
    }
    std::uint32_t const cursor = view.cursorByte / 2;
    std::uint32_t const available =
        cursor >= record.readPos ? cursor - record.readPos : RingSamples - record.readPos + cursor;
    take = available / rules_.blockSamples * rules_.blockSamples;
    return take == 0 ? TooFew : 0;
}

bool CaptureModel::Lock(std::uint32_t take, CaptureView const& view, Stretch& first, Stretch& second) {
    std::uint32_t const byte = 2 * record.readPos;
    std::uint32_t const bytes = 2 * take;
    if (HasFailed(trace_.Issue(Call_t::CaptureBufferLock, number, {byte, bytes})) ||
        view.emptyLock != EmptyLock::None) {
        return false;
    }
    std::uint32_t firstBytes = bytes;
    if (bytes > RingBytes - byte) {
        firstBytes = RingBytes - byte;
    } else if (lockSplitBytes_ != 0 && lockSplitBytes_ < bytes) {
        firstBytes = lockSplitBytes_;
    }
    first = {record.readPos, firstBytes / 2};
    second = {(record.readPos + first.count) % RingSamples, take - first.count};
    return true;
}

void CaptureModel::Advance(std::uint32_t samples) {
    record.readPos = (record.readPos + samples) % RingSamples;
}

int CaptureModel::Read(CaptureView const& view, std::size_t frameCount) {
    frames.clear();
    if (!record.hasBuffer) {
        return TooFew;
    }
    std::uint32_t take = 0;
    if (int const status = FindBlocks(view, take); status != 0) {
        return status;
    }
    Stretch first;
    Stretch second;
    if (Lock(take, view, first, second)) {
        Stretch const unlocked[] = {first, second};
        Advance(take);
        ReadWhole(first, take, view);
        std::uint32_t const rest = first.count;
        std::uint32_t const missing = rules_.blockSamples - rest;
        if (rest == 0 && !rules_.isReadCutAtRingEnd) {
            ReadWhole(second, take, view);
        }
        if (rest != 0 && take >= rules_.blockSamples && second.count > missing) {
            // As many bytes as there are samples: half of each piece.
            std::vector<std::int16_t> const head = SamplesAt(first.position, rest, view.captured);
            std::vector<std::int16_t> const tail = SamplesAt(second.position, missing, view.captured);
            std::array<std::uint8_t, CapturedFrame::SizeBytes> bytes{};
            std::memcpy(bytes.data(), head.data(), rest);
            std::memcpy(bytes.data() + 2 * std::size_t{rest}, tail.data(), missing);
            AddFrame(bytes.data());
            take -= rules_.blockSamples;
            // From the second region's start again, whatever of it the split block has had.
            second.count -= missing;
            ReadWhole(second, take, view);
        }
        trace_.Issue(Call_t::CaptureBufferUnlock, number, {2 * unlocked[0].count, 2 * unlocked[1].count});
    }
    return frames.empty() && frameCount == 0 ? NothingRead : 0;
}

void CaptureModel::ReadWhole(Stretch& region, std::uint32_t& remaining, CaptureView const& view) {
    while (region.count >= rules_.blockSamples && remaining >= rules_.blockSamples) {
        auto const samples = SamplesAt(region.position, rules_.blockSamples, view.captured);
        std::array<std::uint8_t, CapturedFrame::SizeBytes> bytes{};
        std::memcpy(bytes.data(), samples.data(),
                    std::min(samples.size() * sizeof(std::int16_t), bytes.size()));
        AddFrame(bytes.data());
        region.position += rules_.blockSamples;
        region.count -= rules_.blockSamples;
        remaining -= rules_.blockSamples;
    }
}

void CaptureModel::AddFrame(std::uint8_t const* bytes) {
    frames.emplace_back();
    CapturedFrame& frame = frames.back();
    frame.timeNanoSec = record.nextTime;
    frame.number = record.frameNumber;
    std::memcpy(frame.samples.data(), bytes, CapturedFrame::SizeBytes);
    record.nextTime += rules_.blockNanoSec;
    ++record.frameNumber;
    std::vector<std::int16_t> samples(CapturedFrame::SizeBytes / sizeof(std::int16_t));
    std::memcpy(samples.data(), bytes, CapturedFrame::SizeBytes);
    MeterSamples(samples);
}

// --- metering

int CaptureModel::Meter(CaptureView const& view) {
    if (!record.hasBuffer) {
        return 0;
    }
    std::uint32_t take = 0;
    if (int const status = FindBlocks(view, take); status != 0) {
        return status;
    }
    Stretch first;
    Stretch second;
    if (!Lock(take, view, first, second)) {
        return NothingRead;
    }
    Stretch const unlocked[] = {first, second};
    Advance(take);
    std::uint32_t blocks = MeterWhole(first, take, view);
    if (second.count != 0 && take >= rules_.blockSamples) {
        if (first.count != 0) {
            std::uint32_t const missing = rules_.blockSamples - first.count;
            MeterStretch(first, view);
            if (rules_.isSplitBlockMeteredTwice) {
                MeterStretch({second.position, missing}, view);
            }
            second.position += missing;
            second.count -= missing;
            take -= rules_.blockSamples;
            ++blocks;
        }
        if (!rules_.isMeteringCutAtRingEnd) {
            blocks += MeterWhole(second, take, view);
        }
    }
    trace_.Issue(Call_t::CaptureBufferUnlock, number, {2 * unlocked[0].count, 2 * unlocked[1].count});
    return blocks == 0 ? NothingRead : 0;
}

std::uint32_t CaptureModel::MeterWhole(Stretch& region, std::uint32_t& remaining, CaptureView const& view) {
    std::uint32_t blocks = 0;
    while (region.count >= rules_.blockSamples && remaining >= rules_.blockSamples) {
        MeterStretch({region.position, rules_.blockSamples}, view);
        region.position += rules_.blockSamples;
        region.count -= rules_.blockSamples;
        remaining -= rules_.blockSamples;
        ++blocks;
    }
    return blocks;
}

void CaptureModel::MeterStretch(Stretch region, CaptureView const& view) {
    MeterSamples(SamplesAt(region.position, region.count, view.captured));
}

void CaptureModel::MeterSamples(std::vector<std::int16_t> const& samples) {
    auto const extremes = std::minmax_element(samples.begin(), samples.end());
    record.minRing[record.ringIndex] = static_cast<std::uint8_t>((*extremes.first + 32768) / 256);
    record.maxRing[record.ringIndex] = static_cast<std::uint8_t>((*extremes.second + 32768) / 256);
    record.ringIndex = (record.ringIndex + 1) % record.minRing.size();
    record.isLevelStale = true;
}

float CaptureModel::Level() {
    if (!record.hasBuffer) {
        return 0.0F;
    }
    if (record.isLevelStale) {
        int sum = 0;
        for (std::size_t i = 0; i < record.minRing.size(); ++i) {
            sum += std::abs(int{record.maxRing[i]} - int{record.minRing[i]});
        }
        record.level = std::pow(static_cast<float>(sum) / 4080.0F, rules_.levelExponent);
        record.isLevelStale = false;
    }
    return record.level;
}

} // namespace ModelTest
