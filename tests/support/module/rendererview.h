#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "rendereraudio.h"
#include "support/module/peers.h"
#include "support/module/runningdevice.h"

namespace UnitTest {

/// A new session of `renderer`; null when it is refused.
inline boost::intrusive_ptr<PipelineState> OpenSession(RendererAudio& renderer) {
    PipelineSessionParams_t params;
    boost::intrusive_ptr<PipelineState> state;
    renderer.RegisterSession(params, state);
    return state;
}

/// The buffer of a session that `OpenSession` gave.
inline RendererAudioPlaybackBuffer& BufferOf(PipelineState& state) {
    return RendererAudioPlaybackStatePeer::GetBuffer(static_cast<RendererAudioPlaybackState&>(state));
}

/// The renderer's playback device, as its sessions know it. Opens the device.
inline RendererAudioPlaybackDevice& DeviceOf(RendererAudio& renderer) {
    auto const session = OpenSession(renderer);
    return *RendererAudioPlaybackBufferPeer::GetFields(BufferOf(*session)).device;
}

/// Initialises `renderer` and returns when its playback thread is blocked in its first wait. False when the
/// device cannot be opened. See `OpenWithRunningThread`.
inline bool InitializeWithRunningThread(RendererAudio& renderer, Simulation::World& world) {
    auto& device = DeviceOf(renderer);
    device.Close();
    return OpenWithRunningThread(device, world) && renderer.Initialize() == Status::Success;
}

} // namespace UnitTest
