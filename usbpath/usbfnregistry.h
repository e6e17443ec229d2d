// Single writes to the USB function configuration. Each function opens its key under
// HKEY_LOCAL_MACHINE, changes one value, closes the key, and returns whether that succeeded. A key
// that cannot be opened gives no message; a value that cannot be changed prints one with
// ConsolePrint. The strings stay the caller's.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// These create the key if it is missing. They call RegCreateKeyExW and RegSetValueExW.
bool SetUsbfnDword(const wchar_t* key_path, const wchar_t* value_name, std::uint32_t value);
// A REG_SZ. The terminator that follows `text` is stored too.
bool SetUsbfnString(const wchar_t* key_path, const wchar_t* value_name, std::wstring_view text);
// The REG_MULTI_SZ "InterfaceList". `multi_string` has all terminators and the final empty string.
bool SetUsbfnInterfaceList(const wchar_t* key_path, std::wstring_view multi_string);
bool SetUsbfnBinary(const wchar_t* key_path,
                    const wchar_t* value_name,
                    std::span<const std::uint8_t> bytes);

// Deletes a value of an existing key. Calls RegOpenKeyExW and RegDeleteValueW.
bool DeleteUsbfnValue(const wchar_t* key_path, const wchar_t* value_name);
