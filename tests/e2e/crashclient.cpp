// A client that fails at the worst moment, or does not keep to the rules.
//   crashclient answer    dies while it takes the answer of its request, with exit code 7
//   crashclient context   dies with a context open, with exit code 7
//   crashclient contexts  closes contexts that are not its own, and calls a procedure that there is
//                         not; prints what came of each
//   crashclient raise TEXT COMMAND...
//                         for every code of its list: raises it while it takes the answer of each
//                         command, prints with which codes the requests ended, and sends one more,
//                         whose answer it takes
#include <windows.h>
#include <rpc.h>
#include <rpcdcep.h>

#include <cstdio>
#include <cstring>
#include <cwchar>
#include <set>
#include <string>

#include "rpc/endpoint.h"
#include "rpc/stub/tesselservice.h"
#include "win32/rpctext.h"

namespace {

// What two compilers' C++ throws with, faults, and statuses of RPC and Windows.
constexpr DWORD kCodes[] = {0x20474343, 0x21474343, 0x22474343, 0xE06D7363,
                            0xC0000005, 0x80000003, 1726,       5};

constexpr wchar_t kEcho[] = L"REGISTRYHELPER_ISVZWQ";

handle_t g_binding = nullptr;
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
    for (const DWORD code : kCodes) {
        std::set<DWORD> ends;
        int served = 0;
        for (int i = 0; i < count; ++i) {
            ends.insert(SendOnThread(commands[i], text, code));
            g_answers = 0;
            SendOnThread(kEcho, text, 0);
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

// Connections with different options belong, to Wine, to different clients.
handle_t Bind(const std::wstring& options) {
    const std::wstring address =
        std::wstring(kProtocolSequence) + L":[" + kEndpoint + options + L"]";
    handle_t binding = nullptr;
    RpcBindingFromStringBindingW(RpcText(address.c_str()), &binding);
    return binding;
}

// A context as it goes over the wire.
struct ContextBytes {
    unsigned char bytes[20];
};

ContextBytes OpenedBy(handle_t binding) {
    REQUEST_CONTEXT_HANDLE context = nullptr;
    ContextBytes bytes = {};
    RemoteOpen(binding, &context);
    NDRCContextMarshall(context, &bytes);
    return bytes;
}

// Closes the context past the stubs, which would refuse to, and prints the outcome.
void Close(const char* what, const ContextBytes& context, unsigned procedure = 1) {
    RPC_MESSAGE message = {};
    message.Handle = g_binding;
    message.ProcNum = procedure;
    message.BufferLength = sizeof(context);
    message.RpcInterfaceInformation = ServiceRpcInterface_v1_0_c_ifspec;
    message.TransferSyntax =
        &static_cast<RPC_CLIENT_INTERFACE*>(ServiceRpcInterface_v1_0_c_ifspec)->TransferSyntax;
    I_RpcGetBuffer(&message);
    std::memcpy(message.Buffer, &context, sizeof(context));
    const RPC_STATUS status = I_RpcSendReceive(&message);
    if (status == RPC_S_OK) {
        I_RpcFreeBuffer(&message);
    }
    std::printf("%s: %s\n", what, status == RPC_S_OK ? "closed" : "refused");
}

void CloseContexts() {
    const ContextBytes own = OpenedBy(g_binding);
    Close("no such procedure", own, 3);
    Close("own context", own);
    Close("the same again", own);
    Close("no context", {});
    Close("another client's context", OpenedBy(Bind(L",Security=Identification Dynamic True")));
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
    const std::wstring mode = argc > 1 ? argv[1] : L"";
    g_binding = Bind(L"");
    RemoteOpen(g_binding, &g_context);
    if (mode == L"answer") {
        wchar_t text[] = L"dying";
        RemoteRequest(g_context, kEcho, 1, 7, text);
        return 1;
    }
    if (mode == L"context") {
        TerminateProcess(GetCurrentProcess(), 7);
    }
    g_dies = false;
    if (mode == L"contexts") {
        CloseContexts();
    } else if (argc > 3) {
        AddVectoredExceptionHandler(1, EndThread);
        RaiseAll(argv[2], argv + 3, argc - 3);
    }
    return 0;
}
