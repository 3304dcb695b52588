#pragma once

#include <string>
#include <vector>

#include "pipeline/export.h"

namespace Media {

/// Names of devices that a pipeline component can use, as a person reads them.
struct PipelineDevices {
    std::vector<std::string> names;
};

/// What every component of the pipeline can do. The order of the virtual operations is part of the binary
/// interface.
class MEDIAPIPELINE_API IPipelineInterface {
public:
    virtual ~IPipelineInterface();

    /// Opens the component: 0, or a negative status that leaves it closed.
    virtual int Initialize() = 0;
    /// Closes it. Safe to call when closed.
    virtual void Shutdown() = 0;
    /// Adds nothing unless overridden.
    virtual void GetDevices(PipelineDevices& devices);
    virtual bool IsEnabled() const = 0;
};

} // namespace Media
