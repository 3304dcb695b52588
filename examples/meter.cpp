// Shows the level of the default microphone ten times a second: meter SECONDS
#include <rendereraudio.h>

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr int IntervalMilliSec = 100;
constexpr int LinesPerSec = 1000 / IntervalMilliSec;
/// A capture that has given nothing for so many lines is begun anew.
constexpr int RestartLines = LinesPerSec;
constexpr float BarWidth = 50.0F;

/// How many of the lines show a level.
int Meter(Media::RendererAudioCaptureProxy& microphone, int lines) {
    int shown = 0;
    for (int line = 1, silentLines = 0; line <= lines; ++line) {
        Sleep(IntervalMilliSec);
        if (microphone.SampleLineLevel() == 0) {
            float const level = microphone.GetLineLevel();
            std::string const bar(static_cast<std::size_t>(level * BarWidth), '#');
            std::printf("%.2f %s\n", static_cast<double>(level), bar.c_str());
            std::fflush(stdout);
            ++shown;
            silentLines = 0;
        } else if (++silentLines % RestartLines == 0) {
            microphone.StopBufferCapture();
            microphone.StartBufferCapture();
        }
    }
    return shown;
}

} // namespace

int main(int argc, char** argv) {
    int const seconds = argc == 2 ? std::atoi(argv[1]) : 0;
    if (seconds < 1 || seconds > 3600) {
        std::fputs("usage: meter SECONDS (1 to 3600)\n", stderr);
        return EXIT_FAILURE;
    }
    Media::RendererAudio renderer;
    std::shared_ptr<Media::RendererAudioCaptureProxy> microphone;
    if (renderer.Initialize() >= 0) {
        microphone = renderer.GetCaptureProxy();
    }
    if (microphone == nullptr) {
        std::fputs("there is no microphone\n", stderr);
        return EXIT_FAILURE;
    }
    int const shown = Meter(*microphone, seconds * LinesPerSec);
    if (shown == 0) {
        std::fputs("the microphone gives nothing\n", stderr);
    }
    renderer.Shutdown();
    return shown > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
