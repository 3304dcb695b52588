#pragma once

#include <memory>
#include <string>

#include "kovra/log.h"
// Named for what they set up when the module is loaded, as in each of the host's libraries: a logger of its
// own, and names of media types.
#include "kovra/configitem.h"
#include "mediacore/metadatatypes.h"
#include "rendereraudioguarded.h"

namespace Media {

/// The logger of one source file, fetched when the module is loaded.
inline std::shared_ptr<Kovra::LoggerFacade> FetchLogger(char const* channel) {
    return Kovra::LogManager::Instance().GetLogger(channel, nullptr, std::string());
}

/// Pushes one record, fed with `arguments` (`int` or `unsigned int`), when `level` is wanted. Any thread.
/// When the host's log or its memory fails, the record is lost, and nothing else.
template <class... Arguments>
void WriteLog(Kovra::LoggerFacade const& logger, Kovra::LogLevel_t const& level, char const* text,
              Arguments... arguments) noexcept {
    Guarded([&] {
        if (logger.IsEnabled(level)) {
            Kovra::LogExec record(level, text);
            static_cast<void>((record % ... % arguments));
            logger.get().Push(record);
        }
    });
}

/// Pushes one record that names the place in the sources it comes from, likewise.
inline void WriteLogAt(Kovra::CodeLocation const& location, Kovra::LoggerFacade const& logger,
                       Kovra::LogLevel_t const& level, char const* text) noexcept {
    Guarded([&] {
        if (logger.IsEnabled(level)) {
            Kovra::LogExec record(level, text);
            record.At(location);
            logger.get().Push(record);
        }
    });
}

} // namespace Media
