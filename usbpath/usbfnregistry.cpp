#include "usbpath/usbfnregistry.h"

#include <windows.h>

#include "diagnostics/console.h"
#include "usbpath/usbfnvalues.h"
#include "win32/uniquehandle.h"

namespace {

// Kept: the key is opened again for every value.
bool Store(const wchar_t* key_path,
           const wchar_t* value_name,
           DWORD type,
           const void* data,
           std::size_t size) {
    wchar_t no_class[] = L"";
    RegistryKey key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, no_class, REG_OPTION_NON_VOLATILE,
                        KEY_WRITE, nullptr, key.put(), nullptr) != ERROR_SUCCESS) {
        return false;
    }
    if (RegSetValueExW(key.get(), value_name, 0, type, static_cast<const BYTE*>(data),
                       static_cast<DWORD>(size)) != ERROR_SUCCESS) {
        // Kept: the last error of the thread, not the returned status.
        ConsolePrint(L"RegSetValueEx fail, GetLastError(%d) ValueName[%ls]\n",
                     static_cast<int>(GetLastError()), value_name);
        return false;
    }
    return true;
}

}  // namespace

bool SetUsbfnDword(const wchar_t* key_path, const wchar_t* value_name, std::uint32_t value) {
    return Store(key_path, value_name, REG_DWORD, &value, sizeof(value));
}

bool SetUsbfnString(const wchar_t* key_path, const wchar_t* value_name, std::wstring_view text) {
    return Store(key_path, value_name, REG_SZ, text.data(), (text.size() + 1) * sizeof(wchar_t));
}

bool SetUsbfnInterfaceList(const wchar_t* key_path, std::wstring_view multi_string) {
    return Store(key_path, kInterfaceListName, REG_MULTI_SZ, multi_string.data(),
                 multi_string.size() * sizeof(wchar_t));
}

bool SetUsbfnBinary(const wchar_t* key_path,
                    const wchar_t* value_name,
                    std::span<const std::uint8_t> bytes) {
    return Store(key_path, value_name, REG_BINARY, bytes.data(), bytes.size());
}

bool DeleteUsbfnValue(const wchar_t* key_path, const wchar_t* value_name) {
    RegistryKey key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, KEY_ALL_ACCESS, key.put()) !=
        ERROR_SUCCESS) {
        return false;
    }
    if (RegDeleteValueW(key.get(), value_name) != ERROR_SUCCESS) {
        // Kept: the same message for every failure.
        ConsolePrint(L"RegistryDeleteValue fail, the value(%ls) does not exist\n", value_name);
        return false;
    }
    return true;
}
