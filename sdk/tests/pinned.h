// What hosts have been compiled against: layouts, numbers and types, as literals. A line is added with each
// addition; none is ever changed. Compiles as C99 and as C++.
#ifndef PINNED_H
#define PINNED_H

#include "rendereraudio/rendereraudio_c.h"

// A negative size does not compile.
#define PIN(name, condition) typedef char name[(condition) ? 1 : -1]
#define PIN_SIZE(type, bytes) PIN(pinned_size_##type, sizeof(type) == (bytes))
// The two pointers of the choice must have one type.
#define PIN_MEMBER(type, member, place, memberType)                                            \
    PIN(pinned_##type##_##member, offsetof(type, member) == (place) &&                         \
                                      sizeof(1 ? &((type*)0)->member : (memberType*)0) == 8 && \
                                      sizeof(memberType) == sizeof(((type*)0)->member))

PIN(pinned_interface, RA_INTERFACE == 1);
PIN(pinned_limits, RA_MAX_STRUCT_BYTES == 1024 && RA_MAX_SESSIONS == 63 && RA_MAX_FRAME_BYTES == 1048576 &&
                       RA_MAX_DECODER_CONFIG_BYTES == 4096 && RA_CAPTURE_FRAME_SAMPLES == 960 &&
                       RA_NO_SILENCE == -1);
PIN(pinned_statuses, RA_SUCCESS == 0 && RA_REFUSED == -1 && RA_NOTHING_READ == -10 && RA_NO_DRIVER == -25 &&
                         RA_ENUMERATION_FAILED == -26 && RA_NO_BUFFER == -27 && RA_TOO_FEW_SAMPLES == -30 &&
                         RA_INVALID_ARGUMENT == -41 && RA_ALREADY_CREATED == -43 && RA_DRIVER_LOST == -120 &&
                         RA_ALLOCATED == -200 && RA_OUT_OF_MEMORY == -202);
PIN(pinned_codings, RA_CODING_PCM == 0x300 && RA_CODING_G711 == 0x301 && RA_CODING_G726 == 0x302 &&
                        RA_CODING_MPEG_AUDIO == 0x303 && RA_CODING_AAC == 0x304 && RA_CODING_OPUS == 0x305);
PIN(pinned_laws, RA_LAW_MU == 0 && RA_LAW_A == 1);
PIN(pinned_levels, RA_LOG_DEBUG == 0 && RA_LOG_INFO == 1 && RA_LOG_WARNING == 2 && RA_LOG_ERROR == 3);
PIN(pinned_status, sizeof(RaStatus) == 4);
PIN(pinned_handles,
    sizeof(RaEngine) == 8 && sizeof(RaSession) == 8 && sizeof(RaCapture) == 8 && sizeof(RaCodec) == 8);

PIN_SIZE(RaOptions, 16);
PIN_MEMBER(RaOptions, size, 0, uint32_t);
PIN_MEMBER(RaOptions, warmUpMilliSec, 4, int32_t);
PIN_MEMBER(RaOptions, workers, 8, uint32_t);
PIN_MEMBER(RaOptions, reserved, 12, uint32_t);

PIN_SIZE(RaStreamFormat, 40);
PIN_MEMBER(RaStreamFormat, size, 0, uint32_t);
PIN_MEMBER(RaStreamFormat, coding, 4, uint32_t);
PIN_MEMBER(RaStreamFormat, frequencyHz, 8, uint32_t);
PIN_MEMBER(RaStreamFormat, channels, 12, uint32_t);
PIN_MEMBER(RaStreamFormat, bitsPerSample, 16, uint32_t);
PIN_MEMBER(RaStreamFormat, law, 20, uint32_t);
PIN_MEMBER(RaStreamFormat, decoderConfig, 24, void const*);
PIN_MEMBER(RaStreamFormat, decoderConfigBytes, 32, uint32_t);
PIN_MEMBER(RaStreamFormat, reserved, 36, uint32_t);

PIN_SIZE(RaFrame, 32);
PIN_MEMBER(RaFrame, size, 0, uint32_t);
PIN_MEMBER(RaFrame, bytes, 4, uint32_t);
PIN_MEMBER(RaFrame, data, 8, void const*);
PIN_MEMBER(RaFrame, timestampNanoSec, 16, int64_t);
PIN_MEMBER(RaFrame, presentationNanoSec, 24, int64_t);

PIN_SIZE(RaReport, 40);
PIN_MEMBER(RaReport, size, 0, uint32_t);
PIN_MEMBER(RaReport, isRendered, 4, uint32_t);
PIN_MEMBER(RaReport, frameNumber, 8, uint64_t);
PIN_MEMBER(RaReport, requestedNanoSec, 16, int64_t);
PIN_MEMBER(RaReport, achievedNanoSec, 24, int64_t);
PIN_MEMBER(RaReport, renderNanoSec, 32, int64_t);

PIN_SIZE(RaStatistics, 40);
PIN_MEMBER(RaStatistics, size, 0, uint32_t);
PIN_MEMBER(RaStatistics, sessions, 4, uint32_t);
PIN_MEMBER(RaStatistics, framesSubmitted, 8, uint64_t);
PIN_MEMBER(RaStatistics, framesRendered, 16, uint64_t);
PIN_MEMBER(RaStatistics, framesFailed, 24, uint64_t);
PIN_MEMBER(RaStatistics, logRecordsLost, 32, uint64_t);

