#include "doctor/checkup.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "output/outputwatch.h"
#include "pipeline/pipeline.h"
#include "record/captureloop.h"
#include "sources/testsignal.h"
#include "terminal/atend.h"
#include "terminal/hosterror.h"
#include "terminal/progressline.h"
#include "terminal/textformat.h"

namespace AudioHost {

namespace {

using Listening::NanoSecPerMilliSec;
using Listening::NanoSecPerSec;

constexpr std::int64_t NoiseNanoSec = 3 * NanoSecPerSec;
constexpr std::int64_t LeadMilliSec = 200;
constexpr std::int64_t WaitMilliSec = 100;
/// Noise that comes back later than this after it was due does not count.
constexpr std::int64_t LongestLoopMilliSec = 2000;
/// As much of the recording as is searched for it.
constexpr std::size_t SearchedSamples =
    static_cast<std::size_t>(Listening::MilliSecToSamples(LeadMilliSec + LongestLoopMilliSec) +
                             Listening::NanoSecToSamples(NoiseNanoSec));
/// Less than this is chance, or a room that leaves too little of it.
constexpr double MinMatchedShare = 0.5;

/// A silent sound whose cursor is fitted while others look at it.
class FittedSound : public SilentSound {
public:
    /// `fit` (borrowed) is used by the thread that looks.
    FittedSound(std::unique_ptr<SilentSound> sound, RateFit& fit) : sound_(std::move(sound)), fit_(fit) {}

    std::optional<std::int64_t> GetPositionNanoSec() override {
        std::optional<std::int64_t> const position = sound_->GetPositionNanoSec();
        if (position && position != last_) {
            std::int64_t const length = sound_->GetLengthNanoSec();
            std::int64_t const ahead = last_ ? (*position - *last_ + length) % length : 0;
            // The shorter way round: a cursor may be set back a little.
            done_ += ahead > length / 2 ? ahead - length : ahead;
            last_ = position;
            fit_.Add(Kovra::JiffyTime::Now().NanoSec(), done_);
        }
        return position;
    }
    std::int64_t GetLengthNanoSec() const override { return sound_->GetLengthNanoSec(); }
    void Rest() override { sound_->Rest(); }

private:
    std::unique_ptr<SilentSound> const sound_;
    RateFit& fit_;
    std::optional<std::int64_t> last_;
    std::int64_t done_ = 0;
};

/// The renderer's session that the noise is played in, while the output can be had.
class NoisePlayer {
public:
    explicit NoisePlayer(Media::IPipelineRenderer& renderer)
        : pipeline_(renderer, 1), session_(pipeline_.OpenSession({})) {}

    /// What was handed over is played.
    ~NoisePlayer() { pipeline_.CloseSession(session_); }
    NoisePlayer(NoisePlayer const&) = delete;
    NoisePlayer& operator=(NoisePlayer const&) = delete;

    bool IsOpen() const { return session_ != Media::Pipeline::InvalidSession; }
    void Start(Kovra::JiffyTime start) { start_ = start; }
    /// Hands over what is due to be handed over by then.
    void FeedUntil(Kovra::JiffyTime instant) {
        std::int64_t const until = instant.GetDiffSysTime(start_).NanoSec();
        while (hasNext_ && next_.positionNanoSec <= until) {
            Kovra::JiffyTime const due(start_.NanoSec() + LeadMilliSec * NanoSecPerMilliSec +
                                       next_.positionNanoSec);
            pipeline_.Submit(session_, std::move(next_.frame), due);
            sent_.insert(sent_.end(), next_.sound.begin(), next_.sound.end());
            hasNext_ = noise_.ReadFrame(next_);
        }
    }
    Listening::Samples const& GetSent() const { return sent_; }

private:
    Media::Pipeline pipeline_;
    Media::Pipeline::SessionId_t const session_;
    TestSignal noise_{MakeNoise(), "white noise", NoiseNanoSec, Kovra::SysTime::Now()};
    Kovra::JiffyTime start_;
    MediaFrame next_;
    bool hasNext_ = noise_.ReadFrame(next_);
    Listening::Samples sent_;
};

/// Feeds and shows progress whenever somebody waits.
class BusyPacer : public Pacer {
public:
    BusyPacer(Surroundings const& surroundings, NoisePlayer* player, Kovra::JiffyTime start, double seconds)
        : stop_(surroundings.stop), player_(player), line_(surroundings), start_(start), seconds_(seconds) {}
    ~BusyPacer() override { line_.End(); }
    BusyPacer(BusyPacer const&) = delete;
    BusyPacer& operator=(BusyPacer const&) = delete;

