#include "model/runner.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

#include "kovra/log.h"
#include "model/capturemodel.h"
#include "model/playbackmodel.h"
#include "pipeline/pipelinestate.h"
#include "simulation/world.h"
#include "support/fakecodec.h"
#include "support/peers.h"

namespace ModelTest {

namespace {

using Simulation::Call_t;
using Simulation::CallSet;
using Simulation::World;

/// The whole ring is compared every so many steps, and at the end.
constexpr std::size_t StepsPerFullCompare = 128;
constexpr std::int64_t LongestStallNanoSec = 1'000'000'000;
constexpr std::int64_t LongestStartDelayNanoSec = 1'000'000'000;
constexpr std::int64_t MaxSkewPartsPerMillion = 100'000;
constexpr std::uint64_t LongestAtOnceSamples = 480'000;

// --- names of the platform

constexpr std::array<Call_t, CallCount> PlatformCalls{{
    Call_t::Win32CreateEvent,
    Call_t::Win32SetEvent,
    Call_t::Win32CloseHandle,
    Call_t::SoundCreateSoundBuffer,
    Call_t::BufferQueryBuffer8,
    Call_t::BufferQueryNotify,
    Call_t::BufferRelease,
    Call_t::NotifyRelease,
    Call_t::BufferGetStatus,
    Call_t::BufferGetCurrentPosition,
    Call_t::BufferSetCurrentPosition,
    Call_t::BufferSetFrequency,
    Call_t::BufferSetVolume,
    Call_t::BufferSetPan,
    Call_t::NotifySetNotificationPositions,
    Call_t::BufferPlay,
    Call_t::BufferStop,
    Call_t::BufferLock,
    Call_t::BufferUnlock,
    Call_t::BufferRestore,
    Call_t::CaptureCreateCaptureBuffer,
    Call_t::CaptureBufferQueryBuffer8,
    Call_t::CaptureBufferRelease,
    Call_t::CaptureBufferGetCurrentPosition,
    Call_t::CaptureBufferLock,
    Call_t::CaptureBufferUnlock,
    Call_t::CaptureBufferStart,
    Call_t::CaptureBufferStop,
}};

/// Calls whose result is no status.
bool IsCounting(Call call) {
    return call == Call::MakeEvent || call == Call::SetEvent || call == Call::CloseHandle ||
           call == Call::ReleaseBuffer || call == Call::ReleaseNotify || call == Call::CaptureRelease;
}

/// What may be planned to fail. A failed Unlock would leave the simulation's lock open for ever.
bool CanFail(Call call) {
    return !IsCounting(call) && call != Call::Unlock && call != Call::CaptureUnlock;
}

/// All calls but those in which the module only holds a device's object for a while.
CallSet const& ComparedCalls() {
    static CallSet const calls = CallSet::All() - CallSet{Call_t::SoundAddRef, Call_t::SoundRelease,
                                                          Call_t::CaptureAddRef, Call_t::CaptureRelease};
    return calls;
}

/// Empty for a call that the model does not know.
std::optional<CallLine> LineOf(Simulation::CallRecord const& record) {
    auto const* const found = std::find(PlatformCalls.begin(), PlatformCalls.end(), record.call);
    if (found == PlatformCalls.end()) {
        return std::nullopt;
    }
    CallLine line;
    line.call = static_cast<Call>(found - PlatformCalls.begin());
    line.object = record.object;
    if (line.call != Call::MakeEvent) {
        line.arguments = record.arguments;
    }
    line.result = IsCounting(line.call) ? 0 : static_cast<std::uint32_t>(record.result);
    return line;
}

// --- numbers of steps

std::int64_t SaturatingSum(std::int64_t a, std::int64_t b) {
    if (b > 0 && a > std::numeric_limits<std::int64_t>::max() - b) {
        return std::numeric_limits<std::int64_t>::max();
    }
    if (b < 0 && a < std::numeric_limits<std::int64_t>::min() - b) {
        return std::numeric_limits<std::int64_t>::min();
    }
    return a + b;
}

float LevelOf(std::int64_t thousandths) {
    return thousandths == NotANumber ? std::numeric_limits<float>::quiet_NaN()
                                     : static_cast<float>(thousandths) / 1000.0F;
}

bool IsSameFloat(float a, float b) {
    return std::memcmp(&a, &b, sizeof a) == 0 || (std::isnan(a) && std::isnan(b));
}

/// Noise to cut frames from: every place of it is different from its neighbours.
boost::intrusive_ptr<Kovra::Buffer> const& Noise() {
    static auto const noise = [] {
        auto block = Kovra::Buffer::Create(static_cast<std::size_t>(NoiseBytes), 16);
        std::uint32_t state = 1;
        for (std::size_t i = 0; i < block->GetSize(); ++i) {
            state = state * 1664525U + 1013904223U;
            block->GetData()[i] = static_cast<std::uint8_t>(state >> 24);
        }
        return block;
    }();
    return noise;
}

/// `bytes` of noise from `place` on; no buffer when negative.
std::optional<Kovra::BufferInfo> CutNoise(std::int64_t place, std::int64_t bytes) {
    if (bytes < 0) {
        return std::nullopt;
    }
    auto const from = static_cast<std::uint32_t>(static_cast<std::uint64_t>(place) %
                                                 static_cast<std::uint64_t>(NoiseBytes - MaxFrameBytes));
    return Kovra::BufferInfo(Noise(), from, static_cast<std::uint32_t>(std::min(bytes, MaxFrameBytes)));
}

Bytes BytesOf(std::optional<Kovra::BufferInfo> const& info) {
    return info ? Bytes{info->GetData(), info->GetLength()} : Bytes();
}

void Attach(Media::Frame& frame, std::optional<Kovra::BufferInfo> info) {
    if (info) {
        Kovra::BufferInfoListScoped list;
        list.Append(std::move(*info));
        frame.AttachBuffers(std::move(list));
    }
}

std::shared_ptr<Media::FrameAud> MakeFrame(std::uint32_t coding, std::int64_t timestamp, std::uint32_t rate,
                                           std::uint32_t channels, std::optional<Kovra::BufferInfo> info) {
    Media::FrameIdent const ident(Kovra::SysTime(timestamp), 0, "Model");
    std::shared_ptr<Media::FrameAud> frame;
    if (coding == 0x300) {
        boost::intrusive_ptr<Media::ParamsAudRaw> const params(new Media::ParamsAudRaw);
        params->SetParamsAud(rate, channels, 16);
        frame = std::make_shared<Media::FrameAudRaw>(ident, params);
    } else {
        boost::intrusive_ptr<Media::ParamsAud> const params(
            new Media::ParamsAud(static_cast<Media::MediaCoding_t>(coding)));
        params->SetParamsAud(rate, channels, 8);
        frame = std::make_shared<Media::FrameAud>(ident, params);
    }
    Attach(*frame, std::move(info));
    return frame;
}

/// A PCM frame that sounds for as long as the codec says, whatever its samples say.
class TimedFrame final : public Media::FrameAud {
public:
    TimedFrame(boost::intrusive_ptr<Media::ParamsAud> params, std::int64_t durationNanoSec)
        : FrameAud(Media::FrameIdent(), std::move(params)), duration_(durationNanoSec) {}

