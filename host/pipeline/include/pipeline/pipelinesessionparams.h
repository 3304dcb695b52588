#pragma once

namespace Media {

/// What a new session asks of a renderer.
struct PipelineSessionParams_t {
    /// The session's audio shall be rendered.
    bool renderAudio = true;
    /// The session's video shall be rendered.
    bool renderVideo = false;
};

} // namespace Media
