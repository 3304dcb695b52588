#pragma once

#include <string>

namespace AudioHost {

/// True for what names a stream of the network rather than a file: an address with a scheme, or the
/// description of a session (a file whose name ends in .sdp).
bool IsStream(std::string const& text);

/// True for the path of a session's description.
bool IsSessionDescription(std::string const& text);

/// `address`, or whatever else stands alone, with its name and password left out, for all that is shown or
/// kept. They may have every sign in them.
std::string WithoutCredentials(std::string const& address);

/// The same of a text that has addresses in it, each until a blank or a quotation mark.
std::string TextWithoutCredentials(std::string const& text);

} // namespace AudioHost
