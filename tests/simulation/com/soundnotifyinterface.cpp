#include "simulation/com/soundnotifyinterface.h"

#include "simulation/com/soundbufferinterface.h"
#include "simulation/world.h"

namespace Simulation {

SoundNotifyInterface::SoundNotifyInterface(SoundBufferInterface& buffer)
    : ComObject(buffer.GetWorld(), "sound buffer", buffer.Number()), buffer_(buffer) {}

std::uint32_t& SoundNotifyInterface::References() {
    return buffer_.Model().notifyReferences;
}

HRESULT SoundNotifyInterface::QueryInterface(REFIID riid, void** object) {
    return Query(Call_t::NotifyQueryInterface, object, [&] { return buffer_.Find(riid, object); });
}

ULONG SoundNotifyInterface::AddRef() {
    return AddReference(Call_t::NotifyAddRef);
}

ULONG SoundNotifyInterface::Release() {
    return DropReference(Call_t::NotifyRelease, [this] { buffer_.RetireIfUnreferenced(); });
}

HRESULT SoundNotifyInterface::SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points) {
    bool const hasPoint = count != 0 && points != nullptr;
    std::int64_t const event = hasPoint ? GetWorld().EventNumber(points[0].hEventNotify) : 0;
    return Call(Call_t::NotifySetNotificationPositions, {count, hasPoint ? points[0].dwOffset : 0, event},
                [&] { return buffer_.Model().SetNotificationPositions(count, points); });
}

} // namespace Simulation
