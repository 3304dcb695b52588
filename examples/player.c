// Plays a WAV file of 16-bit PCM, 1 to 8 channels of any rate: player FILE.wav
#include <rendereraudio/rendereraudio_c.h>
#include <stdlib.h>
#include <windows.h>

#include "wav.h"

#define MILLI_SEC 1000000LL

enum {
    FrameSamples = 960, // 20 ms at 48000 Hz
    FrameMilliSec = 20,
    // From the call that hands a frame over to when it is heard.
    LeadMilliSec = 200,
    // The first frames of a session are not heard.
    SilentFrames = 2,
    TailMilliSec = 100,
    ChunkBlocks = 2048
};

static int Check(char const* what, RaStatus status) {
    if (status < 0) {
        fprintf(stderr, "%s: %s (status %d)\n", what, RaGetStatusText(status), (int)status);
    }
    return status >= 0;
}

// Fills `samples` with the next 20 ms, and with silence what the file lacks for it; 0 at the end.
static int NextFrame(WavFile* wav, RaCodec codec, int16_t* samples) {
    static int16_t chunk[8 * ChunkBlocks];
    RaStreamFormat const format = {sizeof format, RA_CODING_PCM, wav->frequencyHz, wav->channels, 16};
    uint32_t filled = 0, count = 0;
    RaStatus status = RA_SUCCESS;
    memset(samples, 0, FrameSamples * sizeof *samples);
    while (filled < FrameSamples && status == RA_SUCCESS) {
        if (RaCodecRead(codec, samples + filled, FrameSamples - filled, &count) == RA_SUCCESS) {
            filled += count;
        } else if ((count = WavRead(wav, chunk, ChunkBlocks)) > 0) {
            status = RaCodecFeed(codec, &format, chunk, count * wav->channels * 2);
            // The last few blocks may be too little for a sample of the session's rate.
            status = status == RA_NOTHING_READ ? RA_SUCCESS : status;
            Check("sound", status);
        } else {
            status = RaCodecFlush(codec);
        }
    }
    return filled > 0;
}

static void WaitUntil(int64_t instant) {
    while (RaGetTimeNanoSec() < instant) {
        Sleep(2);
    }
}

// Whether there were frames, and all were taken.
static int Play(WavFile* wav, RaSession session, RaCodec codec) {
    static int16_t samples[FrameSamples];
    RaFrame frame = {sizeof frame, sizeof samples, samples, 1000 * MILLI_SEC,
                     RaGetTimeNanoSec() + LeadMilliSec * MILLI_SEC};
    int number = 0, isTaken = 1;
    while (isTaken && (number < SilentFrames || NextFrame(wav, codec, samples))) {
        isTaken = Check("submit", RaSessionSubmit(session, &frame));
        ++number;
        frame.timestampNanoSec += FrameMilliSec * MILLI_SEC;
        frame.presentationNanoSec += FrameMilliSec * MILLI_SEC;
        WaitUntil(frame.presentationNanoSec - LeadMilliSec * MILLI_SEC);
    }
    WaitUntil(frame.presentationNanoSec + TailMilliSec * MILLI_SEC);
    RaSessionStatistics statistics = {sizeof statistics};
    if (Check("statistics", RaSessionGetStatistics(session, &statistics))) {
        printf("%u of %u frames rendered, the last one %.1f ms off\n", (unsigned)statistics.framesRendered,
               (unsigned)statistics.framesSubmitted,
               (double)(statistics.lastAchievedNanoSec - statistics.lastRequestedNanoSec) / MILLI_SEC);
    }
    if (number == SilentFrames) {
        fprintf(stderr, "there is nothing to be played in it\n");
    }
    return isTaken && number > SilentFrames;
}

int main(int argc, char** argv) {
    WavFile wav;
    RaCodec codec = NULL;
    int done = 0;
    if (argc != 2 || !WavOpen(&wav, argv[1])) {
        fprintf(stderr, "usage: player FILE.wav (16-bit PCM, 1 to 8 channels)\n");
        return EXIT_FAILURE;
    }
    RaStreamFormat const played = {sizeof played, RA_CODING_PCM, 48000, 1, 16};
    RaEngine engine;
    RaSession session;
    if (Check("open", RaOpen(NULL, &engine))) {
        done = Check("session", RaSessionOpen(engine, &played, NULL, NULL, &session)) &&
               Check("codec", RaCodecOpen(played.frequencyHz, played.channels, &codec)) &&
               Play(&wav, session, codec);
        RaCodecClose(codec);
        RaClose(engine);
    }
    WavClose(&wav);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
