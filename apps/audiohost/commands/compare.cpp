#include "commands/compare.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "report/reportcompare.h"

namespace AudioHost {

namespace {

std::string ReadText(std::string const& path) {
    std::ifstream file(std::filesystem::u8path(path), std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file) {
        throw HostError(ExitCode_t::FileMissing, "the report '" + path + "' cannot be read.");
    }
    return text;
}

} // namespace

ExitCode_t Compare(CompareOptions const& options, std::ostream& out) {
    out << CompareReports(ReadText(options.beforePath), ReadText(options.afterPath)) << std::flush;
    return ExitCode_t::Ok;
}

} // namespace AudioHost
