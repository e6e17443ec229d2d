// The installed service: its state, its process, and what that uses.
#pragma once

#include <windows.h>
#include <winsvc.h>

#include <string>

#include "win32/uniquehandle.h"

// The advice where an item needs more rights.
inline constexpr wchar_t kAdministratorAdvice[] = L"start it as an administrator";

// Opens the service with these rights; null on failure, with the last error.
ServiceHandle OpenInstalledService(DWORD access);

// What the service manager says of it; all zero if it cannot be asked.
SERVICE_STATUS_PROCESS ServiceStatus(SC_HANDLE service);

// The id of the service's process; 0 if it does not run.
DWORD ServiceProcessId();

// Starts the service unless it runs, and waits until it runs and answers. Gives a Win32 or RPC
// error, 0 for none.
DWORD StartAndAnswer(SC_HANDLE service);

// Waits until the service is in `state` and tells whether it came there in time.
bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds);

// The state as the service manager shows it.
const wchar_t* StateText(SC_HANDLE service);

// What a process uses.
struct Usage {
    DWORD handles = 0;
    DWORD threads = 0;
    SIZE_T private_kilobytes = 0;

    [[nodiscard]] std::wstring Text() const;
    // Whether it is at most so many handles, so many threads and so many kB above another.
    [[nodiscard]] bool IsNear(const Usage& other, DWORD more, SIZE_T kilobytes) const;
};

// The usage of the service's process, which is opened for queries only. False with the last error
// if it cannot be opened. Calls GetProcessHandleCount, K32GetProcessMemoryInfo and Process32NextW.
bool ReadUsage(Usage& usage);

// Reads it until it stays the same for so many seconds, or for half a minute: threads that are idle
// end after a while.
bool ReadSettledUsage(Usage& usage, int seconds);

// Lets this process open those of other accounts, if it is an administrator's.
void EnableDebugPrivilege();

// Whether this is Wine, which lacks parts of Windows.
bool IsWine();
