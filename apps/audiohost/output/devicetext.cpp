#include "output/devicetext.h"

#include <vector>

namespace AudioHost {

namespace {

std::string FormatList(std::vector<SoundDevice> const& devices, bool hasDrivers) {
    if (devices.empty()) {
        return "  none\n";
    }
    std::string text;
    for (SoundDevice const& device : devices) {
        text += "  " + device.name + (device.IsDefault() ? " (the default, which the renderer takes)" : "");
        if (hasDrivers && !device.driver.empty()) {
            text += "  " + device.driver;
        }
        if (hasDrivers && !device.id.empty()) {
            text += "  " + device.id;
        }
        text += "\n";
    }
    return text;
}

} // namespace

std::string FormatDevices(DeviceList const& list, bool hasDrivers) {
    return "Outputs\n" + FormatList(list.outputs, hasDrivers) + "Inputs\n" +
           FormatList(list.inputs, hasDrivers);
}

} // namespace AudioHost
