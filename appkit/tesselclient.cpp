#include "tesselclient.h"

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

#include <condition_variable>
#include <cstdlib>
#include <cwchar>
#include <functional>
#include <map>
#include <mutex>
#include <new>
#include <string>

#include "tesselservice.h"

#if defined(__MINGW32__)
// These headers lack the function, and the compiler of x64 the blocks of RpcTryExcept.
extern "C" __declspec(dllimport) int RPC_ENTRY RpcExceptionFilter(unsigned long code);
#endif

// Stores the code while the runtime looks for a handler: Wine does not hand it on to the handler.
static int Filter(unsigned long code, RPC_STATUS* status) {
    *status = static_cast<RPC_STATUS>(code);
    return RpcExceptionFilter(code);
}

#if defined(__MINGW32__) && defined(__x86_64__)
// What a compiler with those blocks makes of the other RunGuarded below. The status is in the
// frame, at its offset 32.
extern "C" {
RPC_STATUS TesselRunGuarded(void (*function)(void*), void* argument);

__attribute__((used)) int TesselFilter(EXCEPTION_POINTERS* exception, char* frame) {
    return Filter(exception->ExceptionRecord->ExceptionCode,
                  reinterpret_cast<RPC_STATUS*>(frame + 32));
}
}

asm(R"(
    .text
    .globl TesselRunGuarded
    .seh_proc TesselRunGuarded
TesselRunGuarded:
    sub $40, %rsp
    .seh_stackalloc 40
    .seh_endprologue
    movl $0, 32(%rsp)
    mov %rcx, %rax
    mov %rdx, %rcx
.LTesselBegin:
    call *%rax
    nop
.LTesselEnd:
    mov 32(%rsp), %eax
    add $40, %rsp
    ret
    .seh_handler __C_specific_handler, @except
    .seh_handlerdata
    .long 1
    .rva .LTesselBegin, .LTesselEnd, TesselFilter, .LTesselEnd
    .text
    .seh_endproc
)");
#endif

namespace {

// Runs the function and gives 0 or the code of the structured exception that ended it. Such an
// exception runs no destructors on its way, so the function must not have any.
RPC_STATUS RunGuarded(void (*function)(void*), void* argument) {
#if defined(__MINGW32__) && defined(__x86_64__)
    return TesselRunGuarded(function, argument);
#else
    RPC_STATUS status = RPC_S_OK;
    RpcTryExcept {
        function(argument);
    }
    RpcExcept(Filter(RpcExceptionCode(), &status)) {}
    RpcEndExcept;
    return status;
#endif
}

// What the calls of the service take.
struct Call {
    RPC_BINDING_HANDLE binding;
    REQUEST_CONTEXT_HANDLE context;
    const wchar_t* command;
    boolean flag;
    long number;
    wchar_t* text;
};

void CallOpen(void* call) {
    RemoteOpen(static_cast<Call*>(call)->binding, &static_cast<Call*>(call)->context);
}

void CallRequest(void* call) {
    const Call& request = *static_cast<Call*>(call);
    RemoteRequest(request.context, request.command, request.flag, request.number, request.text);
}

void CallClose(void* call) {
    RemoteClose(&static_cast<Call*>(call)->context);
}

void DestroyContext(void* call) {
    RpcSsDestroyClientContext(&static_cast<Call*>(call)->context);
}

// A context over a binding of its own, both closed at the end.
class Connection {
 public:
    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { Close(); }

    // 0 or the Windows error. Opening changes nothing in the service, so it is tried twice: the
    // runtime may take the first from a connection that a restart of the service has ended.
    long Open() {
        // One at a time, for the simulated notebook: Wine's runtime may give two first connections
        // that are made at the same moment an association each, and knows a context in only one.
        static std::mutex opening;
        const std::lock_guard<std::mutex> lock(opening);
        long error = TryOpen();
        if (error != RPC_S_OK) {
            Close();
            error = TryOpen();
        }
        return error;
    }

    // Sends the request. 0 when the service is done with it, or the Windows error.
    long Send(const std::wstring& command, bool flag, long number, std::wstring& text) {
        m_call.command = command.c_str();
        m_call.flag = static_cast<boolean>(flag ? 1 : 0);
        m_call.number = number;
        m_call.text = text.data();
        return RunGuarded(CallRequest, &m_call);
    }

