// The vendor control device, which holds one 32-bit switch value. Every routine returns 0 when it
// succeeded, and 1 when the device is missing or refused; then its output variable is untouched.
// A control call that fails leaves the device handle open for good: only a successful one closes
// it.
#pragma once

#include <windows.h>

#include <cstdint>

// The class of the device's interface.
inline constexpr GUID kControlDeviceClass = {0xE5A92EF2,
                                             0x3663,
                                             0x46C0,
                                             {0xB8, 0xFE, 0xCC, 0x12, 0x8D, 0xBF, 0x13, 0x04}};

// The switch values in use.
inline constexpr std::uint32_t kControlDeviceOn = 85;
inline constexpr std::uint32_t kControlDeviceOff = 0;

// Opens the first present device of the class for reading and writing; the caller closes `device`
// with CloseHandle. A list of devices longer than 256 characters counts as no device. Calls
// CM_Get_Device_Interface_List_SizeW, CM_Get_Device_Interface_ListW and CreateFileW.
int OpenControlDevice(HANDLE* device);

// Stores 1 if the device supports the switch, 0 if it does not. Calls DeviceIoControl.
int QueryControlDeviceSupport(std::uint32_t* supported);

// Stores the current switch value. Calls DeviceIoControl.
int ReadControlDeviceValue(std::uint32_t* value);

// Sets the switch value. Calls DeviceIoControl.
int WriteControlDeviceValue(std::uint32_t value);
