#include "terminal/textformat.h"

#include <cmath>
#include <iomanip>
#include <locale>
#include <sstream>

namespace AudioHost {

namespace {

constexpr std::int64_t TenthNanoSec = 100'000'000;
constexpr std::int64_t TenthsPerMinute = 600;

} // namespace

std::string FormatFixed(double value, int decimals) {
    double const scale = std::pow(10.0, decimals);
    double rounded = std::round(value * scale) / scale;
    if (rounded == 0.0) {
        rounded = 0.0; // drops the sign of -0.0
    }
    std::ostringstream text;
    text.imbue(std::locale::classic());
    text << std::fixed << std::setprecision(decimals) << std::fabs(rounded);
    return (rounded < 0.0 ? "-" : "") + text.str();
}

std::string FormatSigned(double value, int decimals) {
    std::string const text = FormatFixed(value, decimals);
    bool const isZero = text.find_first_of("123456789") == std::string::npos;
    return isZero || text.front() == '-' ? text : "+" + text;
}

std::string FormatClock(std::int64_t nanoSec) {
    std::int64_t const tenths = nanoSec < 0 ? 0 : nanoSec / TenthNanoSec;
    std::int64_t const rest = tenths % TenthsPerMinute;
    std::string const seconds = std::to_string(rest / 10);
    return std::to_string(tenths / TenthsPerMinute) + (seconds.size() < 2 ? ":0" : ":") + seconds + "." +
           std::to_string(rest % 10);
}

std::string FormatCount(std::uint64_t count, std::string const& noun) {
    std::string const number = count == 0 ? "no" : std::to_string(count);
    return number + " " + noun + (count == 1 ? "" : "s");
}

std::string EscapeHtml(std::string const& text) {
    std::string escaped;
    for (char const character : text) {
        switch (character) {
            case '&':
                escaped += "&amp;";
                break;
            case '<':
                escaped += "&lt;";
                break;
            case '>':
                escaped += "&gt;";
                break;
            case '"':
                escaped += "&quot;";
                break;
            default:
                if (static_cast<unsigned char>(character) >= 0x20) {
                    escaped += character;
                }
        }
    }
    return escaped;
}

} // namespace AudioHost