    Kovra::SysTime GetDuration() const override { return duration_; }

private:
    Kovra::SysTime const duration_;
};

/// One frame of the codec, for the module and for the model.
struct CodecFrame {
    std::shared_ptr<Media::FrameAud> frame;
    DecodedFrame model;
};

CodecFrame MakeCodecFrame(std::uint32_t rate, std::int64_t place, std::int64_t bytes) {
    CodecFrame made;
    auto const info = CutNoise(place, bytes);
    made.model.rate = rate;
    made.model.durationNanoSec = bytes * 10'417 + 7;
    made.model.samples = BytesOf(info);
    boost::intrusive_ptr<Media::ParamsAud> const params(new Media::ParamsAud(Media::MediaCoding_t::RawPcm));
    params->SetParamsAud(rate, 1, 16);
    made.frame = std::make_shared<TimedFrame>(params, made.model.durationNanoSec);
    Attach(*made.frame, info);
    return made;
}

/// What the codec gives: `count` frames of which the last one counts, possibly as a null.
std::vector<CodecFrame> MakeCodecFrames(std::int64_t count, std::uint32_t rate, std::int64_t place,
                                        std::int64_t bytes, bool endsInNull) {
    constexpr std::int64_t MaxFrames = 4;
    constexpr std::int64_t PlaceStep = 10'007;
    std::vector<CodecFrame> frames;
    for (std::int64_t i = 0; i < std::min(count, MaxFrames); ++i) {
        frames.push_back(MakeCodecFrame(rate, place + PlaceStep * (i + 1), bytes));
    }
    // A first frame of null would be a codec that breaks its promise.
    if (endsInNull && frames.size() > 1) {
        frames.back().frame = nullptr;
        frames.back().model.isNull = true;
    }
    return frames;
}

UnitTest::Frames FramesOf(std::vector<CodecFrame> const& made) {
    UnitTest::Frames frames;
    for (CodecFrame const& one : made) {
        frames.push_back(one.frame);
    }
    return frames;
}

std::vector<DecodedFrame> ModelsOf(std::vector<CodecFrame> const& made) {
    std::vector<DecodedFrame> models;
    for (CodecFrame const& one : made) {
        models.push_back(one.model);
    }
    return models;
}

/// Collects log records while it lives.
class LogCollector {
public:
    LogCollector() {
        Kovra::LogManager::Instance().SetObserver([this](Kovra::LogRecord const& record) {
            lines_.push_back(
                {record.channel, static_cast<int>(record.level), record.message, record.function});
        });
    }
    ~LogCollector() { Kovra::LogManager::Instance().SetObserver({}); }
    LogCollector(LogCollector const&) = delete;
    LogCollector& operator=(LogCollector const&) = delete;

