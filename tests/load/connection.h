// A client's connection to the service, for the load programs.
#pragma once

#include <windows.h>
#include <rpc.h>

#include <atomic>
#include <cstdio>

#include "rpc/endpoint.h"
#include "rpc/stub/tesselservice.h"
#include "win32/rpctext.h"

enum ExitCode { kPassed = 0, kFailed = 1, kUnreachable = 3, kHung = 4, kCrashed = 5 };

// Ends the program when a call fails in the RPC runtime, or by a fault of the service's. The first
// thread does it, when the others have failed too: Wine now and then hangs in the end of a process
// whose threads are in the midst of their work.
inline LONG WINAPI ReportFailure(EXCEPTION_POINTERS* exception) {
    static std::atomic_flag ending;
    if (ending.test_and_set()) {
        Sleep(INFINITE);
    }
    const DWORD status = exception->ExceptionRecord->ExceptionCode;
    const bool from_runtime = (status & 0xFFFF0000) == 0 || (status & 0xFFFF0000) == 0x1C000000;
    std::printf("%s 0x%lx\n", from_runtime ? "the call failed with" : "exception", status);
    std::fflush(stdout);
    constexpr DWORD kOthersFailMilliseconds = 500;
    Sleep(kOthersFailMilliseconds);
    TerminateProcess(GetCurrentProcess(), from_runtime ? kUnreachable : kCrashed);
    return EXCEPTION_EXECUTE_HANDLER;
}

struct Connection {
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;

    void Open() {
        RpcBindingFromStringBindingW(RpcText(kStringBinding), &binding);
        RemoteOpen(binding, &context);
    }

    void Close() {
        RemoteClose(&context);
        RpcBindingFree(&binding);
    }
};
