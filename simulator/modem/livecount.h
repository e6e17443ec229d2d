// Counts the objects and strings of the modem that its callers hold.
#pragma once

#include <windows.h>

// Counts one object of the modem while it exists. The registry value ObjectsAlive tells other
// processes whether objects exist.
class LiveCount {
 public:
    LiveCount();
    ~LiveCount();
};

// Counts one string that a caller must free.
void CountGivenString();

// Returns the number of objects of this process that are not released yet. Exported.
extern "C" LONG SimulatedModemLiveObjects();

// Returns the number of strings that callers in this process have received. Exported.
extern "C" LONG SimulatedModemStringsGiven();
