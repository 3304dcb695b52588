/// @file
/// The audio renderer, a pipeline and the codec for C, and for whatever can call C: rendereraudio_c.dll.
/// Compiles as C99 and as C++ by itself.
///
///     RaEngine engine;
///     RaSession session;
///     RaStreamFormat format = {sizeof(RaStreamFormat), RA_CODING_PCM, 48000, 1, 16};
///     RaOpen(NULL, &engine);
///     RaSessionOpen(engine, &format, NULL, NULL, &session);
///     ... RaSessionSubmit(session, &frame) for each 20 ms of sound ...
///     RaSessionClose(session);
///     RaClose(engine);
///
/// Statuses: 0 for success, else negative; a call that fails has changed nothing, out parameters included,
/// unless its text says more. Nothing is thrown. -202 may come from every function that returns a status, and
/// is not repeated.
///
/// Handles are numbers in the guise of pointers: one that is null, was closed or was made up gives -41 and is
/// not touched. They are not used again.
///
/// Structs begin with their size in bytes, which the caller sets (sizeof) before every call. One that is
/// smaller than interface 1 had it, or larger than RA_MAX_STRUCT_BYTES, gives -41. Of a larger one than the
/// library knows, what is beyond must be zero when it is read, else -41 (it asks for something that is not
/// there); it becomes zero when it is written. Of a smaller one, what is missing counts as zero and is not
/// written. Reserved members are zero. Structs that a callback gets have the size that the library knows:
/// look at `size` before you read what a later interface added. They, and all that they point to, are the
/// library's and end with the call.
///
/// Callbacks run on threads of the library, hold no lock of it, must not throw or jump out, and may call all
/// but what says otherwise. `context` is handed on as it is, and is the caller's.
///
/// Times are nanoseconds. Presentation times are instants of the monotonic clock that RaGetTimeNanoSec reads;
/// timestamps are places on a stream's own timeline.
/// Before unloading the library: close what was opened, and end the log.
#ifndef RENDERERAUDIO_C_H
#define RENDERERAUDIO_C_H

#include <stddef.h>
#include <stdint.h>

/// Stands before each function. RENDERERAUDIO_C_STATIC is defined when the library is linked statically.
#if defined(_WIN32) && !defined(RENDERERAUDIO_C_STATIC)
#define RA_API __declspec(dllimport)
#else
#define RA_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/// The interface that this header describes. It counts additions: nothing is ever removed or changed.
#define RA_INTERFACE 1
/// No struct is larger.
#define RA_MAX_STRUCT_BYTES 1024
/// Sessions that an engine has at most.
#define RA_MAX_SESSIONS 63
/// Bytes in a frame at most.
#define RA_MAX_FRAME_BYTES 1048576
/// Bytes in a decoder's set-up at most.
#define RA_MAX_DECODER_CONFIG_BYTES 4096
/// Samples in a captured frame: 20 ms.
#define RA_CAPTURE_FRAME_SAMPLES 960
/// As `warmUpMilliSec`: no silence is played.
#define RA_NO_SILENCE (-1)

/// One of `RaStatusCode`; a later library may have more.
typedef int32_t RaStatus;

/// What a call came to.
enum RaStatusCode {
    RA_SUCCESS = 0,
    /// The device refused, or the call is not allowed here.
    RA_REFUSED = -1,
    /// Nothing came of what was read or fed.
    RA_NOTHING_READ = -10,
    /// No sound driver, or no output that can be opened.
    RA_NO_DRIVER = -25,
    RA_ENUMERATION_FAILED = -26,
    /// No microphone to read from.
    RA_NO_BUFFER = -27,
    /// Nothing is there yet.
    RA_TOO_FEW_SAMPLES = -30,
    RA_INVALID_ARGUMENT = -41,
    RA_ALREADY_CREATED = -43,
    RA_DRIVER_LOST = -120,
    /// Another program has the device to itself.
    RA_ALLOCATED = -200,
    /// No memory, no threads, or no more sessions.
    RA_OUT_OF_MEMORY = -202
};