    /// All there are; the log's thread has no more of them.
    std::vector<LogLine>& GetLines() {
        Kovra::LogManager::Instance().Flush();
        return lines_;
    }

private:
    std::vector<LogLine> lines_;
};

/// Module and model, in step.
class Pair {
public:
    Pair(World& world, Rules const& rules)
        : world_(world),
          playbackModel_(rules, trace_, world.Clock().MonotonicNanoSec()),
          captureModel_(rules, trace_) {
        world_.Device().SetRingCheck(false);
        world_.CaptureDevice().SetRingCheck(false);
        world_.CaptureDevice().SetGenerator(MicrophoneSample);
        Media::RendererAudioPlaybackDevicePeer::OpenWithoutThread(playbackDevice_);
        Check("the capture device's status", captureDevice_.Initialize(), 0);
        state_ = new Media::RendererAudioPlaybackState(playbackDevice_);
        world_.Journal().Enable();
        log_.GetLines().clear();
        codec_.decode = [this](UnitTest::Frames const& frames) {
            Check("the frame that is decoded", frames.size() == 1 && frames.front().get() == incoming_.get(),
                  true);
            return FramesOf(decoded_);
        };
        codec_.transcode = [this](UnitTest::Frames const& frames, UnitTest::TranscodeRequest const&) {
            Check("the frames that are transcoded", frames == FramesOf(decoded_), true);
            return FramesOf(transcoded_);
        };
    }

    /// One step on both sides; false when they differ.
    bool Do(Step const& step) {
        Observe();
        Plan(step);
        Act(step);
        if (!step.faults.empty()) {
            world_.Faults().Clear();
        }
        Compare();
        ++steps_;
        return difference_.empty();
    }

    /// The end of everything on both sides.
    bool End() {
        Observe();
        trace_.BeginStep({});
        if (playbackModel_.record.hasSound) {
            CompareWholeRing();
        }
        captureModel_.Stop();
        proxy_.reset();
        playbackModel_.Destroy();
        state_.reset();
        CompareTrace();
        return difference_.empty();
    }

    std::string const& GetDifference() const { return difference_; }

private:
    using PlaybackPeer = Media::RendererAudioPlaybackBufferPeer;
    using CapturePeer = Media::RendererAudioCaptureBufferPeer;

    Media::RendererAudioPlaybackBuffer& Buffer() {
        return Media::RendererAudioPlaybackStatePeer::GetBuffer(*state_);
    }
    PlaybackPeer::Record& PlaybackRecordOf() { return PlaybackPeer::GetRecord(Buffer()); }
    std::shared_ptr<Media::RendererAudioCaptureBuffer> CaptureBuffer() {
        return proxy_ == nullptr ? nullptr : Media::RendererAudioCaptureProxyPeer::GetBuffer(*proxy_);
    }

