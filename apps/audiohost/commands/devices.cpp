#include "commands/devices.h"

#include "commands/summaryjson.h"
#include "output/devicetext.h"

namespace AudioHost {

ExitCode_t Devices(DeviceList const& list, Telling const& telling, Surroundings const& surroundings) {
    ExitCode_t const code = list.outputs.empty()  ? ExitCode_t::NoOutput
                            : list.inputs.empty() ? ExitCode_t::NoInput
                                                  : ExitCode_t::Ok;
    if (surroundings.json) {
        *surroundings.json << FormatSummaryJson(list, code) << std::flush;
    } else {
        surroundings.out << FormatDevices(list, telling.isVerbose) << std::flush;
    }
    return code;
}

} // namespace AudioHost
