// The service's registration with the service manager.
#pragma once

#include <windows.h>

#include <vector>

#include "win32/uniquehandle.h"

// Opens the service for `access`; null if that fails, with the error in GetLastError. Calls
// OpenSCManagerW and OpenServiceW.
ServiceHandle OpenRegistration(DWORD access);

// What QueryServiceConfig2W stores for `level`; empty if it fails, with the error in GetLastError.
std::vector<BYTE> QueryConfig(SC_HANDLE service, DWORD level);
