#pragma once

#include <string>

namespace Media {

/// Media type of metadata streams; one copy for each library that includes this header.
inline std::string const MetadataMediaType = "application";
/// Their subtype, likewise.
inline std::string const MetadataMediaSubType = "vnd.onvif.metadata";

} // namespace Media