    /// What the platform will tell the module, asked behind its back.
    void Observe() {
        playByte_ = 0;
        if (auto const& sound = PlaybackRecordOf().soundBuffer) {
            DWORD play = 0;
            DWORD write = 0;
            sound->GetCurrentPosition(&play, &write);
            playByte_ = play;
        }
        captureView_ = CaptureView();
        if (captureModel_.record.hasDirectSound) {
            auto& buffer = world_.LatestCaptureBuffer();
            captureView_.cursorByte = buffer.ReadByte();
            captureView_.captured = buffer.CapturedSamples();
        }
        world_.Journal().Clear();
        log_.GetLines().clear();
        codec_.decodeCalls.clear();
        codec_.transcodeCalls.clear();
    }

    void Plan(Step const& step) {
        std::vector<Fault> faults;
        for (Fault const& fault : step.faults) {
            if (CanFail(fault.call) && fault.nth != 0 && HasFailed(fault.result)) {
                faults.push_back(fault);
                world_.Faults().Fail(PlatformCalls[static_cast<std::size_t>(fault.call)], fault.nth,
                                     fault.result);
            }
        }
        trace_.BeginStep(faults);
        playbackModel_.changes.clear();
    }

    void Act(Step const& step) {
        std::int64_t const amount = step.Get(Number::Amount);
        switch (step.action) {
            case Action::Render:
                return Render(step);
            case Action::Client:
                return ApplyClient(step);
            case Action::Service:
                return Service();
            case Action::Advance:
                return Advance(amount);
            case Action::StepSystemClock:
                return StepSystemClock(amount);
            case Action::Lose:
                return Lose();
            case Action::CaptureStart:
            case Action::CaptureStop:
            case Action::CaptureHalt:
            case Action::CaptureCreate:
                return ActOnCapture(step.action);
            case Action::CaptureRead:
                return Read(step);
            case Action::CaptureMeter:
                return Meter();
            case Action::CaptureLevel:
                return ReadLevel();
            case Action::CaptureAtOnce:
                return CaptureAtOnce(static_cast<std::uint64_t>(amount));
            case Action::Skew:
            case Action::CursorStep:
            case Action::StartDelay:
            case Action::LockSplit:
                return Set(step, world_.Device());
            case Action::CaptureSkew:
            case Action::CaptureCursorStep:
            case Action::CaptureLockSplit:
            case Action::CaptureStall:
                return Set(step, world_.CaptureDevice());
        }
    }

    // --- playback

    void Render(Step const& step) {
        std::uint32_t const coding = step.Get32(Number::Coding);
        std::int64_t const place = step.Get(Number::DataAt);
        auto const info = CutNoise(place, step.Get(Number::Bytes));
        bool const endsInNull = step.Get(Number::EndsInNull) != 0;
        decoded_ = MakeCodecFrames(step.Get(Number::Decoded), step.Get32(Number::DecodedRate), place,
                                   step.Get(Number::DecodedBytes), endsInNull);
        transcoded_ = MakeCodecFrames(step.Get(Number::Transcoded), 48000, place + 1,
                                      step.Get(Number::TranscodedBytes), endsInNull);
        // A sound buffer without a channel is nothing that can be asked for.
        std::uint32_t const channels = step.Get32(Number::Channels);
        std::uint32_t const soundChannels = channels % 65536 == 0 ? 1 : channels;
        incoming_ =
            MakeFrame(coding, step.Get(Number::Timestamp), step.Get32(Number::Rate), soundChannels, info);

        IncomingFrame frame;
        frame.timestampNanoSec = step.Get(Number::Timestamp);
        frame.coding = coding;
        frame.rate = step.Get32(Number::Rate);
        frame.channels = soundChannels;
        frame.samples = BytesOf(info);
        frame.decoded = ModelsOf(decoded_);
        frame.transcoded = ModelsOf(transcoded_);

        std::int64_t const now = world_.Clock().MonotonicNanoSec();
        std::int64_t expected = SaturatingSum(now, step.Get(Number::Ahead));
        Kovra::JiffyTime presentation(expected);
        bool const isExpected = playbackModel_.Render(frame, expected, now, playByte_);
        Check("the result of Render", state_->Render(incoming_, presentation), isExpected);
        Check("the presentation time", presentation.NanoSec(), expected);
    }

