// The registry operations of the settings, all under HKEY_LOCAL_MACHINE. They log failures and do
// not try again.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

// The result of RegistryReadDword on failure. Kept: a stored -100 gives the same result.
inline constexpr std::int32_t kRegistryReadError = -100;

// The URI by which a pen click starts the settings app. Kept: two backslashes.
inline constexpr wchar_t kPenCustomProtocolUri[] = L"brm-uap-tesselsetting:\\\\pen";

// Reads the first four bytes of a value of any type with up to 100 bytes. Returns
// kRegistryReadError on failure. Opens the key with KEY_ALL_ACCESS and calls RegQueryValueExW.
std::int32_t RegistryReadDword(const wchar_t* key_path, const wchar_t* value_name) noexcept;

// Kept: a text longer than 200 bytes cannot be read.
inline constexpr unsigned kRegistryTextSize = 200;

// A text with a terminator, which the data in the registry may lack.
using RegistryText = std::array<wchar_t, kRegistryTextSize / sizeof(wchar_t) + 1>;

// Reads a value as text. Returns nothing on failure. Makes the same calls as RegistryReadDword.
std::optional<RegistryText> RegistryReadString(const wchar_t* key_path,
                                               const wchar_t* value_name) noexcept;

// Stores a REG_DWORD and creates the key if it is missing. Returns 1 on success, else 0. Calls
// RegCreateKeyExW with KEY_WRITE and RegSetValueExW.
int RegistryWriteDword(const wchar_t* key_path,
                       const wchar_t* value_name,
                       std::int32_t value) noexcept;

// Registers `uri` for the pen click. Returns whether it was stored. Does not log failures. Opens or
// creates the key with KEY_ALL_ACCESS and calls RegSetValueExW.
bool SetPenCustomProtocol(const wchar_t* uri) noexcept;

// Registers kPenCustomProtocolUri if no URI is registered. Returns whether a URI is registered
// afterwards.
bool EnsurePenCustomProtocol() noexcept;
