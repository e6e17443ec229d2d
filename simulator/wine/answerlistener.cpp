// Lets a client program of the simulated notebook receive its answers: linked in, it serves the
// client's answer endpoint from the start of the program.
#include <windows.h>
#include <rpc.h>

#include <cstdio>
#include <cstdlib>

#include "answerchannel.h"
#include "rpc/clientstub.h"
#include "simulator/wine/answerendpoint.h"

namespace {

constexpr unsigned kConcurrentCalls = 1234;

bool Serve() {
    std::wstring endpoint = AnswerEndpoint(GetCurrentProcessId());
    wchar_t protocol[] = L"ncalrpc";
    RPC_STATUS status =
        RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), kConcurrentCalls,
                               reinterpret_cast<RPC_WSTR>(endpoint.data()), nullptr);
    if (status == RPC_S_OK) {
        status = RpcServerRegisterIfEx(AnswerChannel_v1_0_s_ifspec, nullptr, nullptr,
                                       RPC_IF_AUTOLISTEN, kConcurrentCalls, nullptr);
    }
    if (status != RPC_S_OK) {
        std::fprintf(stderr, "no answers can be received: RPC error %ld\n", status);
        std::exit(3);
    }
    return true;
}

const bool g_serving = Serve();

}  // namespace

void DeliverAnswer(handle_t /*binding*/,
                   const wchar_t* command,
                   boolean flag,
                   long number,
                   const wchar_t* text) {
    ReportResult(command, flag, number, text);
}
