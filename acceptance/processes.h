// Child processes, which run this program, and the installed service with its process.
#pragma once

#include <windows.h>
#include <winsvc.h>

#include <string>

#include "client/serviceinfo.h"
#include "win32/uniquehandle.h"

// How long to wait for the end of a child.
inline constexpr DWORD kChildMilliseconds = 60000;

// The exit code of a process, or STILL_ACTIVE if it does not end in time.
DWORD ExitCode(const Handle& process, DWORD milliseconds);

// A child that talks to this process over its standard handles and ends with it. The first of
// `words` names what it does; see kChildren in main.cpp.
class Child {
 public:
    // With DETACHED_PROCESS in `flags` the child goes on when this process ends. With `container`
    // it runs in that app container; `program` must be readable there.
    explicit Child(const std::wstring& words,
                   DWORD flags = 0,
                   SECURITY_CAPABILITIES* container = nullptr,
                   const std::wstring& program = OwnPath());
    // Ends the process if it still runs.
    ~Child() { Kill(); }

    // The next line that the child prints; empty when it has ended.
    std::wstring ReadLine();
    // Lets the child's WaitForParent return true.
    void GoOn();
    // As ExitCode, or why the process did not start.
    DWORD Wait(DWORD milliseconds = kChildMilliseconds);
    void Kill();

 private:
    Handle m_process;
    DWORD m_error = 0;
    Handle m_output;
    Handle m_input;
};

// In the child: false when the parent has ended without GoOn.
bool WaitForParent();

// Ends this process at once: nothing of its threads and DLLs is cleaned up.
[[noreturn]] void EndProcess(DWORD code);

// QueryServiceStatusEx of the service; all zero if that fails.
SERVICE_STATUS_PROCESS ServiceStatus(SC_HANDLE service);

// The id of the service's process; 0 if it does not run.
DWORD ServiceProcessId();

// Starts the service unless it runs, and waits until it runs and answers. Gives a Win32 or RPC
// error, 0 for none.
DWORD StartAndAnswer(SC_HANDLE service);

// Waits until the service is in `state`. False if it is not in time.
bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds);

// The resources of a process.
struct Usage {
    // Why the process cannot be read; 0 if it can.
    DWORD error = 0;
    DWORD handles = 0;
    DWORD threads = 0;
    SIZE_T private_kilobytes = 0;
};

// The usage of the service's process, which it opens for queries only. Calls
// GetProcessHandleCount, K32GetProcessMemoryInfo and Process32NextW.
Usage ReadUsage();

// Whether this is Wine, which lacks parts of Windows.
bool IsWine();
