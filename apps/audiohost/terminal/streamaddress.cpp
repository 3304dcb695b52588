#include "terminal/streamaddress.h"

#include <algorithm>
#include <cctype>

namespace AudioHost {

namespace {

constexpr char const* AfterScheme = "://";
constexpr std::size_t AfterSchemeSize = 3;
/// Windows has one letter before a colon, a drive's; every scheme that we play has more.
constexpr std::size_t MinSchemeSize = 2;

bool IsOfScheme(char letter) {
    return std::isalnum(static_cast<unsigned char>(letter)) != 0 || letter == '+' || letter == '-' ||
           letter == '.';
}

/// Of an address that goes on at `place`, behind its scheme, until `end`.
void EraseCredentials(std::string& text, std::size_t place, std::size_t end) {
    std::size_t const at = text.rfind('@', end - 1);
    // "udp://@:5000" has no credentials: the sign stands for "whoever sends".
    if (at == std::string::npos || at <= place) {
        return;
    }
    // A password may have all signs in it, a / too, though it should not. So where there may be one the last
    // @ counts, be it one of the path's: less is shown then than could be.
    bool const isOfHost = at < std::min(text.find_first_of("/?#", place), end);
    if (isOfHost || text.find(':', place) < at) {
        text.erase(place, at + 1 - place);
    }
}

} // namespace

bool IsSessionDescription(std::string const& text) {
    std::string const end = ".sdp";
    return text.size() > end.size() &&
           std::equal(end.begin(), end.end(), text.end() - static_cast<std::ptrdiff_t>(end.size()),
                      [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

bool IsStream(std::string const& text) {
    std::size_t const scheme = text.find(AfterScheme);
    bool const isAddress =
        scheme != std::string::npos && scheme >= MinSchemeSize &&
        std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(scheme), IsOfScheme);
    return isAddress || IsSessionDescription(text);
}

std::string WithoutCredentials(std::string const& address) {
    std::string shown = address;
    std::size_t const scheme = shown.find(AfterScheme);
    if (scheme != std::string::npos) {
        EraseCredentials(shown, scheme + AfterSchemeSize, shown.size());
    }
    return shown;
}

std::string TextWithoutCredentials(std::string const& text) {
    std::string shown = text;
    std::size_t place = 0;
    while ((place = shown.find(AfterScheme, place)) != std::string::npos) {
        place += AfterSchemeSize;
        EraseCredentials(shown, place, std::min(shown.find_first_of(" \t\n'\"", place), shown.size()));
    }
    return shown;
}

} // namespace AudioHost
