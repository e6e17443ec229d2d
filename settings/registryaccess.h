// The registry operations of the settings store, all under HKEY_LOCAL_MACHINE. Failures are logged
// and not retried.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

// The result of a failed DWORD read. Kept: a stored -100 gives the same result.
inline constexpr std::int32_t kRegistryReadError = -100;

// The URI with which a pen click launches the settings app. Kept: two backslashes.
inline constexpr wchar_t kPenCustomProtocolUri[] = L"brm-uap-tesselsetting:\\\\pen";

// Reads the first four bytes of a value of any type, up to 100 bytes long. kRegistryReadError on
// failure. Opens the key with KEY_ALL_ACCESS and calls RegQueryValueExW.
std::int32_t RegistryReadDword(const wchar_t* key_path, const wchar_t* value_name) noexcept;

// Kept: a text longer than 200 bytes cannot be read.
inline constexpr unsigned kRegistryTextSize = 200;

// A text with a terminating zero, which the registry's own data may lack.
using RegistryText = std::array<wchar_t, kRegistryTextSize / sizeof(wchar_t) + 1>;

// Reads a value as text; nothing on failure. Makes the same calls as RegistryReadDword.
std::optional<RegistryText> RegistryReadString(const wchar_t* key_path,
                                               const wchar_t* value_name) noexcept;

// Stores a REG_DWORD and creates the key if it is missing. Returns 1 on success, else 0. Calls
// RegCreateKeyExW with KEY_WRITE and RegSetValueExW.
int RegistryWriteDword(const wchar_t* key_path,
                       const wchar_t* value_name,
                       std::int32_t value) noexcept;

// Registers `uri` as the target of a pen click and returns whether it was stored. Logs nothing.
// Opens or creates the key with KEY_ALL_ACCESS and calls RegSetValueExW.
bool SetPenCustomProtocol(const wchar_t* uri) noexcept;

// Registers kPenCustomProtocolUri if nothing is registered. Returns whether something is registered
// then.
bool EnsurePenCustomProtocol() noexcept;
