// A client that fails at the worst moment, or does not keep to the rules.
//   crashclient answer    dies while it takes the answer of its request, with exit code 7
//   crashclient context   dies with a context open, with exit code 7
//   crashclient contexts  sends requests on contexts that are not its own, and to a procedure that
//                         there is not; prints how often each was answered
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

// A context as it goes over the wire, and a request of the command that echoes.
struct ContextBytes {
    unsigned char bytes[20];
};
struct RequestBytes {
    ContextBytes context = {};
    DWORD command_size[3] = {22, 0, 22};
    wchar_t command[22] = L"REGISTRYHELPER_ISVZWQ";
    boolean flag = 1;
    LONG number = 7;
    DWORD text_size[3] = {1, 0, 1};
    wchar_t text[1] = {};
};

// Sends the bytes past the stubs, which would refuse to.
template <typename Bytes>
void SendRaw(const char* what, unsigned procedure, const Bytes& bytes) {
    RPC_MESSAGE message = {};
    message.Handle = g_binding;
    message.ProcNum = procedure;
    message.BufferLength = sizeof(bytes);
    message.RpcInterfaceInformation = ServiceRpcInterface_v1_0_c_ifspec;
    message.TransferSyntax =
        &static_cast<RPC_CLIENT_INTERFACE*>(ServiceRpcInterface_v1_0_c_ifspec)->TransferSyntax;
    I_RpcGetBuffer(&message);
    std::memcpy(message.Buffer, &bytes, sizeof(bytes));
    g_answers = 0;
    if (I_RpcSendReceive(&message) == RPC_S_OK) {
        I_RpcFreeBuffer(&message);
    }
    std::printf("%s: %d\n", what, g_answers);
}

ContextBytes OpenedBy(handle_t binding, bool close) {
    REQUEST_CONTEXT_HANDLE context = nullptr;
    ContextBytes bytes = {};
    RemoteOpen(binding, &context);
    NDRCContextMarshall(context, &bytes);
    if (close) {
        RemoteClose(&context);
    }
    return bytes;
}

void UseContexts() {
    SendRaw("own context", 2, RequestBytes{OpenedBy(g_binding, false)});
    // Wine's runtime lets it pass.
    SendRaw("no context", 2, RequestBytes{});
    SendRaw("closing no context", 1, ContextBytes{});
    SendRaw("closed context", 2, RequestBytes{OpenedBy(g_binding, true)});
    SendRaw("another client's context", 2,
            RequestBytes{OpenedBy(Bind(L",Security=Identification Dynamic True"), false)});
    SendRaw("no such procedure", 3, RequestBytes{OpenedBy(g_binding, false)});
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
        UseContexts();
    } else if (argc > 3) {
        AddVectoredExceptionHandler(1, EndThread);
        RaiseAll(argv[2], argv + 3, argc - 3);
    }
    return 0;
}
