#pragma once

// DirectSound's declarations, in the order that they need. Lean, as the rest clashes with this machine's own
// network headers outside Windows.
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>

#include <mmsystem.h>

#include <dsound.h>