    void ApplyClient(Step const& step) {
        float const volume = LevelOf(step.Get(Number::Volume));
        float const balance = LevelOf(step.Get(Number::Balance));
        if (!hasClientState_) {
            Check("the client state that nobody set", state_->UpdateClientState(), false);
            hasClientState_ = true;
        }
        Media::PipelineClientState_t client;
        client.volume = volume;
        client.balance = balance;
        state_->SetClientState(client);
        playbackModel_.ApplyClientState(volume, balance);
        Check("the result of UpdateClientState", state_->UpdateClientState(), true);
    }

    void Service() {
        // The playback thread knows a buffer only while it has a sound buffer.
        if (playbackModel_.record.hasSound) {
            playbackModel_.Service(world_.Clock().MonotonicNanoSec(), playByte_);
            Buffer().Service();
        }
    }

    void Advance(std::int64_t nanoSec) {
        bool const isBusy = playbackModel_.sound.isPlaying || captureModel_.record.hasDirectSound;
        constexpr std::int64_t MaxIdleAdvanceNanoSec = INT64_MAX / 1024;
        std::int64_t const longest = isBusy ? MaxBusyAdvanceNanoSec : MaxIdleAdvanceNanoSec;
        world_.Clock().Advance(std::clamp<std::int64_t>(nanoSec, 0, longest));
    }

    void StepSystemClock(std::int64_t nanoSec) {
        constexpr std::int64_t LongestNanoSec = 1'000'000'000'000'000;
        world_.Clock().StepSystem(std::clamp(nanoSec, -LongestNanoSec, LongestNanoSec));
    }

    void Lose() {
        if (playbackModel_.record.hasSound) {
            playbackModel_.Lose();
            world_.LatestBuffer().Lose();
        }
    }

    void Set(Step const& step, Simulation::EndpointSettings& device) {
        std::int64_t const amount = step.Get(Number::Amount);
        constexpr std::int64_t MaxSamples = 480'000;
        auto const samples = static_cast<std::uint32_t>(std::clamp<std::int64_t>(amount, 0, MaxSamples));
        auto const phase = std::clamp<std::int64_t>(step.Get(Number::Phase), 0, MaxSamples);
        switch (step.action) {
            case Action::Skew:
            case Action::CaptureSkew:
                device.SetSkewPartsPerMillion(
                    static_cast<double>(std::clamp(amount, -MaxSkewPartsPerMillion, MaxSkewPartsPerMillion)));
                break;
            case Action::CursorStep:
            case Action::CaptureCursorStep:
                device.SetCursorStep(std::max(samples, 1U), static_cast<std::uint32_t>(phase));
                break;
            case Action::StartDelay:
                device.SetStartDelay(std::clamp<std::int64_t>(amount, 0, LongestStartDelayNanoSec));
                break;
            case Action::LockSplit:
                device.SetLockSplit(samples);
                playbackModel_.SetLockSplit(samples);
                break;
            case Action::CaptureLockSplit:
                // Captured regions are whole samples long.
                device.SetLockSplit(samples / 2 * 2);
                captureModel_.SetLockSplit(samples / 2 * 2);
                break;
            case Action::CaptureStall:
                world_.CaptureDevice().Stall(std::clamp<std::int64_t>(amount, 0, LongestStallNanoSec));
                break;
            default:
                break;
        }
    }

    // --- capture

    void ActOnCapture(Action action) {
        std::int64_t const now = world_.Clock().SystemNanoSec();
        auto const buffer = CaptureBuffer();
        if (action == Action::CaptureStart) {
            captureModel_.Start(now);
            if (proxy_ == nullptr) {
                proxy_ = std::make_unique<Media::RendererAudioCaptureProxy>(captureDevice_);
            } else {
                proxy_->StartBufferCapture();
            }
        } else if (action == Action::CaptureStop && proxy_ != nullptr) {
            captureModel_.Stop();
            proxy_->StopBufferCapture();
        } else if (action == Action::CaptureHalt && buffer != nullptr) {
            captureModel_.Halt();
            buffer->StopCapture();
        } else if (action == Action::CaptureCreate && buffer != nullptr) {
            int const expected = captureModel_.Create(now);
            Check("the status of Create", buffer->Create(), expected);
        }
    }

