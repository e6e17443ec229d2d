#include "simulator/wine/deviceinterfaces.h"

#include <cwchar>
#include <string>

#include "bledevice/controldevice.h"

namespace {

// Stores the list with all terminators and the final empty string. An empty list is only the final
// empty string.
CONFIGRET MakeList(const GUID* device_class,
                   const wchar_t* device,
                   ULONG flags,
                   std::wstring* list) {
    constexpr wchar_t kKey[] = L"SOFTWARE\\Tessel Simulator\\ControlDevice";
    if (device_class == nullptr) {
        return CR_INVALID_POINTER;
    }
    if (flags > CM_GET_DEVICE_INTERFACE_LIST_ALL_DEVICES) {
        return CR_INVALID_FLAG;
    }
    // The interfaces belong to no device instance.
    const bool wanted =
        (device == nullptr || *device == L'\0') && IsEqualGUID(*device_class, kControlDeviceClass);
    wchar_t paths[1024];
    DWORD size = sizeof(paths);
    if (wanted && RegGetValueW(HKEY_LOCAL_MACHINE, kKey, L"Interfaces", RRF_RT_REG_MULTI_SZ,
                               nullptr, paths, &size) == ERROR_SUCCESS) {
        list->assign(paths, size / sizeof(wchar_t));
    }
    if (wanted && flags == CM_GET_DEVICE_INTERFACE_LIST_ALL_DEVICES) {
        list->insert(0, std::wstring(L"\\\\.\\TesselAbsent") + L'\0');
    }
    // Adds one terminator for the last path and one for the list, if the value lacks them.
    while (!list->empty() && list->back() == L'\0') {
        list->pop_back();
    }
    list->append(list->empty() ? 1 : 2, L'\0');
    return CR_SUCCESS;
}

}  // namespace

CONFIGRET WINAPI SimulatedDeviceInterfaceListSize(PULONG length,
                                                  LPGUID device_class,
                                                  DEVINSTID_W device,
                                                  ULONG flags) {
    if (length == nullptr) {
        return CR_INVALID_POINTER;
    }
    std::wstring list;
    const CONFIGRET result = MakeList(device_class, device, flags, &list);
    *length = static_cast<ULONG>(list.size());
    return result;
}

CONFIGRET WINAPI SimulatedDeviceInterfaceList(LPGUID device_class,
                                              DEVINSTID_W device,
                                              PZZWSTR buffer,
                                              ULONG length,
                                              ULONG flags) {
    if (buffer == nullptr || length == 0) {
        return CR_INVALID_POINTER;
    }
    std::wstring list;
    const CONFIGRET result = MakeList(device_class, device, flags, &list);
    if (result != CR_SUCCESS) {
        return result;
    }
    if (list.size() > length) {
        *buffer = L'\0';
        return CR_BUFFER_SMALL;
    }
    std::wmemcpy(buffer, list.data(), list.size());
    return CR_SUCCESS;
}
