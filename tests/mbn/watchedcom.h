// The product's calls of COM and OLE automation in this test program: done by Windows, but counted,
// and failing where a test wants it.
#pragma once

#include <windows.h>

struct WatchedCom {
    // Set by a test: the one call, counted from 1 on, that fails with E_FAIL; 0 for none.
    LONG fail_join = 0;
    LONG fail_lower_bound = 0;
    LONG fail_upper_bound = 0;
    LONG fail_element = 0;

    // Calls so far.
    LONG joined = 0;
    LONG left = 0;
    LONG lower_bounds = 0;
    LONG upper_bounds = 0;
    LONG elements = 0;
    LONG freed_strings = 0;
    // Objects of the modem that were alive when a thread left its apartment, added up. Means
    // something only while one thread is at work.
    LONG alive_when_left = 0;
};

// The record of all threads; a test resets it by assigning a new one while no other thread is at
// work.
WatchedCom& Watched();

// Loads the simulated modem for the counts below, and registers its classes or removes them.
void RegisterModem(bool present);

// What the simulated modem's functions of these names return.
LONG SimulatedModemLiveObjects();
LONG SimulatedModemStringsGiven();
