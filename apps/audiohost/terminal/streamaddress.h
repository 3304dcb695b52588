#pragma once

#include <string>

namespace AudioHost {

/// True for what names a stream of the network rather than a file: an address with a scheme, or the
/// description of a session (a file whose name ends in .sdp).
bool IsStream(std::string const& text);

/// True for the path of a session's description.
bool IsSessionDescription(std::string const& text);

/// `text` with the name and password of every address in it left out, for whatever is shown or kept.
std::string WithoutCredentials(std::string const& text);

} // namespace AudioHost
