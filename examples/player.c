// Plays a WAV file of 16-bit PCM, 1 to 8 channels of any rate: player FILE.wav
#include <rendereraudio/rendereraudio_c.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#define MILLI_SEC 1000000LL
#define FRAME_SAMPLES 960 /* 20 ms at 48000 Hz, what a session takes */
#define LEAD_MILLI_SEC 200

typedef struct Sound {
    FILE* file;
    RaStreamFormat format;
    uint32_t left; /* bytes of samples that have not been read */
} Sound;

static int Check(char const* what, RaStatus status) {
    if (status < 0) {
        fprintf(stderr, "%s: %s (status %d)\n", what, RaGetStatusText(status), (int)status);
    }
    return status >= 0;
}

static uint32_t Number(unsigned char const* bytes, int count) {
    return count == 0 ? 0 : bytes[0] | Number(bytes + 1, count - 1) << 8;
}

/* Reads up to the samples; 0 when the file is not what it should be. */
static int ReadHeader(Sound* sound) {
    unsigned char head[12], chunk[8], body[16];
    int hasFormat = 0;
    int goesOn = fread(head, 12, 1, sound->file) && !memcmp(head, "RIFF", 4) && !memcmp(head + 8, "WAVE", 4);
    while (goesOn && fread(chunk, 1, 8, sound->file) == 8) {
        uint32_t bytes = Number(chunk + 4, 4);
        if (memcmp(chunk, "data", 4) == 0) {
            sound->left = bytes;
            return hasFormat && sound->format.channels >= 1 && sound->format.channels <= 8;
        }
        if (memcmp(chunk, "fmt ", 4) == 0 && bytes >= 16 && fread(body, 1, 16, sound->file) == 16) {
            sound->format.channels = Number(body + 2, 2);
            sound->format.frequencyHz = Number(body + 4, 4);
            hasFormat = Number(body, 2) == 1 && Number(body + 14, 2) == 16;
            bytes -= 16;
        }
        goesOn = bytes < INT32_MAX && fseek(sound->file, (long)(bytes + bytes % 2), SEEK_CUR) == 0;
    }
    return 0;
}

/* Fills `samples` with the next 20 ms, and with silence what the file lacks for it; 0 at the end. */
static int NextFrame(Sound* sound, RaCodec codec, int16_t* samples) {
    static unsigned char chunk[4096];
    uint32_t const block = 2 * sound->format.channels;
    uint32_t filled = 0, count = 0;
    RaStatus status = RA_SUCCESS;
    memset(samples, 0, FRAME_SAMPLES * sizeof *samples);
    while (filled < FRAME_SAMPLES && status == RA_SUCCESS) {
        size_t bytes = sound->left < sizeof chunk ? sound->left : sizeof chunk;
        if (RaCodecRead(codec, samples + filled, FRAME_SAMPLES - filled, &count) == RA_SUCCESS) {
            filled += count;
            continue;
        }
        bytes = fread(chunk, 1, bytes / block * block, sound->file) / block * block;
        sound->left -= (uint32_t)bytes;
        status = bytes > 0 ? RaCodecFeed(codec, &sound->format, chunk, (uint32_t)bytes) : RaCodecFlush(codec);
        if (bytes > 0 && status == RA_NOTHING_READ) {
            status = RA_SUCCESS; /* too little for a sample of the session's rate */
        } else if (bytes > 0) {
            Check("sound", status);
        }
    }
    return filled > 0;
}

static void WaitUntil(int64_t instant) {
    while (RaGetTimeNanoSec() < instant) {
        Sleep(2);
    }
}

/* Whether there were frames, and all were taken. */
static int Play(Sound* sound, RaSession session, RaCodec codec) {
    static int16_t samples[FRAME_SAMPLES];
    RaFrame frame = {sizeof frame, sizeof samples, samples, 1000 * MILLI_SEC,
                     RaGetTimeNanoSec() + LEAD_MILLI_SEC * MILLI_SEC};
    RaSessionStatistics statistics = {sizeof statistics};
    int isTaken = 1;
    while (isTaken && NextFrame(sound, codec, samples)) {
        isTaken = Check("submit", RaSessionSubmit(session, &frame));
        frame.timestampNanoSec += 20 * MILLI_SEC;
        frame.presentationNanoSec += 20 * MILLI_SEC;
        WaitUntil(frame.presentationNanoSec - LEAD_MILLI_SEC * MILLI_SEC);
    }
    WaitUntil(frame.presentationNanoSec + 100 * MILLI_SEC);
    RaSessionGetStatistics(session, &statistics);
    printf("%u of %u frames rendered, the last one %.1f ms off\n", (unsigned)statistics.framesRendered,
           (unsigned)statistics.framesSubmitted,
           (double)(statistics.lastAchievedNanoSec - statistics.lastRequestedNanoSec) / MILLI_SEC);
    if (statistics.framesSubmitted == 0) {
        fprintf(stderr, "there is nothing to be played in it\n");
    }
    return isTaken && statistics.framesSubmitted > 0;
}

int main(int argc, char** argv) {
    RaStreamFormat const played = {sizeof played, RA_CODING_PCM, 48000, 1, 16};
    Sound sound = {NULL, {sizeof(RaStreamFormat), RA_CODING_PCM, 0, 0, 16}, 0};
    RaEngine engine;
    RaSession session;
    RaCodec codec = NULL;
    int done = 0;
    sound.file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (sound.file == NULL || !ReadHeader(&sound)) {
        fprintf(stderr, "usage: player FILE.wav (16-bit PCM, 1 to 8 channels)\n");
        return EXIT_FAILURE;
    }
    if (Check("open", RaOpen(NULL, &engine))) {
        done = Check("session", RaSessionOpen(engine, &played, NULL, NULL, &session)) &&
               Check("codec", RaCodecOpen(played.frequencyHz, played.channels, &codec)) &&
               Play(&sound, session, codec);
        RaCodecClose(codec);
        RaClose(engine);
    }
    fclose(sound.file);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