PIN_SIZE(RaSessionStatistics, 64);
PIN_MEMBER(RaSessionStatistics, size, 0, uint32_t);
PIN_MEMBER(RaSessionStatistics, reserved, 4, uint32_t);
PIN_MEMBER(RaSessionStatistics, framesSubmitted, 8, uint64_t);
PIN_MEMBER(RaSessionStatistics, framesRendered, 16, uint64_t);
PIN_MEMBER(RaSessionStatistics, framesFailed, 24, uint64_t);
PIN_MEMBER(RaSessionStatistics, lastRequestedNanoSec, 32, int64_t);
PIN_MEMBER(RaSessionStatistics, lastAchievedNanoSec, 40, int64_t);
PIN_MEMBER(RaSessionStatistics, lastRenderNanoSec, 48, int64_t);
PIN_MEMBER(RaSessionStatistics, longestRenderNanoSec, 56, int64_t);

PIN_SIZE(RaCapturedFrame, 32);
PIN_MEMBER(RaCapturedFrame, size, 0, uint32_t);
PIN_MEMBER(RaCapturedFrame, samples, 4, uint32_t);
PIN_MEMBER(RaCapturedFrame, frequencyHz, 8, uint32_t);
PIN_MEMBER(RaCapturedFrame, channels, 12, uint32_t);
PIN_MEMBER(RaCapturedFrame, sequenceNumber, 16, uint32_t);
PIN_MEMBER(RaCapturedFrame, level, 20, float);
PIN_MEMBER(RaCapturedFrame, timestampNanoSec, 24, int64_t);

PIN_SIZE(RaLogRecord, 40);
PIN_MEMBER(RaLogRecord, size, 0, uint32_t);
PIN_MEMBER(RaLogRecord, level, 4, int32_t);
PIN_MEMBER(RaLogRecord, channel, 8, char const*);
PIN_MEMBER(RaLogRecord, message, 16, char const*);
PIN_MEMBER(RaLogRecord, threadName, 24, char const*);
PIN_MEMBER(RaLogRecord, timeNanoSec, 32, int64_t);

// Every function and its type; a function of another type does not fit.
typedef struct PinnedFunctions {
    uint32_t (*getInterface)(void);
    char const* (*getVersion)(void);
    char const* (*getStatusText)(RaStatus);
    int64_t (*getTimeNanoSec)(void);
    RaStatus (*setLog)(RaLogCallback, void*, int32_t);
    RaStatus (*open)(RaOptions const*, RaEngine*);
    RaStatus (*close)(RaEngine);
    RaStatus (*drain)(RaEngine);
    RaStatus (*getStatistics)(RaEngine, RaStatistics*);
    RaStatus (*sessionOpen)(RaEngine, RaStreamFormat const*, RaReportCallback, void*, RaSession*);
    RaStatus (*sessionClose)(RaSession);
    RaStatus (*sessionSetFormat)(RaSession, RaStreamFormat const*);
    RaStatus (*sessionSubmit)(RaSession, RaFrame const*);
    RaStatus (*sessionSetVolume)(RaSession, float, float);
    RaStatus (*sessionGetStatistics)(RaSession, RaSessionStatistics*);
    RaStatus (*captureOpen)(RaEngine, RaCaptureCallback, void*, RaCapture*);
    RaStatus (*captureClose)(RaCapture);
    RaStatus (*captureReadFrame)(RaCapture, RaCapturedFrame*, int16_t*, uint32_t);
    RaStatus (*captureGetLevel)(RaCapture, float*);
    RaStatus (*captureRestart)(RaCapture);
    RaStatus (*codecOpen)(uint32_t, uint32_t, RaCodec*);
    RaStatus (*codecClose)(RaCodec);
    RaStatus (*codecFeed)(RaCodec, RaStreamFormat const*, void const*, uint32_t);
    RaStatus (*codecFlush)(RaCodec);
    RaStatus (*codecRead)(RaCodec, int16_t*, uint32_t, uint32_t*);
} PinnedFunctions;

static PinnedFunctions GetPinnedFunctions(void) {
    PinnedFunctions functions = {RaGetInterface,
                                 RaGetVersion,
                                 RaGetStatusText,
                                 RaGetTimeNanoSec,
                                 RaSetLog,
                                 RaOpen,
                                 RaClose,
                                 RaDrain,
                                 RaGetStatistics,
                                 RaSessionOpen,
                                 RaSessionClose,
                                 RaSessionSetFormat,
                                 RaSessionSubmit,
                                 RaSessionSetVolume,
                                 RaSessionGetStatistics,
                                 RaCaptureOpen,
                                 RaCaptureClose,
                                 RaCaptureReadFrame,
                                 RaCaptureGetLevel,
                                 RaCaptureRestart,
                                 RaCodecOpen,
                                 RaCodecClose,
                                 RaCodecFeed,
                                 RaCodecFlush,
                                 RaCodecRead};
    return functions;
}

#endif // PINNED_H
