// Accounts for what the modem's callers hold.
#pragma once

#include <windows.h>

// Counts one object of the modem for as long as it exists. The registry value ObjectsAlive tells
// other processes whether there is any.
class LiveCount {
 public:
    LiveCount();
    ~LiveCount();
    LiveCount(const LiveCount&) = delete;
    LiveCount& operator=(const LiveCount&) = delete;
};

// Counts one string that is now a caller's to free.
void CountGivenString();

// Exported: the objects of this process that are not yet released.
extern "C" LONG SimulatedModemLiveObjects();

// Exported: the strings handed to callers of this process so far.
extern "C" LONG SimulatedModemStringsGiven();
