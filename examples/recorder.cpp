// Records the default microphone: recorder FILE.wav SECONDS
#include <rendereraudio.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "wav.h"

namespace {

constexpr int FrequencyHz = 48000;
constexpr int FramesPerSec = 50;
/// Twice as often as a frame comes: who reads late may lose some.
constexpr int ReadIntervalMilliSec = 10;
/// A capture that has given nothing for so long is begun anew, and given up in the end.
constexpr int RestartMilliSec = 1000;
constexpr int PatienceMilliSec = 5000;
/// Statuses of a read that will give more later.
constexpr int NothingRead = -10;
constexpr int NothingYet = -30;

/// Writes up to `wanted` of the frames, and returns how many; -1 when the file is full.
int Write(std::vector<std::shared_ptr<Media::FrameAud>> const& frames, int wanted, WavFile& wav) {
    int written = 0;
    for (std::shared_ptr<Media::FrameAud> const& frame : frames) {
        std::int16_t samples[FrequencyHz / FramesPerSec];
        Kovra::BufferInfo const* const bytes = frame->GetConstBufferBegin();
        if (written == wanted || bytes == nullptr || bytes->GetLength() != sizeof samples) {
            break;
        }
        std::memcpy(samples, bytes->GetData(), sizeof samples);
        if (WavWrite(&wav, samples, FrequencyHz / FramesPerSec) == 0) {
            return -1;
        }
        ++written;
    }
    return written;
}

/// Writes `wanted` frames of 20 ms.
bool Record(Media::RendererAudioCaptureProxy& microphone, WavFile& wav, int wanted) {
    std::vector<std::shared_ptr<Media::FrameAud>> frames;
    int silentMilliSec = 0;
    while (wanted > 0 && silentMilliSec < PatienceMilliSec) {
        frames.clear();
        int const status = microphone.ReadFrames(frames);
        if (status < 0 && status != NothingRead && status != NothingYet) {
            std::fprintf(stderr, "the microphone cannot be read (status %d)\n", status);
            return false;
        }
        int const written = Write(frames, wanted, wav);
        if (written < 0) {
            std::fputs("the file cannot be written\n", stderr);
            return false;
        }
        wanted -= written;
        silentMilliSec = written > 0 ? 0 : silentMilliSec + ReadIntervalMilliSec;
        if (silentMilliSec > 0 && silentMilliSec % RestartMilliSec == 0) {
            microphone.StopBufferCapture();
            microphone.StartBufferCapture();
        }
        Sleep(ReadIntervalMilliSec);
    }
    if (wanted > 0) {
        std::fputs("the microphone gives nothing\n", stderr);
    }
    return wanted == 0;
}

} // namespace

int main(int argc, char** argv) {
    int const seconds = argc == 3 ? std::atoi(argv[2]) : 0;
    WavFile wav;
    if (seconds < 1 || seconds > 3600) {
        std::fputs("usage: recorder FILE.wav SECONDS (1 to 3600)\n", stderr);
        return EXIT_FAILURE;
    }
    if (WavCreate(&wav, argv[1], FrequencyHz) == 0) {
        std::fprintf(stderr, "%s: cannot be written\n", argv[1]);
        return EXIT_FAILURE;
    }
    Media::RendererAudio renderer;
    std::shared_ptr<Media::RendererAudioCaptureProxy> microphone;
    if (renderer.Initialize() >= 0) {
        microphone = renderer.GetCaptureProxy();
    }
    bool done = false;
    if (microphone == nullptr) {
        std::fputs("there is no microphone\n", stderr);
    } else {
        std::printf("recording %d s\n", seconds);
        std::fflush(stdout);
        done = Record(*microphone, wav, seconds * FramesPerSec);
    }
    renderer.Shutdown();
    if (WavFinish(&wav) == 0) {
        std::fprintf(stderr, "%s: cannot be written to its end\n", argv[1]);
        done = false;
    }
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
