#include "settings/registryaccess.h"

#include <windows.h>

#include <cstring>
#include <cwchar>

#include "diagnostics/logline.h"
#include "settings/settingsvalues.h"
#include "win32/uniquehandle.h"

namespace {

// Reads a value of any type into `buffer`. Kept: if the key cannot be opened, the query is still
// made, and both failures are logged.
bool Query(const wchar_t* key_path, const wchar_t* value_name, void* buffer, DWORD size) {
    RegistryKey key;
    // Kept: all access, only to read.
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, KEY_ALL_ACCESS, key.put()) !=
        ERROR_SUCCESS) {
        LogLine("Register Open Error");
    }
    if (RegQueryValueExW(key.get(), value_name, nullptr, nullptr, static_cast<BYTE*>(buffer),
                         &size) != ERROR_SUCCESS) {
        LogLine("Register Query Error");
        return false;
    }
    return true;
}

}  // namespace

std::int32_t RegistryReadDword(const wchar_t* key_path, const wchar_t* value_name) noexcept {
    // Kept: the buffer is larger than a DWORD. The first four bytes of a longer value are used.
    unsigned char buffer[100] = {};
    if (!Query(key_path, value_name, buffer, sizeof(buffer))) {
        return kRegistryReadError;
    }
    std::int32_t value = 0;
    std::memcpy(&value, buffer, sizeof(value));
    return value;
}

std::optional<RegistryText> RegistryReadString(const wchar_t* key_path,
                                               const wchar_t* value_name) noexcept {
    RegistryText text = {};
    if (!Query(key_path, value_name, text.data(), kRegistryTextSize)) {
        return std::nullopt;
    }
    return text;
}

int RegistryWriteDword(const wchar_t* key_path,
                       const wchar_t* value_name,
                       std::int32_t value) noexcept {
    RegistryKey key;
    LSTATUS error =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_WRITE, nullptr, key.put(), nullptr);
    if (error != ERROR_SUCCESS) {
        LogLine("RegCreateKeyEx Error - ", error);
        return 0;
    }
    error = RegSetValueExW(key.get(), value_name, 0, REG_DWORD,
                           reinterpret_cast<const BYTE*>(&value), sizeof(value));
    if (error != ERROR_SUCCESS) {
        LogLine("RegSetValueEx Error - ", error);
        return 0;
    }
    return 1;
}

bool SetPenCustomProtocol(const wchar_t* uri) noexcept {
    RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, kCustomProtocol.key, 0, KEY_ALL_ACCESS, key.put()) !=
            ERROR_SUCCESS &&
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, kCustomProtocol.key, 0, nullptr,
                        REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, key.put(),
                        nullptr) != ERROR_SUCCESS) {
        return false;
    }
    const auto size = static_cast<DWORD>((std::wcslen(uri) + 1) * sizeof(wchar_t));
    return RegSetValueExW(key.get(), kCustomProtocol.name, 0, REG_SZ,
                          reinterpret_cast<const BYTE*>(uri), size) == ERROR_SUCCESS;
}

bool EnsurePenCustomProtocol() noexcept {
    // Kept: does not replace the registration of another program.
    return RegistryReadString(kCustomProtocol.key, kCustomProtocol.name).has_value() ||
           SetPenCustomProtocol(kPenCustomProtocolUri);
}
