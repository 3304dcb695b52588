// WAV files of 16-bit PCM, for the examples in C and in C++: as much of the format as they need.
//
// Functions return 0 when they fail. A block is one sample of each channel.
#ifndef EXAMPLES_WAV_H
#define EXAMPLES_WAV_H

#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef struct WavFile {
    FILE* file;
    uint32_t frequencyHz;
    uint32_t channels;
    // Still to be read, or written so far.
    uint32_t bytes;
} WavFile;

static inline uint32_t WavGetNumber(unsigned char const* bytes, int count) {
    return count == 0 ? 0 : bytes[0] | WavGetNumber(bytes + 1, count - 1) << 8;
}

static inline void WavPutNumber(unsigned char* bytes, int count, uint32_t number) {
    for (; count > 0; --count, number >>= 8) {
        *bytes++ = (unsigned char)number;
    }
}

static inline void WavClose(WavFile* wav) {
    fclose(wav->file);
    wav->file = NULL;
}

static inline int WavFindSamples(WavFile* wav) {
    unsigned char head[12], chunk[8], body[16];
    int hasFormat = 0;
    int goesOn = fread(head, 12, 1, wav->file) && !memcmp(head, "RIFF", 4) && !memcmp(head + 8, "WAVE", 4);
    while (goesOn && fread(chunk, 8, 1, wav->file)) {
        uint32_t bytes = WavGetNumber(chunk + 4, 4);
        if (memcmp(chunk, "data", 4) == 0) {
            wav->bytes = bytes;
            return hasFormat && wav->frequencyHz > 0 && wav->channels >= 1 && wav->channels <= 8;
        }
        if (memcmp(chunk, "fmt ", 4) == 0 && bytes >= 16 && fread(body, 16, 1, wav->file)) {
            wav->channels = WavGetNumber(body + 2, 2);
            wav->frequencyHz = WavGetNumber(body + 4, 4);
            hasFormat = WavGetNumber(body, 2) == 1 && WavGetNumber(body + 14, 2) == 16;
            bytes -= 16;
        }
        goesOn = bytes < INT32_MAX && fseek(wav->file, (long)(bytes + bytes % 2), SEEK_CUR) == 0;
    }
    return 0;
}

// Opens a file of 1 to 8 channels, to be read.
static inline int WavOpen(WavFile* wav, char const* path) {
    memset(wav, 0, sizeof *wav);
    wav->file = fopen(path, "rb");
    if (wav->file != NULL && !WavFindSamples(wav)) {
        WavClose(wav);
    }
    return wav->file != NULL;
}

// Reads up to `blocks` blocks, and returns how many there were.
static inline uint32_t WavRead(WavFile* wav, int16_t* samples, uint32_t blocks) {
    uint32_t const blockBytes = 2 * wav->channels;
    if (blocks > wav->bytes / blockBytes) {
        blocks = wav->bytes / blockBytes;
    }
    wav->bytes -= blocks * blockBytes;
    return (uint32_t)fread(samples, blockBytes, blocks, wav->file);
}

// Makes a file of one channel, to be written.
static inline int WavCreate(WavFile* wav, char const* path, uint32_t frequencyHz) {
    unsigned char const head[44] = {0};
    wav->file = fopen(path, "wb");
    wav->frequencyHz = frequencyHz;
    wav->channels = 1;
    wav->bytes = 0;
    return wav->file != NULL && fwrite(head, sizeof head, 1, wav->file) == 1;
}

static inline int WavWrite(WavFile* wav, int16_t const* samples, uint32_t count) {
    wav->bytes += 2 * count;
    return fwrite(samples, 2, count, wav->file) == count;
}

// Writes the head, which tells how long the sound has become, and closes the file.
static inline int WavFinish(WavFile* wav) {
    unsigned char head[44] = "RIFF----WAVEfmt ";
    int isWritten;
    WavPutNumber(head + 4, 4, 36 + wav->bytes);
    WavPutNumber(head + 16, 4, 16);
    WavPutNumber(head + 20, 2, 1);
    WavPutNumber(head + 22, 2, wav->channels);
    WavPutNumber(head + 24, 4, wav->frequencyHz);
    WavPutNumber(head + 28, 4, 2 * wav->frequencyHz);
    WavPutNumber(head + 32, 2, 2);
    WavPutNumber(head + 34, 2, 16);
    memcpy(head + 36, "data", 4);
    WavPutNumber(head + 40, 4, wav->bytes);
    isWritten = fseek(wav->file, 0, SEEK_SET) == 0 && fwrite(head, sizeof head, 1, wav->file) == 1;
    isWritten = fclose(wav->file) == 0 && isWritten;
    wav->file = NULL;
    return isWritten;
}

#endif
