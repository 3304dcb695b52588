#include <array>

#include "gate.h"
#include "kovra/log.h"
#include "kovra/time.h"
#include "rendereraudio/rendereraudio_c.h"
#include "rendereraudioguarded.h"

// What needs no handle.
namespace {

struct StatusText {
    RaStatus status;
    char const* text;
};

constexpr std::array<StatusText, 12> StatusTexts = {{
    {RA_SUCCESS, "done"},
    {RA_REFUSED, "refused by the device, or not allowed here"},
    {RA_NOTHING_READ, "nothing came of what was read or fed"},
    {RA_NO_DRIVER, "there is no sound driver, or no output that can be opened"},
    {RA_ENUMERATION_FAILED, "the sound devices cannot be listed"},
    {RA_NO_BUFFER, "there is no microphone to read from"},
    {RA_TOO_FEW_SAMPLES, "nothing is there yet"},
    {RA_INVALID_ARGUMENT, "an argument is null, out of its range, or a handle that is not open"},
    {RA_ALREADY_CREATED, "there is one already"},
    {RA_DRIVER_LOST, "the sound driver has gone"},
    {RA_ALLOCATED, "another program has the device to itself"},
    {RA_OUT_OF_MEMORY, "there is no memory, no thread or no session left"},
}};

} // namespace

uint32_t RaGetInterface(void) {
    return RA_INTERFACE;
}

char const* RaGetVersion(void) {
    return RENDERERAUDIO_VERSION;
}

char const* RaGetStatusText(RaStatus status) {
    for (StatusText const& known : StatusTexts) {
        if (known.status == status) {
            return known.text;
        }
    }
    return "unknown status";
}

int64_t RaGetTimeNanoSec(void) {
    return Kovra::JiffyTime::Now().NanoSec();
}

RaStatus RaSetLog(RaLogCallback callback, void* context, int32_t level) {
    if (level < RA_LOG_DEBUG || level > RA_LOG_ERROR) {
        return RA_INVALID_ARGUMENT;
    }
    return Media::Guarded<RaStatus>(RA_OUT_OF_MEMORY, [&] {
        if (callback == nullptr) {
            Kovra::LogManager::Instance().SetObserver({});
            return RA_SUCCESS;
        }
        Kovra::LogManager::Instance().SetObserver([=](Kovra::LogRecord const& record) {
            auto const recordLevel = static_cast<std::int32_t>(record.level);
            if (recordLevel < level) {
                return;
            }
            RaLogRecord const told = {sizeof(RaLogRecord),       recordLevel,
                                      record.channel.c_str(),    record.message.c_str(),
                                      record.threadName.c_str(), record.time.NanoSec()};
            Sdk::CallbackScope const scope;
            callback(context, &told);
        });
        return RA_SUCCESS;
    });
}
