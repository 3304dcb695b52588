#include "rendereraudio/rendereraudio_c.h"

#include <memory>
#include <optional>
#include <utility>

#include "capture.h"
#include "codec.h"
#include "engine.h"
#include "handles.h"
#include "rendereraudioguarded.h"
#include "session.h"
#include "structs.h"

// All that has a handle: handles are looked up, arguments checked, exceptions caught. What is done is done by
// the classes beside.
namespace {

using namespace Sdk;

constexpr std::int32_t MaxWarmUpMilliSec = 10000;
constexpr std::uint32_t MaxWorkers = 64;

struct Tables {
    Handles<Engine> engines;
    Handles<Session> sessions;
    Handles<Capture> captures;
    Handles<Codec> codecs;
};

/// Never destroyed: at the end of a process that has not closed its engines their threads are gone or stand
/// still, and nobody may wait for them.
Tables& GetTables() {
    static Tables& tables = *new Tables;
    return tables;
}

template <class Handle>
std::uintptr_t NumberOf(Handle handle) {
    return reinterpret_cast<std::uintptr_t>(handle);
}

/// Where everything thrown ends.
template <class Operation>
RaStatus Shell(Operation const& operation) {
    return Media::Guarded<RaStatus>(RA_OUT_OF_MEMORY, operation);
}

/// Gives a new object's handle to the caller, or leaves all as it is.
template <class Handle, class Object>
RaStatus HandOut(Handles<Object>& table, std::shared_ptr<Object> object, Handle* handle) {
    return Shell([&]() -> RaStatus {
        *handle = reinterpret_cast<Handle>(table.Add(std::move(object)));
        return RA_SUCCESS;
    });
}

/// Does `operation` with the engine behind `handle`, which stays open meanwhile.
template <class Operation>
RaStatus WithEngine(RaEngine handle, Operation const& operation) {
    return Shell([&]() -> RaStatus {
        std::shared_ptr<Engine> const engine = GetTables().engines.Find(NumberOf(handle));
        if (engine == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        Gate::Visit const visit(engine->GetGate());
        return visit ? operation(engine) : RA_INVALID_ARGUMENT;
    });
}

/// The same with a session or a capture, and its engine.
template <class Object, class Operation>
RaStatus WithObject(std::shared_ptr<Object> const& object, Operation const& operation) {
    if (object == nullptr) {
        return RA_INVALID_ARGUMENT;
    }
    Gate::Visit const visit(object->GetEngine().GetGate());
    return visit ? operation(object) : RA_INVALID_ARGUMENT;
}

template <class Operation>
RaStatus WithSession(RaSession handle, Operation const& operation) {
    return Shell([&] { return WithObject(GetTables().sessions.Find(NumberOf(handle)), operation); });
}

template <class Operation>
RaStatus WithCapture(RaCapture handle, Operation const& operation) {
    return Shell([&] { return WithObject(GetTables().captures.Find(NumberOf(handle)), operation); });
}

template <class Operation>
RaStatus WithCodec(RaCodec handle, Operation const& operation) {
    return Shell([&]() -> RaStatus {
        std::shared_ptr<Codec> const codec = GetTables().codecs.Find(NumberOf(handle));
        return codec == nullptr ? RA_INVALID_ARGUMENT : operation(*codec);
    });
}

bool IsInRange(RaOptions const& options) {
    return options.warmUpMilliSec >= RA_NO_SILENCE && options.warmUpMilliSec <= MaxWarmUpMilliSec &&
           options.workers <= MaxWorkers && options.reserved == 0;
}

/// False for what is no number, too.
bool IsShare(float value) {
    return value >= 0.0F && value <= 1.0F;
}

RaStatus OpenSession(std::shared_ptr<Engine> const& engine, RaStreamFormat const& format,
                     RaReportCallback callback, void* context, RaSession* handle) {
    auto const session = std::make_shared<Session>(engine, MakeParams(format), callback, context);
    RaStatus status = engine->AddSession(session);
    if (status == RA_SUCCESS) {
        status = HandOut(GetTables().sessions, session, handle);
        if (status != RA_SUCCESS) {
            engine->EndSession(*session);
        }
    }
    return status;
}

RaStatus OpenCapture(std::shared_ptr<Engine> const& engine, RaCaptureCallback callback, void* context,
                     RaCapture* handle) {
    auto const capture = std::make_shared<Capture>(engine, callback, context);
    // Before it asks for the renderer's proxy, which may switch the microphone on.
    if (!engine->SetCapture(capture)) {
        return RA_ALREADY_CREATED;
    }
    RaStatus status = Shell([&] { return capture->Start(); });
    if (status == RA_SUCCESS) {
        status = HandOut(GetTables().captures, capture, handle);
    }
    if (status != RA_SUCCESS) {
        capture->Stop();
        engine->EndCapture(*capture);
    }
    return status;
}

} // namespace

// --- engine

RaStatus RaOpen(RaOptions const* options, RaEngine* engine) {
    return Shell([&]() -> RaStatus {
        auto const known = options == nullptr ? std::optional<RaOptions>(RaOptions{}) : ReadStruct(options);
        if (!known || !IsInRange(*known) || engine == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        std::shared_ptr<Engine> opened;
        RaStatus const status = Engine::Open(*known, opened);
        return status == RA_SUCCESS ? HandOut(GetTables().engines, std::move(opened), engine) : status;
    });
}

RaStatus RaClose(RaEngine engine) {
    return Shell([&]() -> RaStatus {
        Tables& tables = GetTables();
        if (CallbackScope::IsOpen()) {
            return tables.engines.Find(NumberOf(engine)) == nullptr ? RA_INVALID_ARGUMENT : RA_REFUSED;
        }
        std::shared_ptr<Engine> const closing = tables.engines.Take(NumberOf(engine));
        if (closing == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        closing->Close();
        auto const isItsOwn = [&](auto const& object) { return &object.GetEngine() == closing.get(); };
        tables.sessions.RemoveIf(isItsOwn);
        tables.captures.RemoveIf(isItsOwn);
        return RA_SUCCESS;
    });
}

RaStatus RaDrain(RaEngine engine) {
    return WithEngine(engine, [](auto const& open) -> RaStatus {
        open->GetPipeline().Drain();
        return RA_SUCCESS;
    });
}

RaStatus RaGetStatistics(RaEngine engine, RaStatistics* statistics) {
    return WithEngine(engine, [&](auto const& open) -> RaStatus {
        auto const size = ReadSize(statistics);
        if (!size) {
            return RA_INVALID_ARGUMENT;
        }
        WriteStruct(statistics, *size, open->GetStatistics());
        return RA_SUCCESS;
    });
}

// --- sessions

RaStatus RaSessionOpen(RaEngine engine, RaStreamFormat const* format, RaReportCallback callback,
                       void* context, RaSession* session) {
    return WithEngine(engine, [&](auto const& open) -> RaStatus {
        auto const known = ReadStruct(format);
        if (!known || !IsPlayable(*known) || session == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        return OpenSession(open, *known, callback, context, session);
    });
}

RaStatus RaSessionClose(RaSession session) {
    return Shell([&] {
        return WithObject(GetTables().sessions.Take(NumberOf(session)), [](auto const& closing) -> RaStatus {
            closing->GetEngine().EndSession(*closing);
            return RA_SUCCESS;
        });
    });
}

RaStatus RaSessionSetFormat(RaSession session, RaStreamFormat const* format) {
    return WithSession(session, [&](auto const& open) -> RaStatus {
        auto const known = ReadStruct(format);
        if (!known || !IsPlayable(*known)) {
            return RA_INVALID_ARGUMENT;
        }
        open->SetParams(MakeParams(*known));
        return RA_SUCCESS;
    });
}

RaStatus RaSessionSubmit(RaSession session, RaFrame const* frame) {
    return WithSession(session, [&](auto const& open) -> RaStatus {
        auto const known = ReadStruct(frame);
        return known ? open->Submit(*known) : RA_INVALID_ARGUMENT;
    });
}

RaStatus RaSessionSetVolume(RaSession session, float volume, float balance) {
    return WithSession(session, [&](auto const& open) -> RaStatus {
        return IsShare(volume) && IsShare(balance) ? open->SetVolume(volume, balance) : RA_INVALID_ARGUMENT;
    });
}

RaStatus RaSessionGetStatistics(RaSession session, RaSessionStatistics* statistics) {
    return WithSession(session, [&](auto const& open) -> RaStatus {
        auto const size = ReadSize(statistics);
        if (!size) {
            return RA_INVALID_ARGUMENT;
        }
        WriteStruct(statistics, *size, open->GetStatistics());
        return RA_SUCCESS;
    });
}

// --- capture

RaStatus RaCaptureOpen(RaEngine engine, RaCaptureCallback callback, void* context, RaCapture* capture) {
    return WithEngine(engine, [&](auto const& open) -> RaStatus {
        return capture == nullptr ? RA_INVALID_ARGUMENT : OpenCapture(open, callback, context, capture);
    });
}

RaStatus RaCaptureClose(RaCapture capture) {
    return Shell([&]() -> RaStatus {
        Tables& tables = GetTables();
        if (CallbackScope::IsOpen()) {
            return tables.captures.Find(NumberOf(capture)) == nullptr ? RA_INVALID_ARGUMENT : RA_REFUSED;
        }
        return WithObject(tables.captures.Take(NumberOf(capture)), [](auto const& closing) -> RaStatus {
            closing->Stop();
            closing->GetEngine().EndCapture(*closing);
            return RA_SUCCESS;
        });
    });
}

RaStatus RaCaptureReadFrame(RaCapture capture, RaCapturedFrame* frame, int16_t* samples, uint32_t capacity) {
    return WithCapture(capture, [&](auto const& open) -> RaStatus {
        auto const size = ReadSize(frame);
        if (!size || samples == nullptr || capacity < RA_CAPTURE_FRAME_SAMPLES) {
            return RA_INVALID_ARGUMENT;
        }
        RaCapturedFrame read = {};
        RaStatus const status = open->ReadFrame(read, samples);
        if (status == RA_SUCCESS) {
            WriteStruct(frame, *size, read);
        }
        return status;
    });
}

RaStatus RaCaptureGetLevel(RaCapture capture, float* level) {
    return WithCapture(capture, [&](auto const& open) -> RaStatus {
        if (level == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        *level = open->GetLevel();
        return RA_SUCCESS;
    });
}

RaStatus RaCaptureRestart(RaCapture capture) {
    return WithCapture(capture, [](auto const& open) { return open->Restart(); });
}

// --- codec

RaStatus RaCodecOpen(uint32_t frequencyHz, uint32_t channels, RaCodec* codec) {
    return Shell([&]() -> RaStatus {
        if (!IsInRange(frequencyHz, channels) || codec == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        return HandOut(GetTables().codecs, std::make_shared<Codec>(frequencyHz, channels), codec);
    });
}

RaStatus RaCodecClose(RaCodec codec) {
    return Shell([&]() -> RaStatus {
        return GetTables().codecs.Take(NumberOf(codec)) == nullptr ? RA_INVALID_ARGUMENT : RA_SUCCESS;
    });
}

RaStatus RaCodecFeed(RaCodec codec, RaStreamFormat const* format, void const* data, uint32_t bytes) {
    return WithCodec(codec, [&](Codec& open) -> RaStatus {
        auto const known = ReadStruct(format);
        if (!known || !IsInRange(*known)) {
            return RA_INVALID_ARGUMENT;
        }
        Params const params = MakeParams(*known);
        return IsFrame(*params, data, bytes) ? open.Feed(params, data, bytes) : RA_INVALID_ARGUMENT;
    });
}

RaStatus RaCodecFlush(RaCodec codec) {
    return WithCodec(codec, [](Codec& open) { return open.Flush(); });
}

RaStatus RaCodecRead(RaCodec codec, int16_t* samples, uint32_t capacity, uint32_t* count) {
    return WithCodec(codec, [&](Codec& open) -> RaStatus {
        if (samples == nullptr || capacity == 0 || count == nullptr) {
            return RA_INVALID_ARGUMENT;
        }
        return open.Read(samples, capacity, *count);
    });
}
