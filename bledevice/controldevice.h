// The vendor's control device, which holds one 32-bit switch value. Each function returns 0 on
// success. It returns 1, and does not change the output variable, if the device is missing or
// refuses. Kept: if a control code fails, the device handle stays open.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>

// The device interface class.
inline constexpr GUID kControlDeviceClass = {0xE5A92EF2,
                                             0x3663,
                                             0x46C0,
                                             {0xB8, 0xFE, 0xCC, 0x12, 0x8D, 0xBF, 0x13, 0x04}};

inline constexpr std::uint32_t kControlDeviceOn = 85;
inline constexpr std::uint32_t kControlDeviceOff = 0;

// The longest device list that can be read, with all terminators.
inline constexpr std::size_t kControlDeviceListUnits = 256;

// Opens the first present device of the class for reading and writing. The caller closes `device`
// with CloseHandle. Fails if the device list is longer. Calls
// CM_Get_Device_Interface_List_SizeW, CM_Get_Device_Interface_ListW and CreateFileW.
int OpenControlDevice(HANDLE* device);

// Call DeviceIoControl. QueryControlDeviceSupport stores 1 if the device supports the switch, else
// 0.
int QueryControlDeviceSupport(std::uint32_t* supported);
int ReadControlDeviceValue(std::uint32_t* value);
int WriteControlDeviceValue(std::uint32_t value);
