#pragma once

#include <gtest/gtest.h>

#include "helpers.h"
#include "simulation/testworld.h"

// What playing and capturing have in common, for tests that hold for both: TYPED_TEST_SUITE(Name, Sides).

namespace Simulation {

struct Playing {
    using Device = IDirectSound8;
    using Buffer = IDirectSoundBuffer;
    using Usual = Playable;

    static char const* Name() { return "DirectSound object"; }
    static char const* BufferName() { return "sound buffer"; }
    static GUID const& DeviceIid() { return IID_IDirectSound8; }
    static GUID const& DefaultDevice() { return DSDEVID_DefaultPlayback; }
    static GUID const& OtherDefaultDevice() { return DSDEVID_DefaultCapture; }
    static HRESULT Enumerate(LPDSENUMCALLBACKA callback, void* context) {
        return DirectSoundEnumerateA(callback, context);
    }
    static HRESULT Create(GUID const* device, Device** made, IUnknown* outer) {
        return DirectSoundCreate8(device, made, outer);
    }
    static void MakeReady(Device* device) { device->SetCooperativeLevel(GetDesktopWindow(), DSSCL_PRIORITY); }
    static HRESULT CreateBuffer(Device* device, WAVEFORMATEX format, Buffer** made,
                                IUnknown* outer = nullptr) {
        DSBUFFERDESC const description = MakeDescription(format);
        return device->CreateSoundBuffer(&description, made, outer);
    }
    static EndpointSettings& Settings(World& world) { return world.Device(); }
    static DeviceBuffer& LatestBuffer(World& world) { return world.LatestBuffer(); }
    static std::size_t Live(World const& world) { return world.LiveSounds(); }
    static std::size_t Count(World const& world) { return world.SoundCount(); }
    static std::uint32_t References(World const& world) { return world.SoundReferences(); }

    static void Start(Usual& usual) { usual->Play(0, 0, DSBPLAY_LOOPING); }
    static DWORD Cursor(Usual& usual) { return usual.PlayCursor(); }
    /// From here on every byte of the ring may be locked.
    static void Fill(World&, Usual&) {}
};

struct Capturing {
    using Device = IDirectSoundCapture;
    using Buffer = IDirectSoundCaptureBuffer;
    using Usual = Microphone;

    static char const* Name() { return "capture object"; }
    static char const* BufferName() { return "capture buffer"; }
    static GUID const& DeviceIid() { return IID_IDirectSoundCapture; }
    static GUID const& DefaultDevice() { return DSDEVID_DefaultCapture; }
    static GUID const& OtherDefaultDevice() { return DSDEVID_DefaultPlayback; }
    static HRESULT Enumerate(LPDSENUMCALLBACKA callback, void* context) {
        return DirectSoundCaptureEnumerateA(callback, context);
    }
    static HRESULT Create(GUID const* device, Device** made, IUnknown* outer) {
        return DirectSoundCaptureCreate8(device, made, outer);
    }
    static void MakeReady(Device*) {}
    static HRESULT CreateBuffer(Device* device, WAVEFORMATEX format, Buffer** made,
                                IUnknown* outer = nullptr) {
        DSCBUFFERDESC const description = MakeCaptureDescription(format);
        return device->CreateCaptureBuffer(&description, made, outer);
    }
    static EndpointSettings& Settings(World& world) { return world.CaptureDevice(); }
    static DeviceBuffer& LatestBuffer(World& world) { return world.LatestCaptureBuffer(); }
    static std::size_t Live(World const& world) { return world.LiveCaptures(); }
    static std::size_t Count(World const& world) { return world.CaptureCount(); }
    static std::uint32_t References(World const& world) { return world.CaptureReferences(); }

    static void Start(Usual& usual) { usual->Start(DSCBSTART_LOOPING); }
    static DWORD Cursor(Usual& usual) { return usual.ReadCursor(); }
    /// A buffer that has come to its end holds nothing that is not captured yet.
    static void Fill(World& world, Usual& usual) {
        usual->Start(0);
        world.LatestCaptureBuffer().CaptureAtOnce(RingBytes / 2);
    }
};

using Sides = testing::Types<Playing, Capturing>;

} // namespace Simulation