    void Read(Step const& step) {
        if (proxy_ == nullptr) {
            return;
        }
        constexpr std::int64_t MaxHeldFrames = 3;
        auto const held =
            static_cast<std::size_t>(std::clamp<std::int64_t>(step.Get(Number::Amount), 0, MaxHeldFrames));
        UnitTest::Frames frames(held);
        SetEmptyLock(step.Get(Number::Phase));
        int const expected = captureModel_.Read(captureView_, held);
        Check("the status of ReadFrames", proxy_->ReadFrames(frames), expected);
        SetEmptyLock(0);
        if (Check("the number of frames", frames.size(), held + captureModel_.frames.size())) {
            for (std::size_t i = held; i < frames.size(); ++i) {
                CompareFrame(*frames[i], captureModel_.frames[i - held]);
            }
        }
        captureModel_.frames.clear();
    }

    void SetEmptyLock(std::int64_t kind) {
        using Simulation::CaptureSettings;
        captureView_.emptyLock = kind == 1   ? EmptyLock::NullAddress
                                 : kind == 2 ? EmptyLock::ZeroBytes
                                             : EmptyLock::None;
        world_.CaptureDevice().SetLockFault(kind == 1   ? CaptureSettings::LockFault_t::NullAddress
                                            : kind == 2 ? CaptureSettings::LockFault_t::ZeroBytes
                                                        : CaptureSettings::LockFault_t::None);
    }

    void CompareFrame(Media::FrameAud const& frame, CapturedFrame const& expected) {
        Media::FrameIdent const& ident = frame.GetIdent();
        Check("a frame's timestamp", ident.time.NanoSec(), expected.timeNanoSec);
        Check("a frame's number", ident.sequenceNumber, expected.number);
        Check("a frame's source", ident.sourceName == "Microphone", true);
        Check("a frame's coding", static_cast<std::uint32_t>(frame.GetCoding()), 0x300U);
        Check("a frame's rate", frame.GetFrequency(), 48000U);
        Check("a frame's channels", frame.GetNumChannels(), 1U);
        Check("a frame's bits", frame.GetParams().GetBitsPerSample(), 16U);
        Kovra::BufferInfo const* const info = frame.GetConstBufferBegin();
        if (Check("a frame's buffers", frame.GetBuffers().GetCount(), std::size_t{1}) &&
            Check("a frame's length", std::size_t{info->GetLength()}, CapturedFrame::SizeBytes)) {
            Check("a frame's samples",
                  std::memcmp(info->GetData(), expected.samples.data(), CapturedFrame::SizeBytes), 0);
        }
    }

    void Meter() {
        if (proxy_ != nullptr) {
            int const expected = captureModel_.Meter(captureView_);
            Check("the status of SampleLineLevel", proxy_->SampleLineLevel(), expected);
        }
    }

    void ReadLevel() {
        if (proxy_ != nullptr) {
            float const expected = captureModel_.Level();
            Check("the line level", proxy_->GetLineLevel(), expected);
        }
    }

    void CaptureAtOnce(std::uint64_t samples) {
        if (captureModel_.record.hasDirectSound) {
            world_.LatestCaptureBuffer().CaptureAtOnce(std::min(samples, LongestAtOnceSamples));
        }
    }

    // --- comparison

    void Compare() {
        CompareTrace();
        ComparePlaybackRecord();
        CompareSound();
        CompareCaptureRecord();
    }

    void CompareTrace() {
        std::vector<Simulation::CallRecord> const records = world_.Journal().Records(ComparedCalls());
        for (std::size_t i = 0; i < std::max(records.size(), trace_.calls.size()); ++i) {
            auto const line = i < records.size() ? LineOf(records[i]) : std::nullopt;
            if (i >= trace_.calls.size() || !line || !(*line == trace_.calls[i])) {
                Report("call " + std::to_string(i + 1),
                       i >= records.size() ? "none"
                       : line              ? line->Text()
                                           : records[i].Text(),
                       i >= trace_.calls.size() ? "none" : trace_.calls[i].Text());
                break;
            }
        }
        CompareLines("log record", log_.GetLines(), trace_.logs);
        std::vector<CodecLine> asked(codec_.decodeCalls.size());
        for (UnitTest::TranscodeRequest const& request : codec_.transcodeCalls) {
            asked.push_back({true, static_cast<std::uint32_t>(request.coding), request.channels,
                             request.frequency, request.durationNanoSec, request.flush});
        }
        CompareLines("codec request", asked, trace_.codec);
    }

