// Records the default microphone: recorder FILE.wav SECONDS
#include <rendereraudio/rendereraudio_c.h>
#include <stdlib.h>
#include <windows.h>

#include "wav.h"

#define MILLI_SEC 1000000LL

enum {
    FrequencyHz = 48000,
    FramesPerSec = FrequencyHz / RA_CAPTURE_FRAME_SAMPLES,
    // Twice as often as a frame comes: who reads late may lose some.
    ReadIntervalMilliSec = 10,
    // A capture that has given nothing for so long is begun anew, and given up in the end.
    RestartMilliSec = 1000,
    PatienceMilliSec = 5000
};

static int Check(char const* what, RaStatus status) {
    if (status < 0) {
        fprintf(stderr, "%s: %s (status %d)\n", what, RaGetStatusText(status), (int)status);
    }
    return status >= 0;
}

// Writes `wanted` frames of 20 ms.
static int Record(RaCapture capture, WavFile* wav, int wanted) {
    int16_t samples[RA_CAPTURE_FRAME_SAMPLES];
    RaCapturedFrame frame = {sizeof frame};
    int isWritten = 1, silentMilliSec = 0;
    while (wanted > 0 && isWritten && silentMilliSec < PatienceMilliSec) {
        RaStatus const status = RaCaptureReadFrame(capture, &frame, samples, RA_CAPTURE_FRAME_SAMPLES);
        if (status == RA_SUCCESS) {
            isWritten = WavWrite(wav, samples, frame.samples);
            silentMilliSec = 0;
            --wanted;
        } else if (status == RA_TOO_FEW_SAMPLES || status == RA_NOTHING_READ) {
            Sleep(ReadIntervalMilliSec);
            silentMilliSec += ReadIntervalMilliSec;
            if (silentMilliSec % RestartMilliSec == 0 && !Check("restart", RaCaptureRestart(capture))) {
                return 0;
            }
        } else {
            return Check("read", status);
        }
    }
    if (wanted > 0) {
        fprintf(stderr, isWritten ? "the microphone gives nothing\n" : "the file cannot be written\n");
    }
    return wanted == 0;
}

int main(int argc, char** argv) {
    // Nothing is played: no silence has to warm the output.
    RaOptions const options = {sizeof options, RA_NO_SILENCE, 0, 0};
    int const seconds = argc == 3 ? atoi(argv[2]) : 0;
    int done = 0;
    RaEngine engine;
    RaCapture capture;
    WavFile wav;
    if (seconds < 1 || seconds > 3600) {
        fprintf(stderr, "usage: recorder FILE.wav SECONDS (1 to 3600)\n");
        return EXIT_FAILURE;
    }
    if (!WavCreate(&wav, argv[1], FrequencyHz)) {
        fprintf(stderr, "%s: cannot be written\n", argv[1]);
        return EXIT_FAILURE;
    }
    if (Check("open", RaOpen(&options, &engine))) {
        if (Check("microphone", RaCaptureOpen(engine, NULL, NULL, &capture))) {
            printf("recording %d s\n", seconds);
            fflush(stdout);
            done = Record(capture, &wav, seconds * FramesPerSec);
            RaCaptureClose(capture);
        }
        RaClose(engine);
    }
    if (!WavFinish(&wav)) {
        fprintf(stderr, "%s: cannot be written to its end\n", argv[1]);
        done = 0;
    }
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
