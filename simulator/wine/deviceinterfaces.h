// Device interface lists, which the simulated notebook's Windows has not. The interfaces of the
// control device's class are the paths in the REG_MULTI_SZ "Interfaces" under
// HKEY_LOCAL_MACHINE\SOFTWARE\Tessel Simulator\ControlDevice (none if it is missing), behind one
// that is absent and so only in the list of all devices; every other class has none.
#pragma once

#include <windows.h>
#include <cfgmgr32.h>

// Take the places of CM_Get_Device_Interface_List_SizeW and CM_Get_Device_Interface_ListW.
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
