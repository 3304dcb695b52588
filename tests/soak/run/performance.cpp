#include "run/performance.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <future>
#include <stdexcept>

#include "kovra/thread.h"
#include "output/outputwatch.h"
#include "output/silentoutput.h"
#include "pipeline/rendererevent.h"
#include "rendereraudio.h"
#include "run/microphonewatch.h"
#include "support/recording/microphonefeed.h"
#include "support/recording/recording.h"
#include "support/recording/waituntil.h"
#include "terminal/atend.h"
#include "terminal/textformat.h"

namespace Soak {

namespace {

using Media::Pipeline;
using std::chrono::duration;
using TestSupport::WaitUntil;

constexpr std::size_t Workers = 2;
/// Time of day of every session's first frame: far from 0.
constexpr std::int64_t FirstTimestampNanoSec = Listening::NanoSecPerHour;
constexpr std::int64_t StartMilliSec = 500;
constexpr std::size_t BufferAlignmentBytes = 16;

/// What grows until then is being set up, not lost. A third of the run when that is shorter.
constexpr double WarmUpSeconds = 10.0;
constexpr double ReadingPeriodSeconds = 60.0;

/// After the last frame: the output's delay, and patience with a busy machine; then longer than the ring and
/// the idle stop.
constexpr std::int64_t EndingMilliSec = 1000;
constexpr std::int64_t SilenceMilliSec = 8000;
/// Longer than an idle check takes.
constexpr std::int64_t AfterClosingMilliSec = 3000;

constexpr char const* IdleText = "Idle AudioBuffer playback stopped";
constexpr double BytesPerMegabyte = 1e6;

/// The module as a host runs it, on the system's sound devices.
class Host {
public:
    Host(Options const& options, SoundPlan const& plan, std::ostream& out, AudioHost::Trace* trace)
        : options_(options),
          plan_(plan),
          out_(out),
          trace_(trace),
          tally_(plan.GetSessions()),
          params_(new Media::ParamsAudRaw),
          pipeline_(renderer_, Workers, [this](Pipeline::Report_t const& report) { AddReport(report); }) {
        params_->SetParamsAud(Listening::SoundRateHz, 1, 16);
        int const status = renderer_.Initialize();
        if (status != 0) {
            throw std::runtime_error("the renderer cannot be initialised, status " + std::to_string(status));
        }
        Kovra::LogManager::Instance().SetObserver([this](Kovra::LogRecord const& record) { AddLog(record); });
        Pipeline::SetAudioRenderer(&renderer_);
    }

    ~Host() {
        Pipeline::SetAudioRenderer(nullptr);
        Kovra::LogManager::Instance().SetObserver({});
    }

    RunRecord Perform() {
        RunRecord record;
        record.startedAt = Kovra::SysTime::Now();
        record.beginSample = recording_.GetLength();
        // Before the first session plays: a device that has just been started may take its first buffers at
        // once.
        AudioHost::OutputWatch watch(AudioHost::SilentOutput().Open());
        AudioHost::StopSignal never;
        watch.WaitUntilSteady(never);
        // Not before: a session that waits two seconds for its first frame counts as idle when that comes.
        OpenSessions();
        record.frames = static_cast<std::int64_t>(options_.seconds * Listening::NanoSecPerSec) / FrameNanoSec;
        Kovra::JiffyTime const start = Kovra::JiffyTime::Now().AddMilliSec(StartMilliSec);
        TestSupport::WaitUntil(start);
        record.originTime = start.AddMilliSec(options_.leadMilliSec);
        record.originSample = recording_.GetLength() + Listening::MilliSecToSamples(options_.leadMilliSec);
        Play(start, record);
        FallSilent(record);
        CloseToLimit(record);
        record.output = watch.Stop(start.NanoSec());
        Kovra::LogManager::Instance().Flush();
        record.told = tally_.Get();
        record.events = tally_.GetEvents();
        return record;
    }

private:
    void AddReport(Pipeline::Report_t const& report) {
        tally_.AddReport(report);
        if (trace_) {
            trace_->AddReport(report);
        }
    }

