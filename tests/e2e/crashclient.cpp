// A client that fails at the worst moment.
//   crashclient answer    dies while it takes the answer of its request, with exit code 7
//   crashclient context   dies with a context open, with exit code 7
//   crashclient raise TEXT COMMAND...
//                         for every code of its list: raises it while it takes the answer of each
//                         command, prints with which codes the requests ended, and sends one more,
//                         whose answer it takes
#include <windows.h>
#include <rpc.h>

#include <cstdio>
#include <cwchar>
#include <set>

#include "rpc/endpoint.h"
#include "rpc/stub/tesselservice.h"
#include "win32/rpctext.h"

namespace {

// What two compilers' C++ throws with, faults, and statuses of RPC and Windows.
constexpr DWORD kCodes[] = {0x20474343, 0x21474343, 0x22474343, 0xE06D7363,
                            0xC0000005, 0x80000003, 1726,       5};

REQUEST_CONTEXT_HANDLE g_context = nullptr;
bool g_dies = true;
DWORD g_raised = 0;
int g_answers = 0;

// A request on a thread of its own, which an exception ends: this compiler's C++ cannot catch it.
struct Request {
    const wchar_t* command;
    wchar_t* text;
    DWORD thread = 0;
    DWORD ended_with = 0;
};
Request g_request = {};

LONG WINAPI EndThread(EXCEPTION_POINTERS* exception) {
    if (GetCurrentThreadId() == g_request.thread) {
        g_request.ended_with = exception->ExceptionRecord->ExceptionCode;
        ExitThread(0);
    }
    return EXCEPTION_CONTINUE_SEARCH;
}

DWORD WINAPI Send(void* /*parameter*/) {
    g_request.thread = GetCurrentThreadId();
    RemoteRequest(g_context, g_request.command, 1, 7, g_request.text);
    return 0;
}

// Gives the code that the request ended with, 0 for none.
DWORD SendOnThread(const wchar_t* command, wchar_t* text, DWORD raised) {
    g_raised = raised;
    g_request = {command, text};
    HANDLE thread = CreateThread(nullptr, 0, Send, nullptr, 0, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return g_request.ended_with;
}

void RaiseAll(wchar_t* text, wchar_t** commands, int count) {
    g_dies = false;
    AddVectoredExceptionHandler(1, EndThread);
    for (const DWORD code : kCodes) {
        std::set<DWORD> ends;
        int served = 0;
        for (int i = 0; i < count; ++i) {
            ends.insert(SendOnThread(commands[i], text, code));
            g_answers = 0;
            SendOnThread(L"REGISTRYHELPER_ISVZWQ", text, 0);
            served += g_answers;
        }
        std::printf("0x%lx:", code);
        for (const DWORD end : ends) {
            std::printf(" 0x%lx", end);
        }
        std::printf(", %d served\n", served);
    }
    RemoteClose(&g_context);
}

}  // namespace

void ReportResult(wchar_t* /*command*/, boolean /*flag*/, long /*number*/, wchar_t* /*text*/) {
    if (g_dies) {
        TerminateProcess(GetCurrentProcess(), 7);
    }
    if (g_raised != 0) {
        RaiseException(g_raised, 0, 0, nullptr);
    }
    ++g_answers;
}

int wmain(int argc, wchar_t** argv) {
    RPC_BINDING_HANDLE binding = nullptr;
    RpcBindingFromStringBindingW(RpcText(kStringBinding), &binding);
    RemoteOpen(binding, &g_context);
    if (argc > 3 && std::wcscmp(argv[1], L"raise") == 0) {
        RaiseAll(argv[2], argv + 3, argc - 3);
        return 0;
    }
    if (argc > 1 && std::wcscmp(argv[1], L"answer") == 0) {
        wchar_t text[] = L"dying";
        RemoteRequest(g_context, L"REGISTRYHELPER_ISVZWQ", 1, 7, text);
        return 1;
    }
    TerminateProcess(GetCurrentProcess(), 7);
    return 1;
}
