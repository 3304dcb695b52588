#include "rendereraudioplaybackstate.h"

#include "directsound/hold.h"
#include "mediacore/metadatatypes.h"
#include "rendereraudioguarded.h"

namespace Media {

RendererAudioPlaybackState::RendererAudioPlaybackState(RendererAudioPlaybackDevice& device)
    : buffer_(device) {}

RendererAudioPlaybackState::~RendererAudioPlaybackState() = default;

bool RendererAudioPlaybackState::Render(std::shared_ptr<FrameAud> const& frame,
                                        Kovra::JiffyTime& presentation) {
    if (frame == nullptr) {
        return false;
    }
    auto const guard = Hold(bufferMutex_);
    if (!buffer_.HasSoundBuffer()) {
        buffer_.CreateSoundBuffer(frame);
    }
    if (!buffer_.HasSoundBuffer()) {
        return false;
    }
    bool const isWritten = buffer_.WriteFrame(frame);
    buffer_.Present(presentation);
    return isWritten;
}

bool RendererAudioPlaybackState::HasSoundBuffer() const {
    auto const guard = Hold(bufferMutex_);
    return buffer_.HasSoundBuffer();
}

bool RendererAudioPlaybackState::UpdateClientState() {
    return Guarded(false, [&] {
        PipelineClientState_t client;
        if (!GetClientState(client)) {
            return false;
        }
        auto const guard = Hold(bufferMutex_);
        buffer_.SetPan(client.balance);
        buffer_.SetVolume(client.volume, false);
        return true;
    });
}

} // namespace Media
