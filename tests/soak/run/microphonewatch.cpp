#include "run/microphonewatch.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>

#include "ears/soundplan.h"

namespace Soak {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds ReadPeriod{10};
constexpr int NothingYet = -30;
/// A capture that has not begun by then never will: Wine's now and then does not (docs/integration.md).
constexpr double BeginSeconds = 2.0;

/// Far more than the audio server takes at a time, so that it never runs dry.
constexpr std::int64_t FeedAheadSamples = Listening::SoundRateHz;

double ToSeconds(Clock::duration span) {
    return std::chrono::duration<double>(span).count();
}

class Feeder {
public:
    explicit Feeder(TestSupport::MicrophoneFeed const& feed) : feed_(feed) {}

    /// So that there is sound for a while beyond `seconds` after the first call.
    void FeedBeyond(double seconds) {
        auto const wanted = static_cast<std::int64_t>(seconds * Listening::SoundRateHz) + FeedAheadSamples;
        if (wanted - fed_ < FeedAheadSamples / 4) {
            return;
        }
        Listening::Samples sound;
        for (; fed_ < wanted; ++fed_) {
            sound.push_back(MicrophoneSample(fed_));
        }
        feed_.PlayPiece(sound);
    }

private:
    TestSupport::MicrophoneFeed const& feed_;
    std::int64_t fed_ = 0;
};

std::vector<std::int16_t> SamplesOf(Media::FrameAud const& frame) {
    Kovra::BufferInfo const& info = *frame.GetConstBufferBegin();
    std::vector<std::int16_t> samples(info.GetLength() / sizeof(std::int16_t));
    std::memcpy(samples.data(), info.GetData(), samples.size() * sizeof(std::int16_t));
    return samples;
}

} // namespace

Captured WatchMicrophone(Media::RendererAudioCaptureProxy& microphone,
                         TestSupport::MicrophoneFeed const& feed, std::atomic<bool> const& isOver) {
    Captured captured;
    Feeder feeder(feed);
    Clock::time_point const start = Clock::now();
    Clock::time_point firstFrame{};
    Clock::time_point lastRead = start;
    Clock::time_point begun = start;
    std::vector<std::shared_ptr<Media::FrameAud>> frames;
    while (!isOver) {
        feeder.FeedBeyond(ToSeconds(Clock::now() - start));
        std::this_thread::sleep_until(std::max(lastRead + ReadPeriod, Clock::now()));
        Clock::time_point const now = Clock::now();
        captured.intervalMilliSec.Add(Listening::MilliSecPerSec * ToSeconds(now - lastRead));
        lastRead = now;
        frames.clear();
        int const status = microphone.ReadFrames(frames);
        ++captured.reads;
        if (status < 0 && status != NothingYet) {
            ++captured.failures[status];
        }
        captured.readsWithMoreThanOneFrame += frames.size() > 1 ? 1 : 0;
        for (auto const& frame : frames) {
            if (captured.judge.GetFrames() == 0) {
                firstFrame = now;
            }
            captured.judge.AddFrame(frame->GetIdent().sequenceNumber, SamplesOf(*frame));
        }
        if (captured.judge.GetFrames() == 0 && ToSeconds(now - begun) >= BeginSeconds) {
            microphone.StopBufferCapture();
            microphone.StartBufferCapture();
            begun = now;
        }
        if (captured.judge.GetFrames() > 0) {
            captured.seconds = ToSeconds(now - firstFrame);
            captured.lowestLevel = std::min(captured.lowestLevel, microphone.GetLineLevel());
            captured.highestLevel = std::max(captured.highestLevel, microphone.GetLineLevel());
        }
    }
    return captured;
}

} // namespace Soak
