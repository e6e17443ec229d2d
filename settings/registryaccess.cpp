#include "settings/registryaccess.h"

#include <windows.h>

#include <cstring>

#include "service/diagnosticlog.h"
#include "settings/settingsvalues.h"
#include "win32/uniquehandle.h"

namespace {

// Reads a value of any type into `buffer`. Kept: a key that cannot be opened is logged, and the
// query still made and logged as well.
bool Query(const wchar_t* key_path, const wchar_t* value_name, void* buffer, DWORD size) {
    RegistryKey key;
    // Kept: all access, to read.
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, KEY_ALL_ACCESS, key.put()) !=
        ERROR_SUCCESS) {
        WriteLog("Register Open Error");
    }
    if (RegQueryValueExW(key.get(), value_name, nullptr, nullptr, static_cast<BYTE*>(buffer),
                         &size) != ERROR_SUCCESS) {
        WriteLog("Register Query Error");
        return false;
    }
    return true;
}

}  // namespace

std::int32_t RegistryReadDword(const wchar_t* key_path, const wchar_t* value_name) {
    // Kept: larger than a DWORD, so that a longer value is read too and its start taken.
    unsigned char buffer[100] = {};
    if (!Query(key_path, value_name, buffer, sizeof(buffer))) {
        return kRegistryReadError;
    }
    std::int32_t value = 0;
    std::memcpy(&value, buffer, sizeof(value));
    return value;
}

std::optional<std::wstring> RegistryReadString(const wchar_t* key_path, const wchar_t* value_name) {
    // Kept: 200 bytes, no more. The registry may hold a text without its terminator: one unit more
    // than is read stays zero.
    wchar_t buffer[100 + 1] = {};
    if (!Query(key_path, value_name, buffer, 100 * sizeof(wchar_t))) {
        return std::nullopt;
    }
    return buffer;
}

int RegistryWriteDword(const wchar_t* key_path, const wchar_t* value_name, std::int32_t value) {
    RegistryKey key;
    LSTATUS error =
        RegCreateKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, nullptr, REG_OPTION_NON_VOLATILE,
                        KEY_WRITE, nullptr, key.put(), nullptr);
    if (error != ERROR_SUCCESS) {
        WriteLog("RegCreateKeyEx Error - " + std::to_string(error));
        return 0;
    }
    error = RegSetValueExW(key.get(), value_name, 0, REG_DWORD,
                           reinterpret_cast<const BYTE*>(&value), sizeof(value));
    if (error != ERROR_SUCCESS) {
        WriteLog("RegSetValueEx Error - " + std::to_string(error));
        return 0;
    }
    return 1;
}

bool SetPenCustomProtocol(const wchar_t* uri) {
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

bool EnsurePenCustomProtocol() {
    // Kept: whatever is registered, also for another program, is left alone.
    return RegistryReadString(kCustomProtocol.key, kCustomProtocol.name).has_value() ||
           SetPenCustomProtocol(kPenCustomProtocolUri);
}
