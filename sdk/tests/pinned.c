#include "pinned.h"

// That a C compiler takes the header is half of the test; the other half is that all functions are there.
int CountMissingFunctions(void);

int CountMissingFunctions(void) {
    PinnedFunctions const functions = GetPinnedFunctions();
    return (functions.getInterface == 0) + (functions.codecRead == 0);
}
