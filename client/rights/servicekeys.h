// The registry keys that the service opens, from the service's own tables.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

// One key under HKEY_LOCAL_MACHINE, which the service opens for all access.
struct ServiceKey {
    std::wstring path;
    // Whether no other key of the list lies above it: it needs an access list of its own.
    bool top = true;
    // Whether it belongs to the route of the USB port.
    bool usb = false;
    // The values that the service stores in it, with their types. The service makes a missing key
    // that has values; in the others it only deletes.
    std::map<std::wstring, DWORD> values = {};
};

// Every key that a request opens, once, a key before those below it.
std::vector<ServiceKey> ServiceKeys();
