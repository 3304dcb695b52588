#include "files/outputfile.h"

#include <filesystem>
#include <fstream>

#include "kovra/log.h"
#include "terminal/hosterror.h"

namespace AudioHost {

void RequireWritable(std::string const& path) {
    if (!path.empty() && !std::ofstream(std::filesystem::u8path(path), std::ios::app)) {
        throw HostError(ExitCode_t::Usage, "'" + path + "' cannot be written.");
    }
}

void LogTo(std::string const& path) {
    if (!path.empty() && !Kovra::LogManager::Instance().SetFile(path)) {
        throw HostError(ExitCode_t::Usage, "'" + path + "' cannot be written.");
    }
}

void WriteReport(std::string const& path, std::string const& html, std::ostream& out) {
    std::ofstream report(std::filesystem::u8path(path), std::ios::binary);
    report << html;
    if (!report.flush()) {
        throw HostError(ExitCode_t::Internal, "the report '" + path + "' could not be written.");
    }
    out << "Report: " << path << std::endl;
}

} // namespace AudioHost
