// What Windows says of the service: its registration, its process, and the files of the programs.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "win32/uniquehandle.h"

// Opens the registration for `access`; null if that fails, with the error in GetLastError. Calls
// OpenSCManagerW and OpenServiceW.
ServiceHandle OpenRegistration(DWORD access);

// What QueryServiceConfig2W stores for `level`; empty if it fails, with the error in GetLastError.
std::vector<BYTE> QueryConfig(SC_HANDLE service, DWORD level);

struct ProcessFacts {
    std::wstring image;
    FILETIME started;
};

// What is known of a process; nothing on failure, with the error in GetLastError. Calls
// OpenProcess, QueryFullProcessImageNameW and GetProcessTimes.
std::optional<ProcessFacts> ReadProcess(DWORD process);

// The version in a program's file, "0.9.0"; empty if there is none. Calls GetFileVersionInfoW.
std::wstring FileVersion(const std::wstring& path);

// The path of this program, and the folder of a path.
std::wstring OwnPath();
std::wstring FolderOf(const std::wstring& path);
