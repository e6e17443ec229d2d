// Asks Tessel Service for the screen mode and for the number of the SIM card.
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "tesselservice.h"

namespace {

struct Answer {
    bool flag;
    long number;
    std::wstring text;
};

// This program has one request in progress at a time, so one place for its answer is enough.
std::optional<Answer> g_answer;

// Structured exceptions and objects with destructors do not go into one function: each call of the
// service has a small function of its own.
RPC_STATUS Open(RPC_BINDING_HANDLE binding, REQUEST_CONTEXT_HANDLE* context) {
    RPC_STATUS status = RPC_S_OK;
    RpcTryExcept {
        RemoteOpen(binding, context);
    }
    RpcExcept(RpcExceptionFilter(RpcExceptionCode())) {
        status = RpcExceptionCode();
    }
    RpcEndExcept
    return status;
}

RPC_STATUS Send(REQUEST_CONTEXT_HANDLE context,
                const wchar_t* command,
                bool flag,
                long number,
                wchar_t* text) {
    RPC_STATUS status = RPC_S_OK;
    RpcTryExcept {
        RemoteRequest(context, command, flag, number, text);
    }
    RpcExcept(RpcExceptionFilter(RpcExceptionCode())) {
        status = RpcExceptionCode();
    }
    RpcEndExcept
    return status;
}

void Close(REQUEST_CONTEXT_HANDLE* context) {
    RpcTryExcept {
        RemoteClose(context);
    }
    RpcExcept(RpcExceptionFilter(RpcExceptionCode())) {
        // The service is gone, and the context with it: this frees the app's half.
        RpcSsDestroyClientContext(context);
    }
    RpcEndExcept
}

// Sends one command; nothing comes back if it was not answered or the service was not reached.
std::optional<Answer> Ask(REQUEST_CONTEXT_HANDLE context,
                          const wchar_t* command,
                          long number = 0,
                          std::wstring text = {}) {
    g_answer.reset();
    const RPC_STATUS status = Send(context, command, false, number, text.data());
    if (status != RPC_S_OK) {
        std::printf("%ls: error %ld\n", command, status);
    }
    return g_answer;
}

}  // namespace

// Called by the service while Send waits. The texts are gone when it returns.
void ReportResult(wchar_t* /*command*/, boolean flag, long number, wchar_t* text) {
    g_answer = Answer{flag != 0, number, text};
}

// Memory for the runtime, as every program with stubs of the interface compiler gives it.
void* __RPC_USER MIDL_user_allocate(size_t size) {
    return std::malloc(size);
}

void __RPC_USER MIDL_user_free(void* memory) {
    std::free(memory);
}

int wmain() {
    wchar_t address[] = L"ncalrpc:[TesselRpcEndpoint]";
    RPC_BINDING_HANDLE binding = nullptr;
    REQUEST_CONTEXT_HANDLE context = nullptr;
    RPC_STATUS status = RpcBindingFromStringBindingW(reinterpret_cast<RPC_WSTR>(address), &binding);
    if (status == RPC_S_OK) {
        status = Open(binding, &context);
    }
    if (status != RPC_S_OK || context == nullptr) {
        std::printf("the service is not reached: error %ld\n", status);
        return 1;
    }

    Ask(context, L"REGISTRYHELPER_SETSCREENMODE", 5);
    if (const auto mode = Ask(context, L"REGISTRYHELPER_GETSCREENMODE")) {
        std::printf("screen mode %ld\n", mode->number);
    }

    // The number is written over the request's text and cut to its length: 32 blanks give it room,
    // and an answer that is still blank says that there was nothing to write.
    const std::wstring padding(32, L' ');
    const auto card = Ask(context, L"MBNHELPER_GETSIMICCID", 0, padding);
    if (card && card->text != padding) {
        std::printf("SIM card %ls\n", card->text.c_str());
    } else {
        std::printf("no SIM card was read\n");
    }

    Close(&context);
    RpcBindingFree(&binding);
    return 0;
}
