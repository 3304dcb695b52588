// Plays several WAV files in step, side by side from left to right: instep LEFT.wav ... RIGHT.wav
// They are PCM of 48000 Hz, 16 bits, one channel; player.cpp shows what to do with others.
#include <pipeline/pipeline.h>
#include <rendereraudio.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "pcmframe.h"
#include "silence.h"
#include "wav.h"

namespace {

constexpr int FrameSamples = 960; // 20 ms at 48000 Hz
constexpr int FrameMilliSec = 20;
constexpr int LeadMilliSec = 200;
/// The first frames of a session are not heard.
constexpr int SilentFrames = 2;
constexpr int TailMilliSec = 100;
constexpr int MaxStreams = 63;

struct Stream {
    WavFile wav = {};
    Media::Pipeline::SessionId_t session = Media::Pipeline::InvalidSession;
};

bool OpenStream(Media::Pipeline& pipeline, char const* path, float balance, Stream& stream) {
    if (WavOpen(&stream.wav, path) == 0 || stream.wav.frequencyHz != 48000 || stream.wav.channels != 1) {
        std::fprintf(stderr, "%s: no WAV file of 48000 Hz, 16 bits, one channel\n", path);
        return false;
    }
    stream.session = pipeline.OpenSession({});
    if (stream.session == Media::Pipeline::InvalidSession) {
        std::fputs("there is no output\n", stderr);
        return false;
    }
    Media::PipelineClientState_t wishes;
    wishes.volume = 1.0F;
    wishes.balance = balance;
    return pipeline.SetClientState(stream.session, wishes);
}

/// Hands over the stream's next 20 ms, with silence behind its end; false when it has ended.
bool SubmitNext(Media::Pipeline& pipeline, Stream& stream, int number, Kovra::JiffyTime presentation) {
    static PcmParams const params = MakePcmParams(48000, 1);
    std::array<std::int16_t, FrameSamples> samples = {};
    if (number >= SilentFrames && WavRead(&stream.wav, samples.data(), FrameSamples) == 0) {
        return false;
    }
    Kovra::SysTime const timestamp = Kovra::SysTime::FromMilliSec((number + 1) * FrameMilliSec);
    return pipeline.Submit(stream.session, MakePcmFrame(samples.data(), samples.size(), params, timestamp),
                           presentation);
}

/// Frames that shall be heard together get the same presentation time: nothing else keeps streams in step.
void Play(Media::Pipeline& pipeline, std::vector<Stream>& streams) {
    Kovra::JiffyTime const start = Kovra::JiffyTime::Now();
    bool isPlaying = true;
    for (int number = 0; isPlaying; ++number) {
        Kovra::JiffyTime const presentation = start.AddMilliSec(number * FrameMilliSec + LeadMilliSec);
        isPlaying = false;
        for (Stream& stream : streams) {
            isPlaying = SubmitNext(pipeline, stream, number, presentation) || isPlaying;
        }
        while (Kovra::JiffyTime::Now() < presentation.AddMilliSec(FrameMilliSec - LeadMilliSec)) {
            Sleep(2);
        }
    }
    Sleep(LeadMilliSec + TailMilliSec);
}

/// The renderer is enabled.
bool PlayThrough(Media::RendererAudio& renderer, int count, char** paths) {
    Media::Pipeline pipeline(renderer, 2);
    std::vector<Stream> streams(static_cast<std::size_t>(count));
    bool isOpen = true;
    for (int i = 0; i < count && isOpen; ++i) {
        float const balance = count == 1 ? 0.5F : static_cast<float>(i) / static_cast<float>(count - 1);
        isOpen = OpenStream(pipeline, paths[i], balance, streams[static_cast<std::size_t>(i)]);
    }
    if (isOpen) {
        Play(pipeline, streams);
    }
    for (Media::SessionStatistics_t const& told : pipeline.GetStatistics().sessions) {
        std::printf("session %u: %.1f ms off\n", told.session,
                    static_cast<double>(told.errorNanoSec) / Kovra::NanoSecPerMilliSec);
    }
    for (Stream& stream : streams) {
        if (stream.wav.file != nullptr) {
            WavClose(&stream.wav);
        }
    }
    return isOpen;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2 || argc > 1 + MaxStreams) {
        std::fprintf(stderr, "usage: instep LEFT.wav ... RIGHT.wav (1 to %d files)\n", MaxStreams);
        return EXIT_FAILURE;
    }
    Silence const silence;
    Media::RendererAudio renderer;
    int const status = renderer.Initialize();
    if (status < 0) {
        std::fprintf(stderr, "the output cannot be opened (status %d)\n", status);
    }
    bool const done = status >= 0 && PlayThrough(renderer, argc - 1, argv + 1);
    renderer.Shutdown();
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