/// How the bytes of a frame are to be read.
enum RaCoding {
    /// Signed 16-bit samples of the machine's byte order, channels interleaved.
    RA_CODING_PCM = 0x300,
    /// ITU-T G.711, 8 bits a sample.
    RA_CODING_G711 = 0x301,
    /// ITU-T G.726, 2 to 5 bits a sample.
    RA_CODING_G726 = 0x302,
    /// MPEG-1 and MPEG-2 audio, layers I to III.
    RA_CODING_MPEG_AUDIO = 0x303,
    /// AAC: ADTS frames, or raw ones with an AudioSpecificConfig as the decoder's set-up.
    RA_CODING_AAC = 0x304,
    /// Opus packets; an OpusHead as the decoder's set-up.
    RA_CODING_OPUS = 0x305
};

/// Companding laws of G.711.
enum RaLaw { RA_LAW_MU = 0, RA_LAW_A = 1 };

/// Severities of log records.
enum RaLogLevel { RA_LOG_DEBUG = 0, RA_LOG_INFO = 1, RA_LOG_WARNING = 2, RA_LOG_ERROR = 3 };

/// A renderer with a pipeline of its own.
typedef struct RaEngineHandle* RaEngine;
/// A stream that is played.
typedef struct RaSessionHandle* RaSession;
/// A hold on the microphone.
typedef struct RaCaptureHandle* RaCapture;
/// A decoder and resampler of one stream; needs no engine.
typedef struct RaCodecHandle* RaCodec;

/// How an engine is to be.
typedef struct RaOptions {
    uint32_t size;
    /// For how long RaOpen lets silence play before it returns: a device that has just been started may take
    /// its first sound too early. 0 for 1000, 1 to 10000, or RA_NO_SILENCE for none at all. The silence plays
    /// until RaClose.
    int32_t warmUpMilliSec;
    /// Threads that render, 1 to 64; 0 for 2.
    uint32_t workers;
    uint32_t reserved;
} RaOptions;

/// What all frames of a stream share.
typedef struct RaStreamFormat {
    uint32_t size;
    /// One of `RaCoding`.
    uint32_t coding;
    /// 1 to 768000.
    uint32_t frequencyHz;
    /// 1 to 8.
    uint32_t channels;
    /// Of a coded sample for G.711 and G.726, 16 for PCM, 0 to 32 for others, where it says nothing.
    uint32_t bitsPerSample;
    /// One of `RaLaw`; zero for what is not G.711.
    uint32_t law;
    /// Out-of-band set-up of the decoder, copied; null for none.
    void const* decoderConfig;
    uint32_t decoderConfigBytes;
    uint32_t reserved;
} RaStreamFormat;

/// A piece of a stream, of about 20 ms.
typedef struct RaFrame {
    uint32_t size;
    /// 1 to RA_MAX_FRAME_BYTES; whole samples for PCM.
    uint32_t bytes;
    /// Copied.
    void const* data;
    /// Of its first sample on the stream's timeline, above 0 and not before the stream's first one.
    int64_t timestampNanoSec;
    /// When its first sample shall be heard, above 0: 40 to 300 ms from now.
    int64_t presentationNanoSec;
} RaFrame;

/// What became of a frame.
typedef struct RaReport {
    uint32_t size;
    /// 1 when it was rendered, else 0.
    uint32_t isRendered;
    /// Counts the session's frames from 0.
    uint64_t frameNumber;
    /// The presentation time asked for.
    int64_t requestedNanoSec;
    /// The one that the renderer expects; the one asked for while it has not measured.
    int64_t achievedNanoSec;
    /// How long the renderer worked on it.
    int64_t renderNanoSec;
} RaReport;

/// An engine's counts since RaOpen, closed sessions included.
typedef struct RaStatistics {
    uint32_t size;
    /// Open now.
    uint32_t sessions;
    uint64_t framesSubmitted;
    uint64_t framesRendered;
    uint64_t framesFailed;
    /// Of the whole process: records that were lost as the log could not keep up.
    uint64_t logRecordsLost;
} RaStatistics;

