#include "simulation/soundnotifyinterface.h"

#include "simulation/invocation.h"
#include "simulation/soundbufferinterface.h"
#include "simulation/world.h"

namespace Simulation {

HRESULT SoundNotifyInterface::QueryInterface(REFIID riid, void** object) {
    if (object != nullptr) {
        *object = nullptr;
    }
    SoundBuffer& model = buffer_.Model();
    Invocation invocation(buffer_.GetWorld(), Call_t::NotifyQueryInterface, model.Number(), {});
    if (!buffer_.IsAlive(model.notifyReferences, Call_t::NotifyQueryInterface)) {
        return invocation.Return(E_FAIL);
    }
    if (invocation.Fault()) {
        return invocation.Return(invocation.FaultResult());
    }
    return invocation.Return(object != nullptr ? buffer_.Query(riid, object) : E_POINTER);
}

ULONG SoundNotifyInterface::AddRef() {
    std::uint32_t& references = buffer_.Model().notifyReferences;
    Invocation invocation(buffer_.GetWorld(), Call_t::NotifyAddRef, buffer_.Model().Number(), {});
    if (!buffer_.IsAlive(references, Call_t::NotifyAddRef)) {
        return 0;
    }
    ++references;
    return invocation.Return<ULONG>(references, references, false);
}

ULONG SoundNotifyInterface::Release() {
    std::uint32_t& references = buffer_.Model().notifyReferences;
    Invocation invocation(buffer_.GetWorld(), Call_t::NotifyRelease, buffer_.Model().Number(), {});
    if (!buffer_.IsAlive(references, Call_t::NotifyRelease)) {
        return 0;
    }
    --references;
    buffer_.RetireIfUnreferenced();
    return invocation.Return<ULONG>(references, references, false);
}

HRESULT SoundNotifyInterface::SetNotificationPositions(DWORD count, DSBPOSITIONNOTIFY const* points) {
    SoundBuffer& model = buffer_.Model();
    World& world = buffer_.GetWorld();
    bool const hasPoint = count != 0 && points != nullptr;
    PlatformLock lock(PlatformMutex());
    std::int64_t const event = hasPoint ? world.Events().NumberOf(points[0].hEventNotify) : 0;
    lock.unlock();
    Invocation invocation(world, Call_t::NotifySetNotificationPositions, model.Number(),
                          {count, hasPoint ? points[0].dwOffset : 0, event});
    if (!buffer_.IsAlive(model.notifyReferences, Call_t::NotifySetNotificationPositions)) {
        return invocation.Return(E_FAIL);
    }
    return invocation.Return(invocation.Fault() ? invocation.FaultResult()
                                                : model.SetNotificationPositions(count, points));
}

} // namespace Simulation
