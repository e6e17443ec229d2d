// The registry operations of the settings store, all under HKEY_LOCAL_MACHINE. Failures go to the
// log; none throws a Windows error, and nothing is retried.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// What a DWORD read returns when the value could not be read. Kept: a stored -100 reads the same.
inline constexpr std::int32_t kRegistryReadError = -100;

// What the system's pen-click shortcut launches once the settings app is registered with it. Kept:
// two backslashes.
inline constexpr wchar_t kPenCustomProtocolUri[] = L"brm-uap-tesselsetting:\\\\pen";

// The first four bytes of a value of any type and up to 100 bytes, or kRegistryReadError. Calls
// RegOpenKeyExW with KEY_ALL_ACCESS and RegQueryValueExW.
std::int32_t RegistryReadDword(const wchar_t* key_path, const wchar_t* value_name);

// The text of a value of up to 200 bytes, or nothing. Same calls as RegistryReadDword.
std::optional<std::wstring> RegistryReadString(const wchar_t* key_path, const wchar_t* value_name);

// Stores a REG_DWORD, creating the key if it is missing. 1 on success, else 0. Calls
// RegCreateKeyExW with KEY_WRITE and RegSetValueExW.
int RegistryWriteDword(const wchar_t* key_path, const wchar_t* value_name, std::int32_t value);

// Registers `uri` as what a pen click launches; whether it was stored. Logs nothing. Calls
// RegOpenKeyExW and RegCreateKeyExW with KEY_ALL_ACCESS and RegSetValueExW.
bool SetPenCustomProtocol(const wchar_t* uri);

// Registers kPenCustomProtocolUri unless something, whatever it is, is registered already.
bool EnsurePenCustomProtocol();
