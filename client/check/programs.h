// What Windows says of a program's file and of a running process.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

// The version in a program's file, "0.9.0"; empty if there is none. Calls GetFileVersionInfoW.
std::wstring FileVersion(const std::wstring& path);

// The path of this program. Calls GetModuleFileNameW.
std::wstring OwnPath();

// The folder of a path.
std::wstring FolderOf(const std::wstring& path);

struct ProcessFacts {
    std::wstring image;
    FILETIME started;
};

// What is known of a process; nothing on failure, with the error in GetLastError.
// Calls OpenProcess, QueryFullProcessImageNameW and GetProcessTimes.
std::optional<ProcessFacts> ReadProcess(DWORD process);