    void AddLog(Kovra::LogRecord const& record) {
        tally_.AddLog(record);
        if (trace_ && record.channel.rfind(Media::RendererChannels, 0) == 0) {
            trace_->AddLog(record);
        }
    }

    void OpenSessions() {
        for (std::size_t session = 0; session < plan_.GetSessions(); ++session) {
            sessions_.push_back(pipeline_.OpenSession({}));
            if (sessions_.back() == Pipeline::InvalidSession) {
                throw std::runtime_error("the renderer gives a session no state: is there no sound output?");
            }
            tally_.AddSession(sessions_.back(), session);
            if (trace_) {
                trace_->AddSession(sessions_.back(), "tone " + std::to_string(session));
            }
        }
    }

    void Play(Kovra::JiffyTime start, RunRecord& record) {
        std::atomic<bool> isOver{false};
        std::future<Captured> captured;
        if (options_.hasCapture) {
            captured = StartCapture(isOver);
        }
        AudioHost::AtEnd const end([&isOver] { isOver = true; });
        std::future<void> const fed = std::async(std::launch::async, [&] { Feed(start, record.frames); });
        double next = std::min(WarmUpSeconds, options_.seconds / 3.0);
        while (next < options_.seconds) {
            if (fed.wait_until(std::chrono::steady_clock::now() + duration<double>(next - Since(start))) ==
                std::future_status::ready) {
                break;
            }
            Note(start, record);
            next = next < ReadingPeriodSeconds ? ReadingPeriodSeconds : next + ReadingPeriodSeconds;
        }
        fed.wait();
        Note(start, record);
        isOver = true;
        if (captured.valid()) {
            record.captured = captured.get();
        }
    }

    std::future<Captured> StartCapture(std::atomic<bool> const& isOver) {
        auto microphone = renderer_.GetCaptureProxy();
        if (!microphone) {
            throw std::runtime_error("there is no microphone");
        }
        return std::async(std::launch::async, [this, microphone, &isOver] {
            Kovra::SetThreadName("Soak.Microphone");
            Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
            return WatchMicrophone(*microphone, feed_, isOver);
        });
    }

    /// Frames of a session come 20 ms apart, those of different sessions spread over these 20 ms.
    void Feed(Kovra::JiffyTime start, std::int64_t frames) {
        Kovra::SetThreadName("Soak.Feeder");
        Kovra::SetThreadPriority(Kovra::ThreadPriority_t::AboveNormal);
        std::int64_t const apart = FrameNanoSec / static_cast<std::int64_t>(plan_.GetSessions());
        for (std::int64_t number = 0; number < frames; ++number) {
            for (std::size_t session = 0; session < plan_.GetSessions(); ++session) {
                std::int64_t const position = number * FrameNanoSec;
                Kovra::JiffyTime const due(start.NanoSec() + position +
                                           static_cast<std::int64_t>(session) * apart);
                auto frame = MakeFrame(session, number);
                TestSupport::WaitUntil(due);
                std::int64_t const late = Kovra::JiffyTime::Now().GetDiffSysTime(due).NanoSec();
                tally_.AddSubmission(session, static_cast<std::uint64_t>(number),
                                     std::max<std::int64_t>(0, late));
                pipeline_.Submit(sessions_[session], std::move(frame),
                                 Kovra::JiffyTime(start.NanoSec() + position +
                                                  options_.leadMilliSec * Listening::NanoSecPerMilliSec));
            }
        }
        pipeline_.Drain();
    }

