#include "usbpath/usbfnregistry.h"

#include "diagnostics/console.h"
#include "win32/uniquehandle.h"

// Kept: the key is opened again for every value.
bool StoreUsbfnValue(const wchar_t* key_path,
                     const wchar_t* value_name,
                     DWORD type,
                     const void* data,
                     DWORD size) {
    wchar_t no_class[] = L"";
    RegistryKey key;
    if (RegCreateKeyExW(HKEY_LOCAL_MACHINE, key_path, 0, no_class, REG_OPTION_NON_VOLATILE,
                        KEY_WRITE, nullptr, key.put(), nullptr) != ERROR_SUCCESS) {
        return false;
    }
    if (RegSetValueExW(key.get(), value_name, 0, type, static_cast<const BYTE*>(data), size) !=
        ERROR_SUCCESS) {
        // Kept: the last error of the thread, not the returned status.
        ConsolePrint(L"RegSetValueEx fail, GetLastError(%d) ValueName[%ls]\n",
                     static_cast<int>(GetLastError()), value_name);
        return false;
    }
    return true;
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
