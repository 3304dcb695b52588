#pragma once

#include <string>

namespace Media {

/// Media-type names of metadata streams, one copy for each library that includes this header.
inline std::string const MetadataMediaType = "application";
inline std::string const MetadataMediaSubType = "vnd.onvif.metadata";

} // namespace Media
