#include "files/outputfile.h"

#include <filesystem>
#include <fstream>

#include "kovra/log.h"
#include "terminal/hosterror.h"

namespace AudioHost {

namespace {

void WriteFile(std::filesystem::path const& path, std::string const& bytes) {
    std::ofstream file(path, std::ios::binary);
    file << bytes;
    if (!file.flush()) {
        throw HostError(ExitCode_t::Internal, "the report '" + path.u8string() + "' could not be written.");
    }
}

} // namespace

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

void WriteReport(std::string const& path, Report const& report, std::ostream& out) {
    std::filesystem::path const page = std::filesystem::u8path(path);
    for (SideFile const& file : report.files) {
        WriteFile(page.parent_path() / std::filesystem::u8path(file.name), file.bytes);
    }
    WriteFile(page, report.html);
    out << "Report: " << path << std::endl;
}

} // namespace AudioHost
