#pragma once

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "rendereraudio.h"
#include "support/peers.h"
#include "support/runningdevice.h"

namespace UnitTest {

/// A new session of `renderer`; null when it is refused.
inline boost::intrusive_ptr<Media::PipelineState> OpenSession(Media::RendererAudio& renderer) {
    Media::PipelineSessionParams_t params;
    boost::intrusive_ptr<Media::PipelineState> state;
    renderer.RegisterSession(params, state);
    return state;
}

/// The buffer of a session that `OpenSession` gave.
inline Media::RendererAudioPlaybackBuffer& BufferOf(Media::PipelineState& state) {
    return Media::RendererAudioPlaybackStatePeer::GetBuffer(
        static_cast<Media::RendererAudioPlaybackState&>(state));
}

/// The renderer's playback device, as its sessions know it. Opens the device.
inline Media::RendererAudioPlaybackDevice& DeviceOf(Media::RendererAudio& renderer) {
    auto const session = OpenSession(renderer);
    return *Media::RendererAudioPlaybackBufferPeer::GetFields(BufferOf(*session)).device;
}

/// Initialises `renderer` and returns when its playback thread is blocked in its first wait. False when the
/// device cannot be opened. See `OpenWithRunningThread`.
inline bool InitializeWithRunningThread(Media::RendererAudio& renderer, Simulation::World& world) {
    auto& device = DeviceOf(renderer);
    device.Close();
    return OpenWithRunningThread(device, world) && renderer.Initialize() == Media::Status::Success;
}

} // namespace UnitTest
