#pragma once

#include <string>
#include <vector>

namespace AudioHost {

/// A DirectSound device as the system enumerates it. Texts are UTF-8.
struct SoundDevice {
    std::string name;
    /// The driver's file, empty where the system does not tell.
    std::string driver;
    /// Its GUID in braces; empty for the default device, which stands for one of the others.
    std::string id;

    bool IsDefault() const { return id.empty(); }
};

struct DeviceList {
    std::vector<SoundDevice> outputs;
    std::vector<SoundDevice> inputs;
};

/// In the system's own order.
DeviceList ListDevices();

} // namespace AudioHost
