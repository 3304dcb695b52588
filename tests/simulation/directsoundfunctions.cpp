// The functions that the sound library exports.

#include <algorithm>

#include "simulation/directsoundinterface.h"
#include "simulation/invocation.h"
#include "simulation/world.h"

namespace {

using Simulation::Call_t;
using Simulation::DeviceEntry;
using Simulation::Invocation;
using Simulation::World;

bool IsKnownDevice(World& world, GUID const& device) {
    auto const& devices = world.Device().Get().devices;
    return IsEqualGUID(device, DSDEVID_DefaultPlayback) ||
           std::any_of(devices.begin(), devices.end(), [&device](DeviceEntry const& entry) {
               return entry.guid && IsEqualGUID(*entry.guid, device);
           });
}

HRESULT CreateSound(World& world, GUID const* device, IDirectSound8** sound, IUnknown const* outer) {
    if (sound == nullptr) {
        return DSERR_INVALIDPARAM;
    }
    if (outer != nullptr) {
        return DSERR_NOAGGREGATION;
    }
    if (device != nullptr && !IsKnownDevice(world, *device)) {
        return DSERR_NODRIVER;
    }
    Simulation::DirectSoundInterface& made = world.MakeSound();
    made.references = 1;
    *sound = &made;
    return DS_OK;
}

} // namespace

HRESULT WINAPI DirectSoundCreate8(GUID const* device, IDirectSound8** sound, IUnknown* outer) {
    World& world = World::Current("DirectSoundCreate8");
    if (sound != nullptr) {
        *sound = nullptr;
    }
    Invocation invocation(world, Call_t::SoundCreate8, 0, {});
    return invocation.Return(invocation.Fault() ? invocation.FaultResult()
                                                : CreateSound(world, device, sound, outer));
}

HRESULT WINAPI DirectSoundEnumerateA(LPDSENUMCALLBACKA callback, void* context) {
    World& world = World::Current("DirectSoundEnumerateA");
    std::vector<DeviceEntry> devices;
    HRESULT result = DSERR_INVALIDPARAM;
    {
        Invocation invocation(world, Call_t::SoundEnumerate, 0, {});
        if (invocation.Fault()) {
            return invocation.Return(invocation.FaultResult());
        }
        if (callback != nullptr) {
            devices = world.Device().Get().devices;
            result = world.Device().Get().enumerateResult;
        }
        invocation.Return(result);
    }
    // The callback runs without the platform's mutex: it takes the module's own locks.
    for (DeviceEntry& device : devices) {
        GUID* const guid = device.guid ? &*device.guid : nullptr;
        char const* const description = device.description ? device.description->c_str() : nullptr;
        if (callback(guid, description, device.module.c_str(), context) == FALSE) {
            break;
        }
    }
    return result;
}
