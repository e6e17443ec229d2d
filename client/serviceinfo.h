// Reads the service's registration, its process, and the versions of program files.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "win32/uniquehandle.h"

// Opens the service's registration. Returns null on failure, with the error in GetLastError. Calls
// OpenServiceW.
ServiceHandle OpenRegistration(DWORD access);

// Returns what QueryServiceConfig2W stores for `level`. Empty on failure, with the error in
// GetLastError.
std::vector<BYTE> QueryConfig(SC_HANDLE service, DWORD level);

struct ProcessFacts {
    std::wstring image;
    FILETIME started;
};

// Reads the program and start time of a process. Returns nothing on failure, with the error in
// GetLastError.
std::optional<ProcessFacts> ReadProcess(DWORD process);

// Returns the version in a program file, as "0.9.0". Empty if there is none. Calls
// GetFileVersionInfoW.
std::wstring FileVersion(const std::wstring& path);

// Returns the path of this program.
std::wstring OwnPath();

// Returns a path without its last name.
std::wstring FolderOf(const std::wstring& path);

// Returns the product, version and build of Windows.
std::wstring SystemText();

// Returns whether the token of a process contains a SID. Nothing if the token cannot be read, with
// the error in GetLastError. Calls GetTokenInformation.
std::optional<bool> ProcessHasSid(DWORD process, const std::wstring& sid);

// Returns whether this process has the rights of an administrator. Calls GetTokenInformation.
bool IsElevated();
