// A host in plain C, for any compiler: plays three seconds of a tone on either side, one of PCM, one of
// G.711, and captures meanwhile. The exit code is the number of what went wrong, 0 for nothing. What was
// heard is judged by who started it. Needs no C library, so that it can be linked where there is none.
#include "pinned.h"

#define MILLI_SEC 1000000LL

enum {
    RateHz = 48000,
    FrameSamples = 960,
    PcmTonePeriod = 120, // 400 Hz
    G711Bytes = 160,
    G711TonePeriod = 16, // 500 Hz at 8000 Hz
    Frames = 150,
    // A frame that a busy machine hands over too late is not rendered, but not all of three seconds are late.
    LeastFrames = 5,
    FrameMilliSec = 20,
    LeadMilliSec = 200,
    // Whatever is refused so long before its time has not been too late.
    InTimeMilliSec = LeadMilliSec / 2,
    TailMilliSec = 300
};

__declspec(dllimport) void Sleep(unsigned long milliSec);

// Of one session, whose reports come one after the other. Those of another one come beside them.
typedef struct Reports {
    uint32_t seen;
    uint32_t rendered;
    uint32_t wrong;
} Reports;

static Reports pcmReports, g711Reports;
static volatile uint32_t framesCaptured, recordsSeen;

static void OnReport(void* context, RaReport const* report) {
    Reports* const reports = context;
    int64_t const error = report->achievedNanoSec - report->requestedNanoSec;
    ++reports->seen;
    if (report->size < sizeof *report) {
        ++reports->wrong;
    } else if (!report->isRendered) {
        reports->wrong += RaGetTimeNanoSec() + InTimeMilliSec * MILLI_SEC < report->requestedNanoSec;
    } else if (error < 1000 * MILLI_SEC && error > -1000 * MILLI_SEC) {
        ++reports->rendered;
    }
}

static int AreAsSent(Reports const* reports) {
    return reports->seen == Frames && reports->wrong == 0 && reports->rendered >= LeastFrames;
}

static void OnCaptured(void* context, RaCapturedFrame const* frame, int16_t const* samples) {
    (void)samples;
    if (frame->samples == RA_CAPTURE_FRAME_SAMPLES && frame->channels == 1) {
        ++*(uint32_t volatile*)context;
    }
}

static void OnLog(void* context, RaLogRecord const* record) {
    if (record->channel[0] != 0 && record->message[0] != 0) {
        ++*(uint32_t volatile*)context;
    }
}

static void MakePcm(int16_t* samples) {
    int i;
    for (i = 0; i < FrameSamples; ++i) {
        samples[i] = i % PcmTonePeriod < PcmTonePeriod / 2 ? 8000 : -8000;
    }
}

static void MakeG711(uint8_t* codes) {
    int i;
    for (i = 0; i < G711Bytes; ++i) {
        // 8316 and -8316 by the mu law.
        codes[i] = i % G711TonePeriod < G711TonePeriod / 2 ? 0x9F : 0x1F;
    }
}

static int PlayFrames(RaSession pcm, RaSession g711) {
    static int16_t samples[FrameSamples];
    static uint8_t codes[G711Bytes];
    int64_t const start = RaGetTimeNanoSec();
    RaFrame frame;
    int number;
    MakePcm(samples);
    MakeG711(codes);
    frame.size = sizeof frame;
    for (number = 0; number < Frames; ++number) {
        int64_t const place = number * FrameMilliSec * MILLI_SEC;
        while (RaGetTimeNanoSec() < start + place) {
            Sleep(2);
        }
        frame.timestampNanoSec = 1000 * MILLI_SEC + place;
        frame.presentationNanoSec = start + place + LeadMilliSec * MILLI_SEC;
        frame.data = samples;
        frame.bytes = sizeof samples;
        if (RaSessionSubmit(pcm, &frame) != RA_SUCCESS) {
            return 20;
        }
        frame.data = codes;
        frame.bytes = sizeof codes;
        if (RaSessionSubmit(g711, &frame) != RA_SUCCESS) {
            return 21;
        }
    }
    Sleep(LeadMilliSec + TailMilliSec);
    return 0;
}

