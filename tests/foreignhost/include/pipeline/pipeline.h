#pragma once

#include "harbour/export.h"

namespace Media {

class IPipelineRenderer;

namespace Pipeline {

/// The process's audio renderer, null for none.
HARBOUR_API IPipelineRenderer const* GetAudioRenderer();

} // namespace Pipeline
} // namespace Media
