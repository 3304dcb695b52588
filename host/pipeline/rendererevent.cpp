#include "pipeline/rendererevent.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace Media {

namespace {

constexpr std::uint32_t NominalHz = 48000;

struct Meaning {
    char const* start;
    RendererEventKind_t kind;
};

/// Beginnings of the texts that the renderer logs.
constexpr std::array<Meaning, 8> Meanings = {{
    {"AudioBuffer playback started", RendererEventKind_t::Started},
    {"Adjusting audio frequency to ", RendererEventKind_t::FrequencyChange},
    {"AudioBuffer timestamp drift too high, resetting", RendererEventKind_t::DriftReset},
    {"AudioBuffer presentation requested in the past", RendererEventKind_t::LateStop},
    {"Idle AudioBuffer playback stopped", RendererEventKind_t::IdleStop},
    {"AudioBuffer packet loss", RendererEventKind_t::PacketLoss},
    {"AudioBuffer ignoring small gap", RendererEventKind_t::SmallGap},
    {"AudioBuffer resetting frequency to ", RendererEventKind_t::RateChange},
}};

bool IsDigit(char letter) {
    return letter >= '0' && letter <= '9';
}

/// The first number in `text`; 0 when there is none, or one beyond 32 bits.
std::uint32_t ReadNumber(std::string const& text) {
    auto place = std::find_if(text.begin(), text.end(), IsDigit);
    std::uint64_t number = 0;
    for (; place != text.end() && IsDigit(*place); ++place) {
        number = number * 10 + static_cast<std::uint64_t>(*place - '0');
        if (number > std::numeric_limits<std::uint32_t>::max()) {
            return 0;
        }
    }
    return static_cast<std::uint32_t>(number);
}

} // namespace

RendererEvent_t ReadRendererEvent(std::string const& message) {
    auto const* const meaning = std::find_if(Meanings.begin(), Meanings.end(), [&](Meaning const& one) {
        return message.rfind(one.start, 0) == 0;
    });
    return meaning == Meanings.end() ? RendererEvent_t()
                                     : RendererEvent_t{meaning->kind, ReadNumber(message)};
}

std::uint32_t GetFrequencyHz(RendererEvent_t const& event) {
    switch (event.kind) {
        case RendererEventKind_t::Started:
        case RendererEventKind_t::DriftReset:
            return NominalHz;
        case RendererEventKind_t::FrequencyChange:
            return event.number;
        default:
            return 0;
    }
}

} // namespace Media
