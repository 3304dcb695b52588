#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "terminal/stopsignal.h"

namespace AudioHost {

/// The program's arguments without its own name, in UTF-8 whatever the machine's code page.
std::vector<std::string> GetArguments();

/// Makes output UTF-8 and input plain bytes.
void SetUpConsole();

/// A standard stream of the process.
enum class Stream_t { Output, Error };

/// Whether the stream is a terminal, and how many places a line of it has now.
bool IsTerminal(Stream_t stream);
std::size_t CountColumns(Stream_t stream);

/// Ctrl-C, Ctrl-Break and the closing of the console window ask `stop` (borrowed, for the rest of the
/// process); a second time they end the process at once.
void StopOnInterrupt(StopSignal& stop);

} // namespace AudioHost
