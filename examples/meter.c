// Shows the level of the default microphone ten times a second: meter SECONDS
#include <rendereraudio/rendereraudio_c.h>
#include <stdio.h>
#include <stdlib.h>
#include <windows.h>

enum {
    // Frames of 20 ms from one line to the next.
    FramesPerLine = 5,
    BarWidth = 50
};

static int Check(char const* what, RaStatus status) {
    if (status < 0) {
        fprintf(stderr, "%s: %s (status %d)\n", what, RaGetStatusText(status), (int)status);
    }
    return status >= 0;
}

// Called with each frame, on a thread of the library.
static void ShowLevel(void* context, RaCapturedFrame const* frame, int16_t const* samples) {
    static char const bar[BarWidth + 1] = "##################################################";
    int* const frames = context;
    (void)samples;
    if (++*frames % FramesPerLine == 0) {
        printf("%.2f %.*s\n", (double)frame->level, (int)(frame->level * BarWidth), bar);
        fflush(stdout);
    }
}

int main(int argc, char** argv) {
    // Nothing is played: no silence has to warm the output.
    RaOptions const options = {sizeof options, RA_NO_SILENCE, 0, 0};
    int const seconds = argc == 2 ? atoi(argv[1]) : 0;
    int frames = 0;
    RaEngine engine;
    RaCapture capture;
    if (seconds < 1 || seconds > 3600) {
        fprintf(stderr, "usage: meter SECONDS (1 to 3600)\n");
        return EXIT_FAILURE;
    }
    if (!Check("open", RaOpen(&options, &engine))) {
        return EXIT_FAILURE;
    }
    if (Check("microphone", RaCaptureOpen(engine, ShowLevel, &frames, &capture))) {
        Sleep((DWORD)seconds * 1000);
        // Behind this `frames` is nobody else's.
        RaCaptureClose(capture);
        if (frames == 0) {
            fprintf(stderr, "the microphone gives nothing\n");
        }
    }
    RaClose(engine);
    return frames > 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
