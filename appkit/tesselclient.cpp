// Copyright (c) 2026 Bramble Electronics. SPDX-License-Identifier: MIT
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
// mingw's headers lack this function.
extern "C" __declspec(dllimport) int RPC_ENTRY RpcExceptionFilter(unsigned long code);
#endif

// Stores the code while the runtime looks for a handler, because Wine does not pass it to the
// handler.
static int Filter(unsigned long code, RPC_STATUS* status) {
    *status = static_cast<RPC_STATUS>(code);
    return RpcExceptionFilter(code);
}

namespace {

// Runs the function. Returns 0, or the code of the structured exception that ended it. Such an
// exception runs no destructors, so the function must not need any.
RPC_STATUS RunGuarded(void (*function)(void*), void* argument) {
    RPC_STATUS status = RPC_S_OK;
    RpcTryExcept {
        function(argument);
    }
    RpcExcept(Filter(RpcExceptionCode(), &status)) {}
    RpcEndExcept;
    return status;
}

// The arguments of the calls to the service.
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

// A context and its own binding. The destructor closes both.
class Connection {
 public:
    Connection() = default;
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { Close(); }

    // Returns 0 or the Windows error. Tries twice, which changes nothing in the service: at the
    // first try the runtime may use a connection that a restart of the service has ended.
    long Open() {
        // One thread at a time, for the simulated notebook: if two first connections are opened at
        // the same time, Wine gives each an association, and knows a context in only one of them.
        static std::mutex opening;
        const std::lock_guard<std::mutex> lock(opening);
        long error = TryOpen();
        if (error != RPC_S_OK) {
            Close();
            error = TryOpen();
        }
        return error;
    }

    // Sends the request and waits until the service is done. Returns 0 or the Windows error.
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
            // The service has ended. Frees the client's part of the context.
            RunGuarded(DestroyContext, &m_call);
        }
        if (m_call.binding != nullptr) {
            RpcBindingFree(&m_call.binding);
        }
    }

    Call m_call = {};
};

// The requests in progress by their commands, each with the reply to fill. A callback has no user
// pointer and no context. By Windows' documentation it runs on the thread that issued the call. The
// client does not rely on that: the command identifies the request in every thread.
std::mutex g_lock;
std::condition_variable g_ended;
std::map<std::wstring, tessel::Reply*, std::less<>> g_requests;

// Waits until no request with the same command is in progress, and adds the request. The destructor
// removes it; after that, no callback uses the reply.
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

// Receives an answer, which the service sends during RemoteRequest. The runtime owns the strings.
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
    // An answer is valid even if the service ended after it had sent the answer.
    if (reply.outcome == Outcome::kAnswered || reply.error != RPC_S_OK) {
        return reply;
    }
    reply.error = error;
    reply.outcome = error == RPC_S_OK ? Outcome::kNoAnswer : Outcome::kFailed;
    return reply;
}

Reply Client::Identity(const std::wstring& command) {
    // The service overwrites the text within its length. The padding is longer than any identity.
    const std::wstring padding(64, L' ');
    Reply reply = Request(command, false, 0, padding);
    if (reply.text == padding) {
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
