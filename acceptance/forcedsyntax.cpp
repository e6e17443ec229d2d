// Client stubs that offer one transfer syntax each, as an interface compiler makes them with
// /protocol dce and /protocol ndr64.
#include "acceptance/exchange.h"

namespace {

// Copies of the descriptors of the shipped stub, reduced to one syntax.
struct Descriptors {
    RPC_CLIENT_INTERFACE description =
        *static_cast<RPC_CLIENT_INTERFACE*>(ServiceRpcInterface_v1_0_c_ifspec);
    MIDL_SERVER_INFO server = *static_cast<const MIDL_SERVER_INFO*>(description.InterpreterInfo);
    MIDL_STUB_DESC stub = *server.pStubDesc;
    MIDL_STUBLESS_PROXY_INFO proxy = *static_cast<MIDL_STUBLESS_PROXY_INFO*>(stub.Reserved4);
    MIDL_SYNTAX_INFO calls;
    MIDL_SYNTAX_INFO callbacks;

    explicit Descriptors(bool ndr64)
        : calls(proxy.pSyntaxInfo[ndr64 ? 1 : 0]), callbacks(server.pSyntaxInfo[ndr64 ? 1 : 0]) {
        description.TransferSyntax = calls.TransferSyntax;
        description.DispatchTable = callbacks.DispatchTable;
        description.InterpreterInfo = &server;
        server.pStubDesc = proxy.pStubDesc = &stub;
        server.pTransferSyntax = proxy.pTransferSyntax = ndr64 ? &calls.TransferSyntax : nullptr;
        server.nCount = proxy.nCount = ndr64 ? 1 : 0;
        server.pSyntaxInfo = ndr64 ? &callbacks : nullptr;
        proxy.pSyntaxInfo = &calls;
        stub.RpcInterfaceInformation = &description;
        stub.Reserved4 = ndr64 ? &proxy : nullptr;
        if (!ndr64) {
            // The form of /protocol dce: its own version and flags.
            description.Flags = 0x04000000;
            stub.Version = 0x50002;
            stub.mFlags = 1;
        }
    }
};
Descriptors g_ndr20(false);
Descriptors g_ndr64(true);

constexpr auto kCallNdr20 = [](ProcedureNumber procedure, auto... arguments) {
    const MIDL_STUBLESS_PROXY_INFO& proxy = g_ndr20.proxy;
    NdrClientCall2(&g_ndr20.stub, proxy.ProcFormatString + proxy.FormatStringOffset[procedure],
                   arguments...);
};
constexpr auto kCallNdr64 = [](ProcedureNumber procedure, auto... arguments) {
    NdrClientCall3(&g_ndr64.proxy, procedure, nullptr, arguments...);
};

template <auto call>
constexpr ClientStub kStub = {
    [](handle_t binding, REQUEST_CONTEXT_HANDLE* context) { call(kOpen, binding, context); },
    [](REQUEST_CONTEXT_HANDLE context, auto... values) { call(kRequest, context, values...); },
    [](REQUEST_CONTEXT_HANDLE* context) { call(kClose, context); }};

}  // namespace

MIDL_STUB_DESC& g_ndr20Descriptor = g_ndr20.stub;
const ClientStub kNdr20Stub = kStub<kCallNdr20>;
const ClientStub kNdr64Stub = kStub<kCallNdr64>;
