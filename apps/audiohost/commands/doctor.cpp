#include "commands/doctor.h"

#include "commands/findings.h"
#include "commands/summaryjson.h"
#include "doctor/checkup.h"
#include "doctor/doctorpage.h"
#include "files/outputfile.h"

namespace AudioHost {

namespace {

ExitCode_t CodeOf(CheckupLog const& log) {
    if (log.isInterrupted) {
        return ExitCode_t::Interrupted;
    }
    if (!log.hasOutput) {
        return ExitCode_t::NoOutput;
    }
    if (!log.input.failure.empty()) {
        return ExitCode_t::NoInput;
    }
    return CodeOf(Judge(log).outcome);
}

} // namespace

ExitCode_t Doctor(DoctorOptions const& options, DeviceList const& devices, Surroundings const& surroundings,
                  CaptureAccess& capture, OutputAccess& output) {
    RequireWritable(options.pagePath);
    LogTo(options.logPath);
    CheckupLog const log = CheckUp(devices, options.seconds, surroundings, capture, output);
    ExitCode_t const code = CodeOf(log);
    std::string const page = FormatPage(log);
    surroundings.out << page << std::flush;
    if (!options.pagePath.empty()) {
        WriteReport(options.pagePath, {page, {}}, surroundings.out);
    }
    if (surroundings.json) {
        *surroundings.json << FormatSummaryJson(log, code) << std::flush;
    }
    return code;
}

} // namespace AudioHost
