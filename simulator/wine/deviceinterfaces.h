// Lists device interfaces, which Wine cannot do. The interfaces of the control device's class are
// the paths in the REG_MULTI_SZ "Interfaces" under HKEY_LOCAL_MACHINE\SOFTWARE\Tessel
// Simulator\ControlDevice. The list of all devices, also absent ones, begins with one more path.
// Other classes have no interfaces.
#pragma once

#include <windows.h>
#include <cfgmgr32.h>

// Replace CM_Get_Device_Interface_List_SizeW and CM_Get_Device_Interface_ListW.
extern "C" {
CONFIGRET WINAPI SimulatedDeviceInterfaceListSize(PULONG length,
                                                  LPGUID device_class,
                                                  DEVINSTID_W device,
                                                  ULONG flags);
CONFIGRET WINAPI SimulatedDeviceInterfaceList(LPGUID device_class,
                                              DEVINSTID_W device,
                                              PZZWSTR buffer,
                                              ULONG length,
                                              ULONG flags);
}