    std::shared_ptr<Media::FrameAud> MakeFrame(std::size_t session, std::int64_t number) const {
        Listening::Samples const sound = plan_.MakeFrame(session, number);
        std::size_t const bytes = sound.size() * sizeof(std::int16_t);
        auto block = Kovra::Buffer::Create(bytes, BufferAlignmentBytes);
        std::memcpy(block->GetData(), sound.data(), bytes);
        Kovra::BufferInfoListScoped list;
        list.Append(Kovra::BufferInfo(std::move(block), 0, static_cast<std::uint32_t>(bytes)));
        auto frame = std::make_shared<Media::FrameAudRaw>(
            Media::FrameIdent(Kovra::SysTime(FirstTimestampNanoSec + number * FrameNanoSec),
                              static_cast<std::uint32_t>(number), "Soak"),
            params_);
        frame->AttachBuffers(std::move(list));
        return frame;
    }

    static double Since(Kovra::JiffyTime start) {
        return static_cast<double>(Kovra::JiffyTime::Now().GetDiffSysTime(start).NanoSec()) /
               static_cast<double>(Listening::NanoSecPerSec);
    }

    void Note(Kovra::JiffyTime start, RunRecord& record) {
        Moment const moment{Since(start), ReadProcessFigures()};
        record.moments.push_back(moment);
        Told const told = tally_.Get();
        double const cpuShare = moment.figures.cpuSeconds / std::max(1.0, moment.seconds);
        out_ << AudioHost::FormatFixed(moment.seconds, 0) << " s: " << told.jobs << " frames, "
             << told.jobs - told.succeeded << " failed, latest hand-over "
             << AudioHost::FormatFixed(told.feederMilliSec.GetGreatest(), 0) << " ms late; "
             << moment.figures.handles << " handles, " << moment.figures.threads << " threads, "
             << AudioHost::FormatFixed(static_cast<double>(moment.figures.workingSetBytes) / BytesPerMegabyte,
                                       1)
             << " MB, " << AudioHost::FormatFixed(100.0 * cpuShare, 0) << " % of a core" << std::endl;
    }

    void FallSilent(RunRecord& record) {
        Kovra::JiffyTime const begin = Kovra::JiffyTime::Now();
        record.silenceBegin = {0.0, ReadProcessFigures()};
        record.silenceSample =
            record.originSample + record.frames * FrameSamples + Listening::MilliSecToSamples(EndingMilliSec);
        recording_.WaitForLength(record.silenceSample + Listening::MilliSecToSamples(SilenceMilliSec));
        record.endSample = recording_.GetLength();
        record.silenceEnd = {Since(begin), ReadProcessFigures()};
        record.idleStopsInSilence = CountIdleStops();
    }

    void CloseToLimit(RunRecord& record) {
        for (; sessions_.size() > MaxWaitedSessions; sessions_.pop_back()) {
            pipeline_.CloseSession(sessions_.back());
            record.isClosedToLimit = true;
        }
        if (record.isClosedToLimit) {
            recording_.WaitForLength(recording_.GetLength() +
                                     Listening::MilliSecToSamples(AfterClosingMilliSec));
        }
        record.idleStopsAfterClosing = CountIdleStops() - record.idleStopsInSilence;
    }

    std::uint64_t CountIdleStops() const {
        Kovra::LogManager::Instance().Flush();
        return tally_.CountLogged(IdleText);
    }

    Options const& options_;
    SoundPlan const& plan_;
    std::ostream& out_;
    AudioHost::Trace* const trace_;
    TestSupport::Recording const recording_ = TestSupport::Recording::FromEnvironment();
    TestSupport::MicrophoneFeed const feed_ = TestSupport::MicrophoneFeed::FromEnvironment();
    Tally tally_;
    boost::intrusive_ptr<Media::ParamsAudRaw> const params_;
    Media::RendererAudio renderer_;
    Pipeline pipeline_;
    std::vector<Pipeline::SessionId_t> sessions_;
};

} // namespace

RunRecord Perform(Options const& options, SoundPlan const& plan, std::ostream& out, AudioHost::Trace* trace) {
    return Host(options, plan, out, trace).Perform();
}

} // namespace Soak