    template <class Line>
    void CompareLines(char const* what, std::vector<Line> const& actual, std::vector<Line> const& expected) {
        if (actual == expected) {
            return;
        }
        std::size_t i = 0;
        while (i < actual.size() && i < expected.size() && actual[i] == expected[i]) {
            ++i;
        }
        Report(std::string(what) + " " + std::to_string(i + 1), i < actual.size() ? actual[i].Text() : "none",
               i < expected.size() ? expected[i].Text() : "none");
    }

    void ComparePlaybackRecord() {
        auto const& actual = PlaybackRecordOf();
        PlaybackRecord const& expected = playbackModel_.record;
        Check("soundBuffer", actual.soundBuffer != nullptr, expected.hasSound);
        Check("notify", actual.notify != nullptr, expected.hasNotify);
        Check("notifyPosition.dwOffset", std::uint32_t{actual.notifyPosition->dwOffset}, expected.notifyByte);
        Check("notifyPosition.hEventNotify", world_.EventNumber(actual.notifyPosition->hEventNotify),
              expected.notifyEvent);
        Check("ringSamples", actual.ringSamples, expected.ringSamples);
        Check("sourceFrequency", actual.sourceFrequency, expected.sourceFrequency);
        Check("playFrequency", actual.playFrequency, expected.playFrequency);
        Check("bytesPerSample", actual.bytesPerSample, expected.bytesPerSample);
        Check("writePos", actual.writePos.load(), expected.writePos);
        Check("writeEnd", actual.writeEnd, expected.writeEnd);
        Check("clearedEnd", actual.clearedEnd.load(), expected.clearedEnd);
        Check("lastServicedWritePos", actual.lastServicedWritePos, expected.lastServicedWritePos);
        Check("measuredLagSum", actual.measuredLagSum, expected.measuredLagSum);
        Check("expectedLagSum", actual.expectedLagSum, expected.expectedLagSum);
        Check("nsPerSample", actual.nsPerSample, expected.nsPerSample);
        Check("baseTimestamp", actual.baseTimestamp.load(), expected.baseTimestamp);
        Check("lastPresentTime", actual.lastPresentTime.load().NanoSec(), expected.lastPresentTime);
        Check("driftWindowStart", actual.driftWindowStart.NanoSec(), expected.driftWindowStart);
        Check("volume", IsSameFloat(actual.volume, expected.volume), true);
        Check("pan", IsSameFloat(actual.pan, expected.pan), true);
        Check("lastSample", actual.lastSample, expected.lastSample);
        Check("active", int{actual.active.load()}, int{expected.active});
        Check("decodedFrame", actual.decodedFrame != nullptr, expected.hasDecoded);
        if (actual.decodedFrame != nullptr && expected.hasDecoded) {
            auto const* const info = actual.decodedFrame->GetConstBufferBegin();
            Check("decodedFrame's data", info == nullptr ? nullptr : info->GetData(), expected.decoded.data);
            Check("decodedFrame's length", info == nullptr ? 0 : info->GetLength(), expected.decoded.count);
        }
    }

    void CompareSound() {
        if (!playbackModel_.record.hasSound || PlaybackRecordOf().soundBuffer == nullptr) {
            return;
        }
        SoundModel const& expected = playbackModel_.sound;
        auto const& actual = world_.LatestBuffer();
        if (!Check("the sound buffer's number", actual.Number(), expected.number) ||
            !Check("the sound buffer's size", std::size_t{actual.RingBytes()}, expected.ring.size())) {
            return;
        }
        Check("playing", actual.IsPlaying(), expected.isPlaying);
        Check("lost", actual.IsLost(), expected.isLost);
        Check("the sound buffer's volume", std::int64_t{actual.Volume()}, std::int64_t{expected.volume});
        Check("the sound buffer's pan", std::int64_t{actual.Pan()}, std::int64_t{expected.pan});
        Check("the sound buffer's frequency", std::uint32_t{actual.Frequency()}, expected.frequency);
        for (auto const& change : playbackModel_.changes) {
            CompareStretch(actual, change.first, change.second);
        }
        if (steps_ % StepsPerFullCompare == StepsPerFullCompare - 1) {
            CompareWholeRing();
        }
    }

