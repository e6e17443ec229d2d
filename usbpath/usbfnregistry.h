// Changes values of the USB function configuration. Each function opens its key under
// HKEY_LOCAL_MACHINE, changes one value and closes the key. It returns whether that succeeded. If
// the value cannot be changed, it prints a message with ConsolePrint; if the key cannot be opened,
// it prints nothing. The caller owns the strings.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// Store a value, and create the key if it is missing. Call RegCreateKeyExW and RegSetValueExW.
bool SetUsbfnDword(const wchar_t* key_path, const wchar_t* value_name, std::uint32_t value);
// Stores a REG_SZ with the terminator, which must follow `text`.
bool SetUsbfnString(const wchar_t* key_path, const wchar_t* value_name, std::wstring_view text);
// Stores the REG_MULTI_SZ "InterfaceList". `multi_string` has all terminators and the final empty
// string.
bool SetUsbfnInterfaceList(const wchar_t* key_path, std::wstring_view multi_string);
bool SetUsbfnBinary(const wchar_t* key_path,
                    const wchar_t* value_name,
                    std::span<const std::uint8_t> bytes);

// Deletes a value of an existing key. Calls RegOpenKeyExW and RegDeleteValueW.
bool DeleteUsbfnValue(const wchar_t* key_path, const wchar_t* value_name);
