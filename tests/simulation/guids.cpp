// The interface identifiers, defined once.

#define INITGUID
#include "simulation/dsoundheaders.h"
