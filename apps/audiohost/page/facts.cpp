#include "page/facts.h"

#include <boost/version.hpp>

#include "terminal/streamaddress.h"

extern "C" {
#include <libavutil/avutil.h>
}

namespace AudioHost {

namespace {

constexpr int BoostMajor = BOOST_VERSION / 100'000;
constexpr int BoostMinor = BOOST_VERSION / 100 % 1000;
constexpr int BoostPatch = BOOST_VERSION % 100;

std::string Quote(std::string const& word) {
    bool const isPlain = !word.empty() && word.find_first_of(" \t'\"") == std::string::npos;
    return isPlain ? word : "\"" + word + "\"";
}

} // namespace

std::vector<Fact> DescribeProgram(std::string const& program, std::vector<std::string> const& arguments) {
    std::string command = program;
    for (std::string const& argument : arguments) {
        command += " " + Quote(WithoutCredentials(argument));
    }
    return {{"Command", command},
            {"Version", RENDERERAUDIO_VERSION},
            {"Boost", std::to_string(BoostMajor) + "." + std::to_string(BoostMinor) + "." +
                          std::to_string(BoostPatch)},
            {"FFmpeg", av_version_info()}};
}

} // namespace AudioHost