    bool WaitUntil(Kovra::JiffyTime instant) override {
        if (player_) {
            player_->FeedUntil(instant);
        }
        std::int64_t const passed = instant.GetDiffSysTime(start_).NanoSec();
        if (passed >= nextShown_) {
            line_.Show("looking: " + FormatClock(passed) + " / " +
                       FormatClock(static_cast<std::int64_t>(seconds_ * static_cast<double>(NanoSecPerSec))));
            nextShown_ = passed + line_.GetIntervalMilliSec() * NanoSecPerMilliSec;
        }
        return stop_.WaitUntil(instant);
    }

private:
    Pacer& stop_;
    NoisePlayer* const player_;
    ProgressLine line_;
    Kovra::JiffyTime const start_;
    double const seconds_;
    std::int64_t nextShown_ = 0;
};

/// What came from the microphone, and when.
struct Arrivals {
    RateFit fit;
    std::int64_t samples = 0;
    /// When the first sample would have come, had every read been as prompt as the promptest.
    std::int64_t originNanoSec = INT64_MAX;
    Listening::Samples first;

    void Add(Listening::SampleView sound) {
        std::int64_t const now = Kovra::JiffyTime::Now().NanoSec();
        samples += static_cast<std::int64_t>(sound.GetSize());
        std::int64_t const done = samples * NanoSecPerSec / Listening::SoundRateHz;
        fit.Add(now, done);
        if (first.size() < SearchedSamples) {
            originNanoSec = std::min(originNanoSec, now - done);
            first.insert(first.end(), sound.begin(), sound.end());
        }
    }
};

std::optional<double> FindLoopback(NoisePlayer const& player, Arrivals const& arrivals,
                                   Kovra::JiffyTime start) {
    if (arrivals.first.empty()) {
        return std::nullopt;
    }
    Listening::SoundComparison const comparison = Listening::CompareSounds(player.GetSent(), arrivals.first);
    if (!comparison.isFound || comparison.GetMatchedShare() < MinMatchedShare) {
        return std::nullopt;
    }
    double const origin = static_cast<double>(arrivals.originNanoSec - start.NanoSec()) / NanoSecPerMilliSec;
    return origin + Listening::SamplesToMilliSec(comparison.firstSampleAt) - LeadMilliSec;
}

/// True when it went on to the end.
bool Record(Microphone& microphone, std::int64_t limitSamples, Kovra::JiffyTime start, Pacer& pacer,
            Arrivals& arrivals, CheckupLog& log) {
    CaptureLogKeeper keeper(false);
    keeper.SetStart(start);
    CaptureLoop loop(microphone, keeper, pacer, [&](Listening::SampleView sound) { arrivals.Add(sound); });
    bool isComplete = true;
    std::string failure;
    try {
        isComplete = loop.Run(start, limitSamples);
    } catch (HostError const& error) {
        failure = error.what();
    }
    log.input = keeper.Take();
    log.input.failure = failure;
    log.inputRate = arrivals.fit.GetRate();
    return isComplete;
}

bool WaitToTheEnd(Kovra::JiffyTime end, Pacer& pacer) {
    for (Kovra::JiffyTime now = Kovra::JiffyTime::Now(); now < end; now = Kovra::JiffyTime::Now()) {
        Kovra::JiffyTime const next = now.AddMilliSec(WaitMilliSec);
        if (!pacer.WaitUntil(next < end ? next : end)) {
            return false;
        }
    }
    return true;
}

} // namespace

CheckupLog CheckUp(DeviceList devices, double seconds, Surroundings const& surroundings,
                   CaptureAccess& capture, OutputAccess& output) {
    CheckupLog log;
    log.devices = std::move(devices);
    bool const isOpen = surroundings.renderer.Initialize() >= 0;
    AtEnd const close([&] { surroundings.renderer.Shutdown(); });
    RateFit outputFit;
    std::unique_ptr<SilentSound> silence = isOpen ? output.Open() : nullptr;
    OutputWatch watch(silence ? std::make_unique<FittedSound>(std::move(silence), outputFit) : nullptr);
    watch.WaitUntilSteady(surroundings.stop);
    // Not before: what came meanwhile would come all at once.
    std::shared_ptr<Microphone> const microphone = capture.Open();

    NoisePlayer player(surroundings.renderer);
    log.hasOutput = isOpen && player.IsOpen();
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    player.Start(start);
    Arrivals arrivals;
    {
        BusyPacer pacer(surroundings, log.hasOutput ? &player : nullptr, start, seconds);
        auto const span = static_cast<std::int64_t>(seconds * static_cast<double>(NanoSecPerSec));
        Kovra::JiffyTime const end(start.NanoSec() + span);
        bool const isComplete = !microphone || Record(*microphone, Listening::NanoSecToSamples(span), start,
                                                      pacer, arrivals, log);
        log.input.failure = microphone ? log.input.failure : "there is no microphone.";
        log.isInterrupted = !isComplete || !WaitToTheEnd(end, pacer);
    }
    log.spanNanoSec = Kovra::JiffyTime::Now().GetDiffSysTime(start).NanoSec();
    log.output = watch.Stop(start.NanoSec());
    log.outputRate = outputFit.GetRate();
    log.loopbackMilliSec = log.hasOutput ? FindLoopback(player, arrivals, start) : std::nullopt;
    return log;
}

} // namespace AudioHost
