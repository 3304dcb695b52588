#include <cstdio>
#include <cstring>
#include <type_traits>

#include "kovra/log.h"

namespace Kovra {

namespace {

/// A place for an argument, as it stands in a text; `end` is null when there is none.
struct Place {
    char const* flags;
    char const* length;
    char const* end;

    char GetConversion() const { return end[-1]; }
};

bool IsLetter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Reads the place that `text`, a percent sign, may begin.
Place ReadPlace(char const* text) {
    char const* const flags = text + 1;
    char const* const width = flags + std::strspn(flags, "-+ #0");
    char const* length = width + std::strspn(width, "0123456789");
    if (*length == '.') {
        length += 1 + std::strspn(length + 1, "0123456789");
    }
    char const* const conversion = length + std::strspn(length, "hljztL");
    return {flags, length, IsLetter(*conversion) ? conversion + 1 : nullptr};
}

/// Appends `text` up to its first place, or all of it, and returns what follows.
char const* AppendPlainText(std::string& to, char const* text) {
    while (*text != '\0') {
        bool const isEscaped = text[0] == '%' && text[1] == '%';
        if (*text == '%' && !isEscaped && ReadPlace(text).end) {
            break;
        }
        to += *text;
        text += isEscaped ? 2 : 1;
    }
    return text;
}

template <class Integer>
void AppendNumber(std::string& to, char const* conversion, Integer number) {
    int const length = std::snprintf(nullptr, 0, conversion, number);
    if (length < 0) {
        to += std::to_string(number);
        return;
    }
    std::size_t const start = to.size();
    to.resize(start + static_cast<std::size_t>(length) + 1);
    std::snprintf(&to[start], static_cast<std::size_t>(length) + 1, conversion, number);
    to.pop_back();
}

/// Appends the text up to the next place and `argument` in that place; returns what follows.
template <class Integer>
char const* AppendArgument(std::string& to, char const* text, Integer argument) {
    text = AppendPlainText(to, text);
    if (*text == '\0') {
        return text;
    }
    Place const place = ReadPlace(text);
    std::string conversion = "%" + std::string(place.flags, place.length);
    switch (place.GetConversion()) {
        case 'x':
        case 'X':
        case 'o':
            AppendNumber(to, (conversion + place.GetConversion()).c_str(),
                         static_cast<unsigned int>(argument));
            break;
        default:
            conversion += std::is_signed_v<Integer> ? 'd' : 'u';
            AppendNumber(to, conversion.c_str(), argument);
    }
    return place.end;
}

} // namespace

LogExec::LogExec(LogLevel_t level, char const* format) : level_(level), rest_(format ? format : "") {}

LogExec::~LogExec() = default;

LogExec& LogExec::operator%(int argument) {
    rest_ = AppendArgument(done_, rest_, argument);
    return *this;
}

LogExec& LogExec::operator%(unsigned int argument) {
    rest_ = AppendArgument(done_, rest_, argument);
    return *this;
}

LogExec& LogExec::At(CodeLocation const& location) {
    location_ = location;
    hasLocation_ = true;
    return *this;
}

std::string LogExec::GetMessage() const {
    std::string message = done_;
    for (char const* text = AppendPlainText(message, rest_); *text != '\0';
         text = AppendPlainText(message, text)) {
        char const* const end = ReadPlace(text).end;
        message.append(text, end);
        text = end;
    }
    return message;
}

} // namespace Kovra
