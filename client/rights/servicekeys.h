// The registry keys that the service opens, read from the service's own tables.
#pragma once

#include <windows.h>

#include <map>
#include <string>
#include <vector>

// A key under HKEY_LOCAL_MACHINE. The service opens it with KEY_ALL_ACCESS to read or delete a
// value, with KEY_WRITE to store a number.
struct ServiceKey {
    std::wstring path;
    // Whether no other key of the list is above it. Only such a key needs its own access list.
    bool top = true;
    // Whether it belongs to the route of the USB port.
    bool usb = false;
    // The values that the service stores in the key, with their types. The service creates a
    // missing key if there are any. In the other keys it only deletes values.
    std::map<std::wstring, DWORD> values = {};
};

// Returns every key that a request opens, once. A key comes before the keys below it.
std::vector<ServiceKey> ServiceKeys();
