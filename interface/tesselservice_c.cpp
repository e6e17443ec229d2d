// The client stub of ServiceRpcInterface.
#include "interface/stubs.h"

namespace {

extern const MIDL_STUB_DESC kClientStubDescriptor;

constinit const RPC_DISPATCH_FUNCTION kNdr20Functions[] = {DispatchNdr20, nullptr};
constinit const RPC_DISPATCH_FUNCTION kNdr64Functions[] = {DispatchNdr64, nullptr};

constinit const RPC_DISPATCH_TABLE kNdr20Dispatch = {1, Writable(kNdr20Functions), 0};
constinit const RPC_DISPATCH_TABLE kNdr64Dispatch = {1, Writable(kNdr64Functions), 0};

struct Callbacks {
    decltype(&ReportResult) report_result;
};
constinit const RoutineTable<Callbacks, 1> kCallbackRoutines = {{ReportResult}};

// The procedures that the client calls.
constinit const MIDL_SYNTAX_INFO kSyntaxes[kSyntaxCount] = {
    Ndr20Info(nullptr, ndr20::kProcOffsets),
    Ndr64Info(nullptr, ndr64::kProcTable<ndr64::kClientSide>),
};

constinit const MIDL_STUBLESS_PROXY_INFO kProxy = {
    &kClientStubDescriptor,  kProcFormatString, ndr20::kProcOffsets,
    Writable(&kNdr20Syntax), kSyntaxCount,      Writable(kSyntaxes),
};

// The callback that the client serves.
constinit const MIDL_SYNTAX_INFO kCallbackSyntaxes[kSyntaxCount] = {
    Ndr20Info(&kNdr20Dispatch, ndr20::kCallbackOffsets),
    Ndr64Info(&kNdr64Dispatch, ndr64::kCallbackTable),
};

constinit const MIDL_SERVER_INFO kCallbackServer = {
    &kClientStubDescriptor,
    kCallbackRoutines.routines,
    kProcFormatString,
    ndr20::kCallbackOffsets,
    nullptr,
    Writable(&kNdr64Syntax),
    kSyntaxCount,
    Writable(kCallbackSyntaxes),
};

constinit const RPC_CLIENT_INTERFACE kClientInterface = {
    sizeof(RPC_CLIENT_INTERFACE),
    kServiceRpcInterfaceId,
    kNdr20Syntax,
    Writable(&kNdr20Dispatch),
    0,
    nullptr,
    0,
    &kCallbackServer,
    kInterfaceFlags,
};

// Every procedure has an explicit binding, but the descriptor needs the address of a binding.
constinit RPC_BINDING_HANDLE g_unusedBinding = nullptr;

constinit const MIDL_STUB_DESC kClientStubDescriptor = {
    Writable(&kClientInterface),
    MIDL_user_allocate,
    MIDL_user_free,
    {&g_unusedBinding},
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    kTypeFormatString,
    1,
    kStubVersion,
    nullptr,
    kMidlVersion,
    nullptr,
    nullptr,
    nullptr,
    kStubFlags,
    nullptr,
    Writable(&kProxy),
    0,
};

enum ProcedureNumber : unsigned long { kRemoteOpen, kRemoteClose, kRemoteRequest };

}  // namespace

constinit RPC_IF_HANDLE ServiceRpcInterface_v1_0_c_ifspec = Writable(&kClientInterface);

void RemoteOpen(handle_t binding, REQUEST_CONTEXT_HANDLE* context) {
    NdrClientCall3(Writable(&kProxy), kRemoteOpen, nullptr, binding, context);
}

void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    NdrClientCall3(Writable(&kProxy), kRemoteClose, nullptr, context);
}

void RemoteRequest(REQUEST_CONTEXT_HANDLE context,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string) {
    NdrClientCall3(Writable(&kProxy), kRemoteRequest, nullptr, context, requestString, data_bool,
                   data_int, data_string);
}
