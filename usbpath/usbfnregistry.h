// Changes values of the USB function configuration. Each function opens its key under
// HKEY_LOCAL_MACHINE, changes one value and closes the key. It returns whether that succeeded. If
// the value cannot be changed, it prints a message with ConsolePrint; if the key cannot be opened,
// it prints nothing. The caller owns the strings.
#pragma once

#include <windows.h>

// Stores `size` bytes as a value of the type, and creates the key if it is missing. Calls
// RegCreateKeyExW and RegSetValueExW.
bool StoreUsbfnValue(const wchar_t* key_path,
                     const wchar_t* value_name,
                     DWORD type,
                     const void* data,
                     DWORD size);

// Deletes a value of an existing key. Calls RegOpenKeyExW and RegDeleteValueW.
bool DeleteUsbfnValue(const wchar_t* key_path, const wchar_t* value_name);