static int PlaySessions(RaEngine engine) {
    RaStreamFormat format = {sizeof(RaStreamFormat), RA_CODING_PCM, RateHz, 1, 16, 0, 0, 0, 0};
    RaSession pcm, g711;
    RaSessionStatistics statistics;
    int failed;
    if (RaSessionOpen(engine, &format, OnReport, &pcmReports, &pcm) != RA_SUCCESS) {
        return 10;
    }
    format.coding = RA_CODING_G711;
    format.frequencyHz = 8000;
    format.bitsPerSample = 8;
    if (RaSessionOpen(engine, &format, OnReport, &g711Reports, &g711) != RA_SUCCESS) {
        return 11;
    }
    if (RaSessionSetVolume(pcm, 1.0F, 0.0F) != RA_SUCCESS ||
        RaSessionSetVolume(g711, 1.0F, 1.0F) != RA_SUCCESS) {
        return 12;
    }
    failed = PlayFrames(pcm, g711);
    // What was reported can be read from here on.
    if (failed == 0 && RaDrain(engine) != RA_SUCCESS) {
        failed = 15;
    }
    statistics.size = sizeof statistics;
    if (failed == 0 && (RaSessionGetStatistics(pcm, &statistics) != RA_SUCCESS ||
                        statistics.framesRendered < pcmReports.rendered)) {
        failed = 13;
    }
    if (RaSessionClose(pcm) != RA_SUCCESS || RaSessionClose(pcm) != RA_INVALID_ARGUMENT) {
        return 14;
    }
    // The other one ends with the engine.
    return failed;
}

// Of a hundred captures that Wine opens on a busy machine one never gives anything.
static int OpenCapture(RaEngine engine, RaCapture* capture) {
    int tries, waits;
    for (tries = 0; tries < 5; ++tries) {
        if (RaCaptureOpen(engine, OnCaptured, (void*)&framesCaptured, capture) != RA_SUCCESS) {
            return 4;
        }
        for (waits = 0; waits < 200 && framesCaptured < 20; ++waits) {
            Sleep(10);
        }
        if (framesCaptured >= 20) {
            return 0;
        }
        if (RaCaptureClose(*capture) != RA_SUCCESS) {
            return 5;
        }
    }
    return 7;
}

static int Play(void) {
    RaEngine engine;
    RaCapture capture;
    int failed;
    if (GetPinnedFunctions().getInterface() < RA_INTERFACE || RaGetVersion()[0] == 0) {
        return 1;
    }
    if (RaSetLog(OnLog, (void*)&recordsSeen, RA_LOG_INFO) != RA_SUCCESS) {
        return 2;
    }
    if (RaOpen(0, &engine) != RA_SUCCESS) {
        return 3;
    }
    failed = OpenCapture(engine, &capture);
    if (failed != 0) {
        return failed;
    }
    failed = PlaySessions(engine);
    if (RaCaptureClose(capture) != RA_SUCCESS || RaClose(engine) != RA_SUCCESS ||
        RaClose(engine) == RA_SUCCESS || RaSetLog(0, 0, RA_LOG_INFO) != RA_SUCCESS) {
        return 5;
    }
    if (failed != 0) {
        return failed;
    }
    if (!AreAsSent(&pcmReports)) {
        return 6;
    }
    if (!AreAsSent(&g711Reports)) {
        return 9;
    }
    return recordsSeen == 0 ? 8 : 0;
}

#ifdef _MSC_VER
// No C library: the entry point, and what the compiler calls by itself.
__declspec(dllimport) void ExitProcess(unsigned int code);
void Start(void);
void* memcpy(void* to, void const* from, size_t bytes);
void* memset(void* to, int value, size_t bytes);

int _fltused;

void* memcpy(void* to, void const* from, size_t bytes) {
    size_t i;
    for (i = 0; i < bytes; ++i) {
        ((char*)to)[i] = ((char const*)from)[i];
    }
    return to;
}

void* memset(void* to, int value, size_t bytes) {
    size_t i;
    for (i = 0; i < bytes; ++i) {
        ((char*)to)[i] = (char)value;
    }
    return to;
}

void Start(void) {
    ExitProcess((unsigned int)Play());
}
#else
int main(void) {
    return Play();
}
#endif
