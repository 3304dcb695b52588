// The interface identifiers, defined once.

#define INITGUID
#include "simulation/win32/dsoundheaders.h"
