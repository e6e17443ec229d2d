#include "bledevice/controldevice.h"

#include <windows.h>
#include <cfgmgr32.h>
#include <winioctl.h>

#include <iterator>

#include "win32/uniquehandle.h"

namespace {

constexpr DWORD kControlDeviceType = 0x5843;
constexpr DWORD kQuerySupport =
    CTL_CODE(kControlDeviceType, 0x64, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD kReadValue = CTL_CODE(kControlDeviceType, 0x65, METHOD_BUFFERED, FILE_ANY_ACCESS);
constexpr DWORD kWriteValue = CTL_CODE(kControlDeviceType, 0x66, METHOD_BUFFERED, FILE_ANY_ACCESS);

// Opens the device and sends one control code. `input` and `output` may be null.
int Control(DWORD code, const std::uint32_t* input, std::uint32_t* output) {
    FileHandle device;
    if (OpenControlDevice(device.put()) != 0) {
        return 1;
    }
    std::uint32_t in_value = input != nullptr ? *input : 0;
    std::uint32_t out_value = 0;
    DWORD returned = 0;
    if (!DeviceIoControl(device.get(), code, input != nullptr ? &in_value : nullptr,
                         input != nullptr ? sizeof(in_value) : 0,
                         output != nullptr ? &out_value : nullptr,
                         output != nullptr ? sizeof(out_value) : 0, &returned, nullptr)) {
        // Kept: the handle stays open.
        device.release();
        return 1;
    }
    if (output != nullptr) {
        *output = out_value;
    }
    return 0;
}

}  // namespace

int OpenControlDevice(HANDLE* device) {
    GUID device_class = kControlDeviceClass;
    wchar_t paths[kControlDeviceListUnits] = {};
    ULONG length = 0;
    if (CM_Get_Device_Interface_List_SizeW(&length, &device_class, nullptr,
                                           CM_GET_DEVICE_INTERFACE_LIST_PRESENT) != CR_SUCCESS ||
        length > std::size(paths)) {
        return 1;
    }
    if (CM_Get_Device_Interface_ListW(&device_class, nullptr, paths, length,
                                      CM_GET_DEVICE_INTERFACE_LIST_PRESENT) != CR_SUCCESS ||
        paths[0] == L'\0') {
        return 1;
    }
    // Kept: overlapped, although the calls of DeviceIoControl have no OVERLAPPED structure.
    HANDLE opened =
        CreateFileW(paths, FILE_READ_DATA | FILE_WRITE_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_FLAG_OVERLAPPED, nullptr);
    if (opened == INVALID_HANDLE_VALUE) {
        return 1;
    }
    *device = opened;
    return 0;
}

int QueryControlDeviceSupport(std::uint32_t* supported) {
    std::uint32_t answer = 0;
    if (Control(kQuerySupport, nullptr, &answer) != 0) {
        return 1;
    }
    *supported = answer != 0 ? 1 : 0;
    return 0;
}

int ReadControlDeviceValue(std::uint32_t* value) {
    return Control(kReadValue, nullptr, value);
}

int WriteControlDeviceValue(std::uint32_t value) {
    return Control(kWriteValue, &value, nullptr);
}
