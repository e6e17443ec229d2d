// The stubs at work: what they hand to the RPC runtime, and what then goes over the wire.
#pragma once

#include <cstdint>
#include <vector>

#include "rpc/stubs.h"

// One call of NdrClientCall3, which the program replaces. As many arguments as the procedure's
// stack size says, each a whole stack slot, of which a narrower argument fills only the low bytes.
struct ProxyCall {
    const MIDL_STUBLESS_PROXY_INFO* proxy;
    unsigned long number;
    void* result;
    PFORMAT_STRING format;
    std::vector<std::uint64_t> arguments;
};

// The last call that a stub made, and what a call does besides.
inline ProxyCall g_proxy_call;
inline void (*g_on_proxy_call)(const ProxyCall&) = nullptr;

// Makes the call with the runtime's own NdrClientCall3.
void ForwardProxyCall(const ProxyCall& call);

// Serves `served` in this process over ncalrpc for as long as it lives; one at a time.
class WireServer {
 public:
    explicit WireServer(const RPC_SERVER_INTERFACE* served);
    ~WireServer();
    WireServer(const WireServer&) = delete;
    WireServer& operator=(const WireServer&) = delete;

    RPC_BINDING_HANDLE binding = nullptr;

 private:
    const RPC_SERVER_INTERFACE* m_served;
};

// The request bytes of `message` as they came.
std::vector<std::uint8_t> RequestBytes(const RPC_MESSAGE& message);