/// A session's counts since RaSessionOpen. What is neither rendered nor failed waits.
typedef struct RaSessionStatistics {
    uint32_t size;
    uint32_t reserved;
    uint64_t framesSubmitted;
    uint64_t framesRendered;
    uint64_t framesFailed;
    /// Of the last frame rendered; 0 before it.
    int64_t lastRequestedNanoSec;
    int64_t lastAchievedNanoSec;
    /// How long the renderer worked on the last frame, and on any at most.
    int64_t lastRenderNanoSec;
    int64_t longestRenderNanoSec;
} RaSessionStatistics;

/// 20 ms from the microphone: RA_CAPTURE_FRAME_SAMPLES samples of 16 bits.
typedef struct RaCapturedFrame {
    uint32_t size;
    uint32_t samples;
    uint32_t frequencyHz;
    uint32_t channels;
    /// Counts from 0 and wraps.
    uint32_t sequenceNumber;
    /// Of the last 320 ms, 0 (silence) to 1 (full scale).
    float level;
    /// Since 1970-01-01 00:00 UTC.
    int64_t timestampNanoSec;
} RaCapturedFrame;

/// What the libraries tell about their work.
typedef struct RaLogRecord {
    uint32_t size;
    /// One of `RaLogLevel`.
    int32_t level;
    char const* channel;
    char const* message;
    /// Empty for a thread without a name.
    char const* threadName;
    /// Of the monotonic clock.
    int64_t timeNanoSec;
} RaLogRecord;

/// Called for each frame of a session in order, before the session's next one is rendered. Must be quick.
typedef void (*RaReportCallback)(void* context, RaReport const* report);
/// Called for each captured frame in order.
typedef void (*RaCaptureCallback)(void* context, RaCapturedFrame const* frame, int16_t const* samples);
/// Called for one record at a time.
typedef void (*RaLogCallback)(void* context, RaLogRecord const* record);

// --- library

/// The RA_INTERFACE that the library has: at least the header's, or what is missing may be asked for in vain.
/// **Threads:** any. **Ownership:** none. **Since:** 1.
RA_API uint32_t RaGetInterface(void);

/// The library's version for people: "1.2.3".
/// **Threads:** any. **Ownership:** the text is the library's and stays. **Since:** 1.
RA_API char const* RaGetVersion(void);

/// What a status means, in English; of a number that is none, that it is unknown. Never null.
/// **Threads:** any. **Ownership:** the text is the library's and stays. **Since:** 1.
RA_API char const* RaGetStatusText(RaStatus status);

/// Now on the monotonic clock that presentation times count on. Never runs backwards.
/// **Threads:** any. **Ownership:** none. **Since:** 1.
RA_API int64_t RaGetTimeNanoSec(void);

/// Has `callback` called with each record of `level` (one of `RaLogLevel`) and above, on one thread, for the
/// whole process, in the place of the one before; null ends it. When it returns, the one before is not
/// running and will not be called; called by that one itself, it returns at once, and that call is its last.
/// -41: no such level.
/// **Threads:** any, with no lock that the callback takes; one at a time. **Ownership:** `context` is the
/// caller's, and used until the next call. **Since:** 1.
RA_API RaStatus RaSetLog(RaLogCallback callback, void* context, int32_t level);

// --- engine

/// Opens the default output and puts a new engine into `engine`; `options` null for all defaults. Returns
/// after the warm-up, at once when there is no output: then sessions are refused. -41: null `engine`, an
/// option out of its range; -26, -41, -200, -1: as the device fails.
/// **Threads:** any. **Ownership:** the engine is the caller's until RaClose. **Since:** 1.
RA_API RaStatus RaOpen(RaOptions const* options, RaEngine* engine);

/// Ends the engine with its sessions and its capture, whose handles are void from then on; frames that wait
/// are dropped. Waits for calls that are inside on other threads, and for callbacks: none comes when it has
/// returned. -41: no such engine; -1: called by a callback.
/// **Threads:** any, with no lock that a callback takes. **Ownership:** takes it back. **Since:** 1.
RA_API RaStatus RaClose(RaEngine engine);

