// Lets a client program of the simulated notebook receive its answers: linked in, it serves the
// client's answer endpoint from the start of the program.
#include <windows.h>
#include <rpc.h>

#include <cstdio>
#include <cstdlib>

#include "rpc/stub/tesselservice.h"
#include "simulator/wine/answerchannel.h"

namespace {

constexpr unsigned kConcurrentCalls = 1234;

void DeliverAnswer(handle_t /*binding*/,
                   const wchar_t* command,
                   boolean flag,
                   long number,
                   const wchar_t* text) {
    ReportResult(command, flag, number, text);
}

const RPC_DISPATCH_FUNCTION kFunctions[] = {NdrServerCall2, nullptr};
const RPC_DISPATCH_TABLE kDispatch = {1, Writable(kFunctions), 0};
const SERVER_ROUTINE kRoutines[] = {
    reinterpret_cast<SERVER_ROUTINE>(reinterpret_cast<void (*)()>(DeliverAnswer))};
constexpr unsigned short kOffsets[] = {0};

extern const MIDL_SERVER_INFO kServerInfo;

const RPC_SERVER_INTERFACE kAnswerChannelServer = {sizeof(RPC_SERVER_INTERFACE),
                                                   kAnswerChannelId,
                                                   kNdr20Syntax,
                                                   Writable(&kDispatch),
                                                   0,
                                                   nullptr,
                                                   nullptr,
                                                   &kServerInfo,
                                                   0};
const MIDL_STUB_DESC kStub = AnswerChannelStub(&kAnswerChannelServer);
const MIDL_SERVER_INFO kServerInfo = {
    &kStub, kRoutines, AnswerChannelProcString(), kOffsets, nullptr, nullptr, 0, nullptr};

bool Serve() {
    std::wstring endpoint = AnswerEndpoint(GetCurrentProcess());
    wchar_t protocol[] = L"ncalrpc";
    RPC_STATUS status =
        RpcServerUseProtseqEpW(reinterpret_cast<RPC_WSTR>(protocol), kConcurrentCalls,
                               reinterpret_cast<RPC_WSTR>(endpoint.data()), nullptr);
    if (status == RPC_S_OK) {
        status = RpcServerRegisterIfEx(Writable(&kAnswerChannelServer), nullptr, nullptr,
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
