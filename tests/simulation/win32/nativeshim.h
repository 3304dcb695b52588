#pragma once

// Force-included into every source that is built on the simulated platform outside Windows. It brings the
// Windows types in from Wine's headers and takes the Windows calling convention away: the COM interfaces
// then are plain C++ classes of this machine, through which exceptions, sanitizers and mocks work.
#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef COM_STDMETHOD_CAN_THROW
#define COM_STDMETHOD_CAN_THROW
#endif
#include <windef.h>
#undef __stdcall
#define __stdcall
