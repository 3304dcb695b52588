// Plays a WAV file of 16-bit PCM, 1 to 8 channels of any rate: player FILE.wav
#include <codec/audiocodecproxy.h>
#include <kovra/log.h>
#include <pipeline/pipeline.h>
#include <rendereraudio.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "pcmframe.h"
#include "silence.h"
#include "wav.h"

namespace {

constexpr int FrameMilliSec = 20;
/// From the call that hands a frame over to when it is heard.
constexpr int LeadMilliSec = 200;
/// The first frames of a session are not heard.
constexpr int SilentFrames = 2;
constexpr int TailMilliSec = 100;

void WaitUntil(Kovra::JiffyTime instant) {
    while (Kovra::JiffyTime::Now() < instant) {
        Sleep(2);
    }
}

/// Hands over all of the file, and returns when it has been heard. False when there was nothing in it.
bool Play(WavFile& wav, Media::Pipeline& pipeline, Media::Pipeline::SessionId_t session) {
    PcmParams const params = MakePcmParams(wav.frequencyHz, wav.channels);
    std::uint32_t const frameBlocks = std::max(1U, wav.frequencyHz / (1000 / FrameMilliSec));
    std::vector<std::int16_t> samples(std::size_t{frameBlocks} * wav.channels);
    Media::AudioCodecProxy codec;
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec);
    std::int64_t blocks = 0;
    int number = 0;
    for (;; ++number) {
        std::uint32_t const count =
            number < SilentFrames ? frameBlocks : WavRead(&wav, samples.data(), frameBlocks);
        if (count == 0) {
            break;
        }
        // Of the first sample, and above 0.
        Kovra::SysTime const timestamp(1 + blocks * Kovra::NanoSecPerSec / wav.frequencyHz);
        bool const isLast = wav.bytes == 0;
        auto const frame = MakePcmFrame(samples.data(), std::size_t{count} * wav.channels, params, timestamp);
        // What a session takes is mono, of 48000 Hz.
        for (std::shared_ptr<Media::FrameAud> const& mono :
             codec.Transcode({frame}, Media::MediaCoding_t::RawPcm, 1, 48000, frame->GetDuration(), isLast)) {
            Kovra::JiffyTime const presentation(start.NanoSec() + mono->GetTimestamp().NanoSec());
            pipeline.Submit(session, mono, presentation);
        }
        blocks += count;
        WaitUntil(Kovra::JiffyTime(start.NanoSec() + timestamp.NanoSec())
                      .AddMilliSec(FrameMilliSec - LeadMilliSec));
    }
    WaitUntil(Kovra::JiffyTime::Now().AddMilliSec(LeadMilliSec + TailMilliSec));
    return number > SilentFrames;
}

void TellStatistics(Media::Pipeline const& pipeline) {
    for (Media::SessionStatistics_t const& told : pipeline.GetStatistics().sessions) {
        std::printf(
            "%llu of %llu frames rendered, the last one %.1f ms off; started %llu times, moved %llu times\n",
            static_cast<unsigned long long>(told.jobs - told.failures.times),
            static_cast<unsigned long long>(told.jobs),
            static_cast<double>(told.errorNanoSec) / Kovra::NanoSecPerMilliSec,
            static_cast<unsigned long long>(told.starts.times),
            static_cast<unsigned long long>(told.jumps.times));
    }
}

/// The renderer is enabled.
bool PlayThrough(Media::RendererAudio& renderer, WavFile& wav) {
    Media::Pipeline pipeline(renderer, 1);
    Media::Pipeline::SessionId_t const session = pipeline.OpenSession({});
    if (session == Media::Pipeline::InvalidSession) {
        std::fputs("there is no output\n", stderr);
        return false;
    }
    Kovra::LogManager& log = Kovra::LogManager::Instance();
    log.SetObserver([&pipeline](Kovra::LogRecord const& record) { pipeline.AddLog(record); });
    bool const isPlayed = Play(wav, pipeline, session);
    log.Flush();
    TellStatistics(pipeline);
    log.SetObserver({});
    if (!isPlayed) {
        std::fputs("there is nothing to be played in it\n", stderr);
    }
    return isPlayed;
}

} // namespace

int main(int argc, char** argv) {
    WavFile wav;
    if (argc != 2 || WavOpen(&wav, argv[1]) == 0) {
        std::fputs("usage: player FILE.wav (16-bit PCM, 1 to 8 channels)\n", stderr);
        return EXIT_FAILURE;
    }
    Silence const silence;
    Media::RendererAudio renderer;
    Media::Pipeline::SetAudioRenderer(&renderer);
    int const status = renderer.Initialize();
    if (status < 0) {
        std::fprintf(stderr, "the output cannot be opened (status %d)\n", status);
    }
    // The pipeline in it ends before the renderer shuts down: a session that lived on would sound on.
    bool const done = status >= 0 && PlayThrough(renderer, wav);
    renderer.Shutdown();
    Media::Pipeline::SetAudioRenderer(nullptr);
    WavClose(&wav);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
