#include "tests/rpc/stubtables_wire.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstring>
#include <string>

extern "C" CLIENT_CALL_RETURN RPC_VAR_ENTRY NdrClientCall3(MIDL_STUBLESS_PROXY_INFO* proxy,
                                                           unsigned long number,
                                                           void* result,
                                                           ...) {
    PFORMAT_STRING format = proxy->ProcFormatString + proxy->FormatStringOffset[number];
    std::uint16_t stack_size = 0;
    std::memcpy(&stack_size, format + 8, sizeof(stack_size));
    g_proxy_call = {proxy, number, result, format, {}};
    va_list arguments;
    va_start(arguments, result);
    for (int i = 0; i < stack_size / 8; ++i) {
        g_proxy_call.arguments.push_back(va_arg(arguments, std::uint64_t));
    }
    va_end(arguments);
    if (g_on_proxy_call) {
        g_on_proxy_call(g_proxy_call);
    }
    return {};
}

void ForwardProxyCall(const ProxyCall& call) {
    static const auto real = reinterpret_cast<decltype(&NdrClientCall3)>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"rpcrt4.dll"), "NdrClientCall3")));
    std::vector<std::uint64_t> slots = call.arguments;
    slots.resize(5);
    real(Writable(call.proxy), call.number, call.result, slots[0], slots[1], slots[2], slots[3],
         slots[4]);
}

WireServer::WireServer(const RPC_SERVER_INTERFACE* served) : m_served(served) {
    std::wstring protocol = L"ncalrpc";
    std::wstring endpoint = L"stubtables" + std::to_wstring(GetCurrentProcessId());
    auto* protocol_text = reinterpret_cast<RPC_WSTR>(protocol.data());
    auto* endpoint_text = reinterpret_cast<RPC_WSTR>(endpoint.data());
    static const RPC_STATUS listening = RpcServerUseProtseqEpW(
        protocol_text, RPC_C_PROTSEQ_MAX_REQS_DEFAULT, endpoint_text, nullptr);
    EXPECT_EQ(listening, RPC_S_OK);
    // Listens by itself and is never told to stop: a listener that stops and starts again at once
    // can miss the next connection.
    EXPECT_EQ(RpcServerRegisterIfEx(Writable(m_served), nullptr, nullptr, RPC_IF_AUTOLISTEN,
                                    RPC_C_LISTEN_MAX_CALLS_DEFAULT, nullptr),
              RPC_S_OK);
    RPC_WSTR text = nullptr;
    RpcStringBindingComposeW(nullptr, protocol_text, nullptr, endpoint_text, nullptr, &text);
    EXPECT_EQ(RpcBindingFromStringBindingW(text, &binding), RPC_S_OK);
    RpcStringFreeW(&text);
}

WireServer::~WireServer() {
    RpcBindingFree(&binding);
    RpcServerUnregisterIf(Writable(m_served), nullptr, FALSE);
}

std::vector<std::uint8_t> RequestBytes(const RPC_MESSAGE& message) {
    const auto* bytes = static_cast<const std::uint8_t*>(message.Buffer);
    return {bytes, bytes + message.BufferLength};
}