/// Waits until no frame of any session waits or is rendered. Returns at once when a report callback calls it.
/// -41: no such engine.
/// **Threads:** any, with no lock that a callback takes. **Ownership:** unchanged. **Since:** 1.
RA_API RaStatus RaDrain(RaEngine engine);

/// Fills `statistics`. -41: no such engine; null, or a size out of range.
/// **Threads:** any. **Ownership:** `statistics` is the caller's. **Since:** 1.
RA_API RaStatus RaGetStatistics(RaEngine engine, RaStatistics* statistics);

// --- sessions

/// Puts a new session for frames of `format` into `session`. PCM has 48000 Hz, one channel and 16 bits; G.711
/// and AAC have one channel and any rate. Other codings cannot be played: see RaCodecOpen. `callback` (null
/// for none) hears what becomes of each frame. -41: no such engine, null, or a format that cannot be played;
/// -25: no output; -202: RA_MAX_SESSIONS are open.
/// **Threads:** any. **Ownership:** `format` is copied. The session is the caller's until RaSessionClose or
/// RaClose; `context` is his, and used until that has returned (by a callback: see there). **Since:** 1.
RA_API RaStatus RaSessionOpen(RaEngine engine, RaStreamFormat const* format, RaReportCallback callback,
                              void* context, RaSession* session);

/// Lets the frames that wait be rendered, then ends the session. What it has still to play is not heard: wait
/// until the last presentation time has passed. When it has returned, its callback is not running and will
/// not be called. A report callback of the engine that calls it is not made to wait: one report that another
/// worker has in hand may still come, and `context` is used until an RaDrain by no callback, or RaClose, has
/// returned. -41: no such session, or RaClose runs already: it ends the session before it returns.
/// **Threads:** any, with no lock that a callback takes. **Ownership:** takes it back. **Since:** 1.
RA_API RaStatus RaSessionClose(RaSession session);

/// The frames submitted from now on are of `format`, as in RaSessionOpen. -41: no such session, null, or a
/// format that cannot be played.
/// **Threads:** any. **Ownership:** `format` is copied. **Since:** 1.
RA_API RaStatus RaSessionSetFormat(RaSession session, RaStreamFormat const* format);

/// Hands a frame to the renderer, which a worker runs. Frames are played in the order of the calls.
/// -41: no such session, null, no data, a time that is not above 0.
/// **Threads:** any. **Ownership:** `frame` and its data are copied. **Since:** 1.
RA_API RaStatus RaSessionSubmit(RaSession session, RaFrame const* frame);

/// `volume` from 0 (silent) to 1 (full, at first), `balance` from 0 (left) over 0.5 (centre, at first) to 1
/// (right). Heard soon, ahead of the frames that wait. -41: no such session, a number out of its range or
/// none.
/// **Threads:** any. **Ownership:** the session stays the caller's. **Since:** 1.
RA_API RaStatus RaSessionSetVolume(RaSession session, float volume, float balance);

/// Fills `statistics`. -41: no such session; null, or a size out of range.
/// **Threads:** any. **Ownership:** `statistics` is the caller's. **Since:** 1.
RA_API RaStatus RaSessionGetStatistics(RaSession session, RaSessionStatistics* statistics);

// --- capture

/// Starts capture from the default microphone: 48000 Hz, one channel. With a `callback` a thread of the
/// library reads and calls it with every frame; without one, call RaCaptureReadFrame every 10 to 20 ms. -41:
/// no such engine, null; -43: the engine captures already; -27: no microphone.
/// **Threads:** any. **Ownership:** the capture is the caller's until RaCaptureClose or RaClose; `context` is
/// his, and used until then. **Since:** 1.
RA_API RaStatus RaCaptureOpen(RaEngine engine, RaCaptureCallback callback, void* context, RaCapture* capture);

