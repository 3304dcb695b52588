// Calls the installed DLL through the installed header. Opens no device: there may be none. Without a C
// library its entry is START.
#include <rendereraudio/rendereraudio_c.h>

#ifndef START
#define START main
#endif

int START(void) {
    return RaGetInterface() >= RA_INTERFACE && RaGetVersion()[0] != 0 ? 0 : 1;
}
