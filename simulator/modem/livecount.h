// Counts the objects and strings of the modem that its callers hold.
#pragma once

#include <windows.h>

// Counts one object of the modem while it exists. The registry value ObjectsAlive shows other
// processes whether there are any.
class LiveCount {
 public:
    LiveCount();
    ~LiveCount();
};

// Counts one string that a caller must free.
void CountGivenString();

// Exported: the objects of this process that are not released yet.
extern "C" LONG SimulatedModemLiveObjects();

// Exported: the strings given to callers in this process so far.
extern "C" LONG SimulatedModemStringsGiven();
