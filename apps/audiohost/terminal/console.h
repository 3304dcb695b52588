#pragma once

#include <string>
#include <vector>

#include "terminal/stopsignal.h"

namespace AudioHost {

/// The program's arguments without its own name, in UTF-8 whatever the machine's code page.
std::vector<std::string> GetArguments();

/// Makes output UTF-8 and tells whether standard output is a terminal.
bool SetUpConsole();

/// Ctrl-C, Ctrl-Break and the closing of the console window ask `stop` (borrowed, for the rest of the
/// process); a second time they end the process at once.
void StopOnInterrupt(StopSignal& stop);

} // namespace AudioHost