 private:
    long TryOpen() {
        wchar_t address[] = L"ncalrpc:[TesselRpcEndpoint]";
        long error =
            RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address), &m_call.binding);
        if (error == RPC_S_OK) {
            error = RunGuarded(CallOpen, &m_call);
        }
        // The service had no memory for the context.
        return error == RPC_S_OK && m_call.context == nullptr ? RPC_S_OUT_OF_MEMORY : error;
    }

    void Close() {
        if (m_call.context != nullptr && RunGuarded(CallClose, &m_call) != RPC_S_OK) {
            // The service is gone: what this process holds of the context is to be freed.
            RunGuarded(DestroyContext, &m_call);
        }
        if (m_call.binding != nullptr) {
            RpcBindingFree(&m_call.binding);
        }
    }

    Call m_call = {};
};

// The requests in progress by their command, each with the place for its answer. A callback has no
// user pointer and no context. By Windows' documentation it runs on the thread that issued the
// call, but its command alone is enough, on whichever thread it runs.
std::mutex g_lock;
std::condition_variable g_ended;
std::map<std::wstring, tessel::Reply*, std::less<>> g_requests;

// Enters a request as soon as no other with its command is in progress, and takes it out at the
// end. From then on no callback touches the reply.
class Turn {
 public:
    Turn(const std::wstring& command, tessel::Reply* reply) {
        std::unique_lock<std::mutex> lock(g_lock);
        g_ended.wait(lock, [&] { return g_requests.count(command) == 0; });
        m_place = g_requests.emplace(command, reply).first;
    }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;
    ~Turn() {
        {
            const std::lock_guard<std::mutex> lock(g_lock);
            g_requests.erase(m_place);
        }
        g_ended.notify_all();
    }

 private:
    decltype(g_requests)::iterator m_place;
};

}  // namespace

// An answer, which the service sends while RemoteRequest waits. The strings are the runtime's.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    const std::lock_guard<std::mutex> lock(g_lock);
    const auto place = g_requests.find(command);
    if (place == g_requests.end()) {
        return;
    }
    tessel::Reply& reply = *place->second;
    try {
        reply.text = text;
    } catch (const std::bad_alloc&) {
        reply.error = RPC_S_OUT_OF_MEMORY;
        return;
    }
    reply.flag = flag != 0;
    reply.number = number;
    reply.outcome = tessel::Outcome::kAnswered;
}

void* __RPC_USER MIDL_user_allocate(size_t size) {
    return std::malloc(size);
}

void __RPC_USER MIDL_user_free(void* memory) {
    std::free(memory);
}

namespace tessel {

long Client::Connect() {
    return Connection().Open();
}

Reply Client::Request(const std::wstring& command, bool flag, long number, std::wstring text) {
    Reply reply;
    if (command.find(L'\0') != std::wstring::npos || text.find(L'\0') != std::wstring::npos) {
        reply.error = ERROR_INVALID_PARAMETER;
        return reply;
    }
    long error = RPC_S_OK;
    {
        const Turn turn(command, &reply);
        Connection connection;
        error = connection.Open();
        if (error == RPC_S_OK) {
            reply.sent = true;
            error = connection.Send(command, flag, number, text);
        }
    }
    // An answer counts even if the service ended after it had sent it.
    if (reply.outcome == Outcome::kAnswered || reply.error != RPC_S_OK) {
        return reply;
    }
    reply.error = error;
    reply.outcome = error == RPC_S_OK ? Outcome::kNoAnswer : Outcome::kFailed;
    return reply;
}

Reply Client::Identity(const std::wstring& command) {
    // The service writes over the request's text within its length: longer than any identity.
    const std::wstring room(64, L' ');
    Reply reply = Request(command, false, 0, room);
    if (reply.text == room) {
        reply.text.clear();
    }
    return reply;
}

std::wstring Meaning(long error) {
    switch (error) {
        case RPC_S_OK:
            return L"no error";
        case ERROR_ACCESS_DENIED:
            return L"access denied: this process does not hold the service's capability";
        case ERROR_INVALID_HANDLE:
            return L"the service was restarted during the request";
        case RPC_S_OUT_OF_MEMORY:
            return L"no memory, in this process or in the service";
        case ERROR_INVALID_PARAMETER:
            return L"the command or the text contains U+0000";
        case RPC_S_UNKNOWN_IF:
            return L"the service is just starting or stopping";
        case RPC_S_SERVER_UNAVAILABLE:
            return L"the service is not running";
        case RPC_S_CALL_FAILED:
            return L"the service ended during the request and may have carried it out";
        case RPC_S_CALL_FAILED_DNE:
            return L"the service did not receive the request";
        default:
            break;
    }
    wchar_t text[256] = {};
    DWORD length = FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                                  nullptr, static_cast<DWORD>(error), 0, text, 256, nullptr);
    while (length > 0 && std::wcschr(L".\r\n ", text[length - 1]) != nullptr) {
        --length;
    }
    return length > 0 ? std::wstring(text, length) : L"Windows error " + std::to_wstring(error);
}

}  // namespace tessel
