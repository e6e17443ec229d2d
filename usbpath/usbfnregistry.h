// Single writes to the USB function configuration. Each function opens its key under
// HKEY_LOCAL_MACHINE, changes one value and closes the key; true when that was done. A key that
// cannot be opened gives false and no message; a value that cannot be changed gives false and a
// message through ConsolePrint. All strings stay the caller's.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// Stores a REG_DWORD; the key is made if it is missing. Calls RegCreateKeyExW and RegSetValueExW.
bool SetUsbfnDword(const wchar_t* key_path, const wchar_t* value_name, std::uint32_t value);

// Stores a REG_SZ; the key is made if it is missing. `text` must be followed by its terminator,
// which is stored too. Calls RegCreateKeyExW and RegSetValueExW.
bool SetUsbfnString(const wchar_t* key_path, const wchar_t* value_name, std::wstring_view text);

// Stores a REG_MULTI_SZ as the value "InterfaceList"; the key is made if it is missing.
// `multi_string` holds every terminator and the final empty string. Calls RegCreateKeyExW and
// RegSetValueExW.
bool SetUsbfnInterfaceList(const wchar_t* key_path, std::wstring_view multi_string);

// Stores a REG_BINARY; the key is made if it is missing. Calls RegCreateKeyExW and RegSetValueExW.
bool SetUsbfnBinary(const wchar_t* key_path,
                    const wchar_t* value_name,
                    std::span<const std::uint8_t> bytes);

// Deletes a value of an existing key. Calls RegOpenKeyExW and RegDeleteValueW.
bool DeleteUsbfnValue(const wchar_t* key_path, const wchar_t* value_name);
