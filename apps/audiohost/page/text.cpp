#include "page/text.h"

#include <cstdint>
#include <ctime>

#include "listening/samples.h"

extern "C" {
#include <libavutil/base64.h>
}

namespace AudioHost {

std::string FormatUtc(Kovra::SysTime time, char const* format) {
    auto const seconds = static_cast<std::time_t>(time.NanoSec() / Listening::NanoSecPerSec);
    // Reports are written by one thread.
    std::tm const* const parts = std::gmtime(&seconds); // NOLINT(concurrency-mt-unsafe)
    char text[32] = "";
    if (parts) {
        std::strftime(text, sizeof text, format, parts);
    }
    return text;
}

std::string Base64(std::string const& bytes) {
    // Ends with a zero of its own.
    std::string text(AV_BASE64_SIZE(bytes.size()), '\0');
    av_base64_encode(text.data(), static_cast<int>(text.size()),
                     reinterpret_cast<std::uint8_t const*>(bytes.data()), static_cast<int>(bytes.size()));
    text.pop_back();
    return text;
}

} // namespace AudioHost
