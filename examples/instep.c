// Plays several WAV files in step, side by side from left to right: instep LEFT.wav ... RIGHT.wav
// They are PCM of 48000 Hz, 16 bits, one channel; player.c shows what to do with others.
#include <rendereraudio/rendereraudio_c.h>
#include <stdlib.h>
#include <windows.h>

#include "wav.h"

#define MILLI_SEC 1000000LL

enum {
    FrameSamples = 960, // 20 ms at 48000 Hz
    FrameMilliSec = 20,
    LeadMilliSec = 200,
    // The first frames of a session are not heard.
    SilentFrames = 2,
    TailMilliSec = 100
};

typedef struct Stream {
    WavFile wav;
    RaSession session;
    int16_t samples[FrameSamples];
    int isRefused;
} Stream;

static int Check(char const* what, RaStatus status) {
    if (status < 0) {
        fprintf(stderr, "%s: %s (status %d)\n", what, RaGetStatusText(status), (int)status);
    }
    return status >= 0;
}

static int OpenStream(RaEngine engine, Stream* stream, char const* path, float balance) {
    RaStreamFormat const format = {sizeof format, RA_CODING_PCM, 48000, 1, 16};
    if (!WavOpen(&stream->wav, path) || stream->wav.frequencyHz != 48000 || stream->wav.channels != 1) {
        fprintf(stderr, "%s: no WAV file of 48000 Hz, 16 bits, one channel\n", path);
        return 0;
    }
    return Check("session", RaSessionOpen(engine, &format, NULL, NULL, &stream->session)) &&
           Check("volume", RaSessionSetVolume(stream->session, 1.0F, balance));
}

// Hands over the stream's next 20 ms, with silence behind its end; 0 when it has ended or was refused.
static int SubmitNext(Stream* stream, RaFrame const* times) {
    RaFrame frame = *times;
    uint32_t count = 0;
    memset(stream->samples, 0, sizeof stream->samples);
    frame.data = stream->samples;
    frame.bytes = sizeof stream->samples;
    if (frame.timestampNanoSec > SilentFrames * FrameMilliSec * MILLI_SEC) {
        count = WavRead(&stream->wav, stream->samples, FrameSamples);
        if (count == 0) {
            return 0;
        }
    }
    stream->isRefused = !Check("submit", RaSessionSubmit(stream->session, &frame));
    return !stream->isRefused;
}

// Frames that shall be heard together get the same presentation time: nothing else keeps streams in step.
static void Play(Stream* streams, int count) {
    int64_t const start = RaGetTimeNanoSec();
    RaFrame times = {sizeof times, 0, NULL, FrameMilliSec * MILLI_SEC, start + LeadMilliSec * MILLI_SEC};
    int playing = count;
    while (playing > 0) {
        int i;
        for (i = playing = 0; i < count; ++i) {
            playing += SubmitNext(&streams[i], &times);
        }
        times.timestampNanoSec += FrameMilliSec * MILLI_SEC;
        times.presentationNanoSec += FrameMilliSec * MILLI_SEC;
        while (RaGetTimeNanoSec() < times.presentationNanoSec - LeadMilliSec * MILLI_SEC) {
            Sleep(2);
        }
    }
    Sleep(LeadMilliSec + TailMilliSec);
}

// Whether all of it was taken.
static int Tell(Stream const* stream, char const* path) {
    RaSessionStatistics told = {sizeof told};
    if (Check("statistics", RaSessionGetStatistics(stream->session, &told))) {
        printf("%s: %u of %u frames rendered, the last one %.1f ms off\n", path,
               (unsigned)told.framesRendered, (unsigned)told.framesSubmitted,
               (double)(told.lastAchievedNanoSec - told.lastRequestedNanoSec) / MILLI_SEC);
    }
    return !stream->isRefused;
}

int main(int argc, char** argv) {
    static Stream streams[RA_MAX_SESSIONS];
    int const count = argc - 1;
    int opened = 0, done, i;
    RaEngine engine;
    if (count < 1 || count > RA_MAX_SESSIONS) {
        fprintf(stderr, "usage: instep LEFT.wav ... RIGHT.wav (1 to %d files)\n", RA_MAX_SESSIONS);
        return EXIT_FAILURE;
    }
    if (!Check("open", RaOpen(NULL, &engine))) {
        return EXIT_FAILURE;
    }
    while (opened < count && OpenStream(engine, &streams[opened], argv[opened + 1],
                                        count == 1 ? 0.5F : (float)opened / (float)(count - 1))) {
        ++opened;
    }
    done = opened == count;
    if (done) {
        Play(streams, count);
    }
    for (i = 0; i < opened; ++i) {
        done = Tell(&streams[i], argv[i + 1]) && done;
        WavClose(&streams[i].wav);
    }
    // Ends the sessions, too.
    RaClose(engine);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