    void CompareStretch(Simulation::SoundBuffer const& actual, std::uint32_t byte, std::uint32_t count) {
        std::vector<std::uint8_t> const& expected = playbackModel_.sound.ring;
        std::uint32_t const first = byte / 2;
        std::uint32_t const samples = (byte + count + 1) / 2 - first;
        if (!actual.Holds(2 * first, &expected[2 * std::size_t{first}], 2 * samples)) {
            Report("the ring", "other bytes",
                   std::to_string(count) + " bytes from " + std::to_string(byte) + " on");
        }
    }

    void CompareWholeRing() {
        auto const& expected = playbackModel_.sound.ring;
        auto const& actual = world_.LatestBuffer();
        bool const isSame =
            actual.RingBytes() == expected.size() && actual.Holds(0, expected.data(), actual.RingBytes());
        Check("every byte of the ring", isSame, true);
    }

    void CompareCaptureRecord() {
        CaptureRecord const& expected = captureModel_.record;
        auto const buffer = CaptureBuffer();
        if (!Check("the proxy's buffer", buffer != nullptr, expected.hasBuffer) || buffer == nullptr) {
            return;
        }
        Check("IsInitialized", proxy_->IsInitialized(), expected.proxyStatus >= 0);
        auto const& actual = CapturePeer::GetRecord(*buffer);
        Check("dsBuffer", actual.dsBuffer != nullptr, expected.hasDirectSound);
        Check("nextTime", actual.nextTime.NanoSec(), expected.nextTime);
        Check("frameNumber", actual.frameNumber, expected.frameNumber);
        Check("the capture ring's length", actual.ringSamples, expected.ringSamples);
        Check("readPos", actual.readPos, expected.readPos);
    }

    template <class Actual, class Expected>
    bool Check(char const* what, Actual const& actual, Expected const& expected) {
        if (actual == expected) {
            return true;
        }
        Report(what, ValueText(actual), ValueText(expected));
        return false;
    }

    template <class Value>
    static std::string ValueText(Value const& value) {
        if constexpr (std::is_pointer_v<Value> || std::is_null_pointer_v<Value>) {
            return value == nullptr ? "null" : "an address";
        } else {
            return std::to_string(value);
        }
    }

    void Report(std::string const& what, std::string const& actual, std::string const& expected) {
        if (difference_.empty()) {
            difference_ = what + ": the module has " + actual + ", the model " + expected;
        }
    }

    World& world_;
    LogCollector log_;
    UnitTest::FakeCodec codec_;
    Media::RendererAudioPlaybackDevice playbackDevice_;
    Media::RendererAudioCaptureDevice captureDevice_;
    boost::intrusive_ptr<Media::RendererAudioPlaybackState> state_;
    std::unique_ptr<Media::RendererAudioCaptureProxy> proxy_;
    bool hasClientState_ = false;

    Trace trace_;
    PlaybackModel playbackModel_;
    CaptureModel captureModel_;

    std::uint32_t playByte_ = 0;
    CaptureView captureView_;
    std::shared_ptr<Media::FrameAud> incoming_;
    std::vector<CodecFrame> decoded_;
    std::vector<CodecFrame> transcoded_;
    std::size_t steps_ = 0;
    std::string difference_;
};

} // namespace

Outcome RunInStep(Scenario const& scenario, Rules const& rules) {
    Outcome outcome;
    std::string complaint;
    {
        World world([&complaint](std::string const& text) { complaint += text + "; "; });
        Pair pair(world, rules);
        bool isAlike = true;
        while (isAlike && outcome.step < scenario.size()) {
            isAlike = pair.Do(scenario[outcome.step]) && complaint.empty();
            outcome.step += isAlike ? 1 : 0;
        }
        if (isAlike) {
            isAlike = pair.End();
        }
        outcome.difference = pair.GetDifference();
    }
    if (!complaint.empty()) {
        outcome.difference += "; the simulation complains: " + complaint;
    }
    outcome.isAlike = outcome.difference.empty();
    return outcome;
}

} // namespace ModelTest
