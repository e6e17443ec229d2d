// Other processes of this program. What they do is named by their first words; see main.cpp.
#pragma once

#include <windows.h>

#include <string>

#include "win32/uniquehandle.h"

// The full path of this program.
std::wstring OwnPath();

// Starts `program` with "--child WORDS", with the standard handles and attributes of `startup`.
// Gives a Win32 error, 0 for none. Calls CreateProcessW.
DWORD StartChild(const std::wstring& program,
                 const std::wstring& words,
                 STARTUPINFOEXW& startup,
                 DWORD flags,
                 Handle& process);

// How long a child that is about to end may take.
inline constexpr DWORD kChildMilliseconds = 60000;

// A child that talks to this process over its standard handles and ends with it.
class Child {
 public:
    // DETACHED_PROCESS in `flags` makes one that goes on when this process ends.
    explicit Child(const std::wstring& words, DWORD flags = 0);
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;
    // Ends the process if it still runs.
    ~Child();

    // The next line that the child prints; empty when it has ended.
    std::wstring ReadLine();
    // Lets the child's WaitForParent return true.
    void GoOn();
    // The exit code, or STILL_ACTIVE if the process did not end in time; its error if it did not
    // start.
    DWORD Wait(DWORD milliseconds);
    void Kill();

 private:
    DWORD m_error = 0;
    Handle m_process;
    Handle m_output;
    Handle m_input;
};

// In the child: false when the parent has ended without GoOn.
bool WaitForParent();

// Ends this process at once, without the ends of its threads and DLLs.
[[noreturn]] void EndProcess(DWORD code);
