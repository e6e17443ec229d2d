// Children, which are this program again, and the installed service with its process.
#pragma once

#include <windows.h>
#include <winsvc.h>

#include <string>

#include "client/serviceinfo.h"
#include "win32/uniquehandle.h"

// How long a child that is about to end may take.
inline constexpr DWORD kChildMilliseconds = 60000;

// The exit code of a process, or STILL_ACTIVE if it does not end in time.
DWORD ExitCode(const Handle& process, DWORD milliseconds);

// A child that talks to this process over its standard handles and ends with it. What it does is
// named by its first word; see main.cpp.
class Child {
 public:
    // DETACHED_PROCESS in `flags` makes one that goes on when this process ends. With `container`
    // it runs in that app container, from a program that may be read there.
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

// Ends this process at once, without the ends of its threads and DLLs.
[[noreturn]] void EndProcess(DWORD code);

// What the service manager says of the service; all zero if it cannot be asked.
SERVICE_STATUS_PROCESS ServiceStatus(SC_HANDLE service);

// The id of the service's process; 0 if it does not run.
DWORD ServiceProcessId();

// Starts the service unless it runs, and waits until it runs and answers. Gives a Win32 or RPC
// error, 0 for none.
DWORD StartAndAnswer(SC_HANDLE service);

// Waits until the service is in `state` and tells whether it came there in time.
bool AwaitState(SC_HANDLE service, DWORD state, DWORD milliseconds);

// What a process uses.
struct Usage {
    bool readable = false;
    DWORD handles = 0;
    DWORD threads = 0;
    SIZE_T private_kilobytes = 0;

    [[nodiscard]] std::wstring Text() const;
    // Whether it is at most so many handles, so many threads and so many kB above another.
    [[nodiscard]] bool IsNear(const Usage& other, DWORD more, SIZE_T kilobytes) const;
};

// The usage of the service's process, which is opened for queries only. It is read until it stays
// the same for so many seconds, or for half a minute: idle threads end after a while. Calls
// GetProcessHandleCount, K32GetProcessMemoryInfo and Process32NextW.
Usage ReadUsage(int settled_seconds = 0);

// Whether this is Wine, which lacks parts of Windows.
bool IsWine();
