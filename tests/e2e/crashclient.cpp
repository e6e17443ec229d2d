// A client that fails at the worst moment.
//   crashclient answer    dies while it takes the answer of its request, with exit code 7
//   crashclient context   dies with a context open, with exit code 7
//   crashclient raise CODE COMMAND [TEXT]
//                         raises a structured exception while it takes the answer of COMMAND, and
//                         prints how its request ended
#include <windows.h>
#include <rpc.h>

#include <cstdio>
#include <cstdlib>
#include <cwchar>

#include "rpc/clientstub.h"

namespace {

DWORD g_raised = 0;
DWORD g_thread = 0;

// Not the filter of what nobody handles: the C runtime keeps some codes from it.
LONG WINAPI PrintFailure(EXCEPTION_POINTERS* exception) {
    if (GetCurrentThreadId() != g_thread) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    std::printf("failed with 0x%lx\n", exception->ExceptionRecord->ExceptionCode);
    std::fflush(stdout);
    // The emulator now and then crashes in the end of a process whose other thread is on its way
    // out of the callback.
    Sleep(200);
    TerminateProcess(GetCurrentProcess(), 0);
    return EXCEPTION_CONTINUE_SEARCH;
}

}  // namespace

void ReportResult(const wchar_t* /*command*/,
                  boolean /*flag*/,
                  long /*number*/,
                  const wchar_t* /*text*/) {
    if (g_raised != 0) {
        RaiseException(g_raised, 0, 0, nullptr);
    }
    TerminateProcess(GetCurrentProcess(), 7);
}

int wmain(int argc, wchar_t** argv) {
    wchar_t address[] = L"ncalrpc:[TesselRpcEndpoint]";
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address), &binding);
    RemoteOpen(binding, &context);
    if (argc > 1 && std::wcscmp(argv[1], L"answer") == 0) {
        RemoteRequest(context, L"REGISTRYHELPER_ISVZWQ", 1, 7, L"dying");
        return 1;
    }
    if (argc > 3 && std::wcscmp(argv[1], L"raise") == 0) {
        g_raised = std::wcstoul(argv[2], nullptr, 0);
        g_thread = GetCurrentThreadId();
        AddVectoredExceptionHandler(1, PrintFailure);
        RemoteRequest(context, argv[3], 1, 7, argc > 4 ? argv[4] : L"raising");
        std::printf("returned\n");
        return 0;
    }
    TerminateProcess(GetCurrentProcess(), 7);
    return 1;
}
