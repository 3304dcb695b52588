#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "harbour/export.h"
#include "mediacore/frame.h"
#include "pipeline/ipipelinerenderer.h"
#include "pipeline/pipelinejob.h"
#include "pipeline/pipelinestate.h"

/// What this host does with its libraries. None of it is the renderer's: its sources see the other headers.
namespace Harbour {

/// Blocks of the pool that somebody holds, and how often one was given out again.
struct PoolFigures {
    std::size_t inUse = 0;
    std::size_t reused = 0;
};
HARBOUR_API PoolFigures GetPoolFigures();

/// Texts of the records so far, each behind its channel, and the channels that were asked for.
HARBOUR_API std::vector<std::string> GetLogTexts();
HARBOUR_API std::vector<std::string> GetLogChannels();

/// Makes `renderer` (borrowed, null for none) the process's audio renderer.
HARBOUR_API void UseRenderer(Media::IPipelineRenderer* renderer);

/// 48000 Hz, mono, 16 bits, beginning at `timestampNanoSec`.
HARBOUR_API std::shared_ptr<Media::FrameAudRaw> MakeRawFrame(std::int64_t timestampNanoSec,
                                                             std::vector<std::int16_t> const& samples);
/// G.711, u-law, 8000 Hz.
HARBOUR_API std::shared_ptr<Media::FrameAud> MakeTelephoneFrame(std::int64_t timestampNanoSec,
                                                                std::vector<std::uint8_t> const& codes);
HARBOUR_API std::vector<std::int16_t> GetSamples(Media::FrameAud const& frame);

HARBOUR_API boost::intrusive_ptr<Media::PipelineStageRenderJob> MakeJob(
    boost::intrusive_ptr<Media::PipelineState> state, std::shared_ptr<Media::FrameAud> frame,
    Kovra::JiffyTime presentation);
/// The renderer has called `Success` and nothing else.
HARBOUR_API bool HasSucceeded(Media::PipelineStageRenderJob const& job);

/// What a session's client wants from now on; told to the state at once.
HARBOUR_API void Wish(Media::PipelineState& state, float volume, float balance);

} // namespace Harbour
