// The vendor's control device, which holds one 32-bit switch value. Each function returns 0 if it
// succeeded, and 1 if the device is missing or refuses; then the output variable is unchanged. A
// control call that fails leaves the device handle open: only a successful one closes it.
#pragma once

#include <windows.h>

#include <cstdint>

// The device interface class.
inline constexpr GUID kControlDeviceClass = {0xE5A92EF2,
                                             0x3663,
                                             0x46C0,
                                             {0xB8, 0xFE, 0xCC, 0x12, 0x8D, 0xBF, 0x13, 0x04}};

// The switch values in use.
inline constexpr std::uint32_t kControlDeviceOn = 85;
inline constexpr std::uint32_t kControlDeviceOff = 0;

// Opens the first present device of the class for reading and writing. The caller closes `device`
// with CloseHandle. A device list longer than 256 characters counts as no device. Calls
// CM_Get_Device_Interface_List_SizeW, CM_Get_Device_Interface_ListW and CreateFileW.
int OpenControlDevice(HANDLE* device);

// These call DeviceIoControl. QueryControlDeviceSupport stores 1 if the device supports the switch,
// otherwise 0.
int QueryControlDeviceSupport(std::uint32_t* supported);
int ReadControlDeviceValue(std::uint32_t* value);
int WriteControlDeviceValue(std::uint32_t value);
