// The functions that the sound library exports.

#include <algorithm>

#include "simulation/com/captureinterface.h"
#include "simulation/com/directsoundinterface.h"
#include "simulation/win32/invocation.h"
#include "simulation/world.h"

namespace {

using Simulation::Call_t;
using Simulation::DeviceEntry;
using Simulation::Endpoint;
using Simulation::Invocation;
using Simulation::World;

bool IsKnownDevice(Endpoint const& endpoint, GUID const& device) {
    auto const& devices = endpoint.devices;
    return std::any_of(devices.begin(), devices.end(), [&device](DeviceEntry const& entry) {
        return entry.guid && IsEqualGUID(*entry.guid, device);
    });
}

/// Gives the object that `make` makes on `device`: null, the default one or one that is enumerated.
template <class Interface, class Make>
HRESULT Create(World& world, Call_t call, Endpoint const& endpoint, GUID const& defaultDevice,
               GUID const* device, Interface** object, IUnknown const* outer, Make make) {
    if (object != nullptr) {
        *object = nullptr;
    }
    Invocation invocation(world, call, 0, {});
    if (invocation.Fault()) {
        return invocation.Return(invocation.FaultResult());
    }
    if (object == nullptr) {
        return invocation.Return(DSERR_INVALIDPARAM);
    }
    if (outer != nullptr) {
        return invocation.Return(DSERR_NOAGGREGATION);
    }
    if (device != nullptr && !IsEqualGUID(*device, defaultDevice) && !IsKnownDevice(endpoint, *device)) {
        return invocation.Return(DSERR_NODRIVER);
    }
    auto& made = make();
    made.References() = 1;
    *object = &made;
    return invocation.Return(DS_OK);
}

HRESULT Enumerate(World& world, Call_t call, Endpoint const& endpoint, LPDSENUMCALLBACKA callback,
                  void* context) {
    std::vector<DeviceEntry> devices;
    HRESULT result = DSERR_INVALIDPARAM;
    {
        Invocation invocation(world, call, 0, {});
        if (invocation.Fault()) {
            return invocation.Return(invocation.FaultResult());
        }
        if (callback != nullptr) {
            devices = endpoint.devices;
            result = endpoint.enumerateResult;
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

} // namespace

HRESULT WINAPI DirectSoundCreate8(GUID const* device, IDirectSound8** sound, IUnknown* outer) {
    World& world = World::Current("DirectSoundCreate8");
    return Create(
        world, Call_t::SoundCreate8, world.Speakers(), DSDEVID_DefaultPlayback, device, sound,
        outer, [&world]() -> auto& { return world.MakeSound(); });
}

HRESULT WINAPI DirectSoundEnumerateA(LPDSENUMCALLBACKA callback, void* context) {
    World& world = World::Current("DirectSoundEnumerateA");
    return Enumerate(world, Call_t::SoundEnumerate, world.Speakers(), callback, context);
}

HRESULT WINAPI DirectSoundCaptureCreate8(GUID const* device, IDirectSoundCapture8** capture,
                                         IUnknown* outer) {
    World& world = World::Current("DirectSoundCaptureCreate8");
    return Create(
        world, Call_t::CaptureCreate8, world.Microphone(), DSDEVID_DefaultCapture, device, capture,
        outer, [&world]() -> auto& { return world.MakeCapture(); });
}

HRESULT WINAPI DirectSoundCaptureEnumerateA(LPDSENUMCALLBACKA callback, void* context) {
    World& world = World::Current("DirectSoundCaptureEnumerateA");
    return Enumerate(world, Call_t::CaptureEnumerate, world.Microphone(), callback, context);
}
