#pragma once

#include <string>

namespace Media {

struct PipelineSessionParams_t {
    std::string clientName = "somebody";
    bool renderAudio = true;
};

} // namespace Media
