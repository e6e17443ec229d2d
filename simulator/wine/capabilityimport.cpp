#include "simulator/wine/capability.h"

// The import pointer itself: calls of the program never reach the missing function.
extern "C" {
extern void* const __imp_DeriveCapabilitySidsFromName;
void* const __imp_DeriveCapabilitySidsFromName =
    reinterpret_cast<void*>(&SimulatedDeriveCapabilitySidsFromName);
}
