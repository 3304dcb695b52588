#pragma once

#include <memory>
#include <string>

#include "kovra/log.h"

namespace Kovra {

/// Logger of configuration items, one for each library that includes this header, fetched when the library
/// is loaded.
inline std::shared_ptr<LoggerFacade> const ConfigItemLogger =
    LogManager::Instance().GetLogger("Kovra.ConfigItem", nullptr, std::string());

} // namespace Kovra