/// Ends capture. When it has returned, its callback is not running and will not be called.
/// -41: no such capture, or RaClose runs already: it ends the capture before it returns; -1: called by a
/// callback.
/// **Threads:** any, with no lock that the callback takes. **Ownership:** takes it back. **Since:** 1.
RA_API RaStatus RaCaptureClose(RaCapture capture);

/// Fills `frame`, and `samples` with its RA_CAPTURE_FRAME_SAMPLES samples; `capacity` is how many fit there.
/// Frames that nobody reads for five seconds are lost. -41: no such capture; null, a size out of range, a
/// capacity too small; -1: the capture has a callback; -30: none is there yet; -10: none could be read now,
/// and some may be lost: read on; -1, -27, -41, -120: as the device fails.
/// **Threads:** any. **Ownership:** `frame` and `samples` are the caller's. **Since:** 1.
RA_API RaStatus RaCaptureReadFrame(RaCapture capture, RaCapturedFrame* frame, int16_t* samples,
                                   uint32_t capacity);

/// Puts the level of the last 320 ms read into `level`: 0 (silence) to 1 (full scale). -41: no such capture,
/// null.
/// **Threads:** any. **Ownership:** `level` is the caller's. **Since:** 1.
RA_API RaStatus RaCaptureGetLevel(RaCapture capture, float* level);

/// Captures anew, for a device that gives nothing. Frame numbers begin at 0; what has not been read is lost.
/// With a callback that is done unasked when nothing has come for a second from the start. -41: no such
/// capture; -27: it could not be started, try again.
/// **Threads:** any. **Ownership:** the capture stays the caller's. **Since:** 1.
RA_API RaStatus RaCaptureRestart(RaCapture capture);

// --- codec

/// Puts a new codec into `codec` that makes of what it is fed PCM of `frequencyHz` (1 to 768000) and
/// `channels` (1 to 8). It takes all codings, any number of channels (G.726: one), and rates up to 192 times
/// as high or as low as its own. With 48000 and 1 a session takes what comes out. -41: null, a number out of
/// its range.
/// **Threads:** any. **Ownership:** the codec is the caller's until RaCodecClose. **Since:** 1.
RA_API RaStatus RaCodecOpen(uint32_t frequencyHz, uint32_t channels, RaCodec* codec);

/// Ends the codec. -41: no such codec.
/// **Threads:** any. **Ownership:** takes the codec back. **Since:** 1.
RA_API RaStatus RaCodecClose(RaCodec codec);

/// Decodes `bytes` (1 to RA_MAX_FRAME_BYTES) of `data`, one frame of `format`, and keeps what comes out to be
/// read. What the decoder keeps from frame to frame ends with a `format` that is another one than before.
/// -41: no such codec, null, a format out of its ranges; -10: nothing came out of it, as it was damaged, the
/// decoder waits for more (it has taken the frame), or the rates are too far apart; -202: ten million samples
/// wait to be read, and the frame was not taken, or there was no memory, and it is lost.
/// **Threads:** any. **Ownership:** `format` and `data` are the caller's, and not kept. **Since:** 1.
RA_API RaStatus RaCodecFeed(RaCodec codec, RaStreamFormat const* format, void const* data, uint32_t bytes);

/// The stream has ended: what the resampler holds back comes out, to be read. What the decoder keeps stays:
/// a stream that begins anew takes a new codec. -41: no such codec; -10: it held nothing back.
/// **Threads:** any. **Ownership:** the codec stays the caller's. **Since:** 1.
RA_API RaStatus RaCodecFlush(RaCodec codec);

/// Takes up to `capacity` samples, the oldest first, into `samples`, and puts their number into `count`.
/// -41: no such codec, null, a capacity of 0; -30: none are there.
/// **Threads:** any. **Ownership:** `samples` and `count` are the caller's. **Since:** 1.
RA_API RaStatus RaCodecRead(RaCodec codec, int16_t* samples, uint32_t capacity, uint32_t* count);

#ifdef __cplusplus
} // extern "C"
#endif

#endif // RENDERERAUDIO_C_H
