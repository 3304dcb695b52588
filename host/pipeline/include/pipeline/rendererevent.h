#pragma once

#include <cstdint>
#include <string>

#include "pipeline/export.h"

namespace Media {

/// What a log record of the audio renderer means for the person who listens.
enum class RendererEventKind_t {
    Started,
    FrequencyChange,
    DriftReset,
    LateStop,
    IdleStop,
    PacketLoss,
    SmallGap,
    RateChange,
    Other,
};

/// A log record of the audio renderer, as it was understood.
struct RendererEvent_t {
    RendererEventKind_t kind = RendererEventKind_t::Other;
    /// The number in the text: Hz of a change, samples of a loss or gap, milliseconds of an idle stop; 0 when
    /// there is none.
    std::uint32_t number = 0;
};

/// Channels of the renderer's log records begin so.
constexpr char const* RendererChannels = "Media.RendererAudio";

/// Reads the text of a record of such a channel. Allocates nothing.
MEDIAPIPELINE_API RendererEvent_t ReadRendererEvent(std::string const& message);

/// The playback frequency in Hz that holds from this event on; 0 when it does not tell.
MEDIAPIPELINE_API std::uint32_t GetFrequencyHz(RendererEvent_t const& event);

} // namespace Media
