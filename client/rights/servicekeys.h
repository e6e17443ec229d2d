// The registry keys that the service opens, from the service's own tables.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

// A value that the service reads or stores.
struct KeyValue {
    std::wstring name;
    DWORD type;
};

// One key under HKEY_LOCAL_MACHINE, which the service opens for all access.
struct ServiceKey {
    std::wstring path;
    // Whether no other key of the list lies above it: it needs an access list of its own.
    bool top = true;
    // Whether the service makes it when it is missing. In the other keys it only deletes.
    bool made_by_service = false;
    // Whether it belongs to the route of the USB port.
    bool usb = false;
    std::vector<KeyValue> values = {};
};

// Every key that a request opens, once, a key before those below it.
std::vector<ServiceKey> ServiceKeys();
