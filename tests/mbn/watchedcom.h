// The product's calls of COM and OLE automation in this test program: done by Windows, but counted,
// and failing where a test wants it.
#pragma once

#include <windows.h>

struct WatchedCall {
    LONG calls = 0;
    // The call that fails with E_FAIL, counted from 1 on; 0 for none.
    LONG failing_call = 0;
};

struct WatchedCom {
    WatchedCall join;
    WatchedCall lower_bound;
    WatchedCall upper_bound;
    WatchedCall element;
    LONG left = 0;
    // Objects of the modem that were alive when a thread left its apartment, added up. Means
    // something only while one thread is at work.
    LONG alive_when_left = 0;
    LONG freed_strings = 0;
};

// The record of all threads. A test may assign to it while no other thread is at work.
WatchedCom& Watched();

// Registers the classes of the simulated modem, or removes them.
void RegisterModem(bool present);

// What the simulated modem's exported functions of these names return.
LONG SimulatedModemLiveObjects();
LONG SimulatedModemStringsGiven();
