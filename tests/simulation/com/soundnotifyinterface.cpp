#include "simulation/com/soundnotifyinterface.h"

#include "simulation/com/soundbufferinterface.h"
#include "simulation/world.h"

namespace Simulation {

HRESULT SoundNotifyInterface::QueryInterface(REFIID riid, void** object) {
    if (object != nullptr) {
        *object = nullptr;
    }
    return buffer_.ComObject::Call(Call_t::NotifyQueryInterface, buffer_.Model().notifyReferences, {}, [&] {
        return object != nullptr ? buffer_.Query(riid, object) : E_POINTER;
    });
}

ULONG SoundNotifyInterface::AddRef() {
    return buffer_.AddReference(Call_t::NotifyAddRef, buffer_.Model().notifyReferences);
}

ULONG SoundNotifyInterface::Release() {
    return buffer_.DropReference(Call_t::NotifyRelease, buffer_.Model().notifyReferences,
                                 [this] { buffer_.RetireIfUnreferenced(); });
}

HRESULT SoundNotifyInterface::SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points) {
    SoundBuffer& model = buffer_.Model();
    World& world = buffer_.GetWorld();
    bool const hasPoint = count != 0 && points != nullptr;
    PlatformLock lock(PlatformMutex());
    std::int64_t const event = hasPoint ? world.Events().NumberOf(points[0].hEventNotify) : 0;
    lock.unlock();
    return buffer_.ComObject::Call(Call_t::NotifySetNotificationPositions, model.notifyReferences,
                                   {count, hasPoint ? points[0].dwOffset : 0, event},
                                   [&] { return model.SetNotificationPositions(count, points); });
}

} // namespace Simulation
