// Plays a WAV file of 16-bit PCM, whatever its rate and channels: player FILE.wav
#include <rendereraudio/rendereraudio_c.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <windows.h>

#define MILLI_SEC 1000000LL
#define FRAME_SAMPLES 960 /* 20 ms at 48000 Hz, what a session takes */
#define LEAD_MILLI_SEC 200
#define CHUNK_BYTES 4096

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
static int ReadHeader(FILE* file, RaStreamFormat* format) {
    unsigned char head[12], chunk[8], body[16];
    int hasFormat = 0;
    if (fread(head, 1, 12, file) != 12 || memcmp(head, "RIFF", 4) != 0 || memcmp(head + 8, "WAVE", 4) != 0) {
        return 0;
    }
    while (fread(chunk, 1, 8, file) == 8) {
        uint32_t bytes = Number(chunk + 4, 4);
        if (memcmp(chunk, "data", 4) == 0) {
            return hasFormat;
        }
        if (memcmp(chunk, "fmt ", 4) == 0 && bytes >= 16 && fread(body, 1, 16, file) == 16) {
            format->channels = Number(body + 2, 2);
            format->frequencyHz = Number(body + 4, 4);
            format->bitsPerSample = Number(body + 14, 2);
            hasFormat = Number(body, 2) == 1;
            bytes -= 16;
        }
        if (fseek(file, (long)(bytes + bytes % 2), SEEK_CUR) != 0) {
            return 0;
        }
    }
    return 0;
}

/* Fills `samples` with the next 20 ms, and with silence what the file lacks for it; 0 at the end. */
static int NextFrame(FILE* file, RaCodec codec, RaStreamFormat const* format, int16_t* samples) {
    static unsigned char chunk[CHUNK_BYTES];
    uint32_t const block = 2 * format->channels;
    uint32_t filled = 0, count = 0;
    memset(samples, 0, FRAME_SAMPLES * sizeof *samples);
    while (filled < FRAME_SAMPLES) {
        size_t bytes;
        if (RaCodecRead(codec, samples + filled, FRAME_SAMPLES - filled, &count) == RA_SUCCESS) {
            filled += count;
            continue;
        }
        bytes = fread(chunk, 1, CHUNK_BYTES / block * block, file) / block * block;
        if (bytes == 0) {
            break;
        }
        if (RaCodecFeed(codec, format, chunk, (uint32_t)bytes) == RA_INVALID_ARGUMENT) {
            break;
        }
    }
    return filled > 0;
}

static void WaitUntil(int64_t instant) {
    while (RaGetTimeNanoSec() < instant) {
        Sleep(2);
    }
}

static void Play(FILE* file, RaSession session, RaCodec codec, RaStreamFormat const* format) {
    static int16_t samples[FRAME_SAMPLES];
    int64_t const start = RaGetTimeNanoSec();
    RaFrame frame = {sizeof frame, sizeof samples, samples, 1000 * MILLI_SEC,
                     start + LEAD_MILLI_SEC * MILLI_SEC};
    RaSessionStatistics statistics = {sizeof statistics};
    while (NextFrame(file, codec, format, samples) && Check("submit", RaSessionSubmit(session, &frame))) {
        frame.timestampNanoSec += 20 * MILLI_SEC;
        frame.presentationNanoSec += 20 * MILLI_SEC;
        WaitUntil(frame.presentationNanoSec - LEAD_MILLI_SEC * MILLI_SEC);
    }
    WaitUntil(frame.presentationNanoSec + 100 * MILLI_SEC);
    RaSessionGetStatistics(session, &statistics);
    printf("%u frames, the last one %.1f ms off\n", (unsigned)statistics.framesRendered,
           (double)(statistics.lastAchievedNanoSec - statistics.lastRequestedNanoSec) / MILLI_SEC);
}

int main(int argc, char** argv) {
    RaStreamFormat const played = {sizeof played, RA_CODING_PCM, 48000, 1, 16};
    RaStreamFormat format = {sizeof format, RA_CODING_PCM};
    RaEngine engine;
    RaSession session;
    RaCodec codec;
    int done = 0;
    FILE* const file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    if (file == NULL || !ReadHeader(file, &format) || format.bitsPerSample != 16) {
        fprintf(stderr, "usage: player FILE.wav (16-bit PCM)\n");
        return EXIT_FAILURE;
    }
    if (Check("open", RaOpen(NULL, &engine))) {
        if (Check("session", RaSessionOpen(engine, &played, NULL, NULL, &session)) &&
            Check("codec", RaCodecOpen(played.frequencyHz, played.channels, &codec))) {
            Play(file, session, codec, &format);
            done = 1;
        }
        RaClose(engine);
    }
    fclose(file);
    return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
