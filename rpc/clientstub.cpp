#include "rpc/clientstub.h"

namespace {

extern const MIDL_STUB_DESC kClientStubDescriptor;

const RPC_DISPATCH_FUNCTION kNdr20Functions[] = {NdrServerCall2, nullptr};
const RPC_DISPATCH_FUNCTION kNdr64Functions[] = {NdrServerCallAll, nullptr};

const RPC_DISPATCH_TABLE kNdr20Dispatch = {1, Writable(kNdr20Functions), 0};
const RPC_DISPATCH_TABLE kNdr64Dispatch = {1, Writable(kNdr64Functions), 0};

const SERVER_ROUTINE kCallbackRoutines[] = {
    reinterpret_cast<SERVER_ROUTINE>(reinterpret_cast<void (*)()>(ReportResult))};

// The procedures that this side calls.
const MIDL_SYNTAX_INFO kSyntaxes[kSyntaxCount] = {
    Ndr20Info(nullptr, ndr20::kProcOffsets<kNdrTarget>),
    Ndr64Info(nullptr, ndr64::kProcTable<kNdrTarget>),
};

const MIDL_STUBLESS_PROXY_INFO kProxy = {
    &kClientStubDescriptor,  ProcString(), ndr20::kProcOffsets<kNdrTarget>,
    Writable(&kNdr20Syntax), kSyntaxCount, Writable(kSyntaxes),
};

// The callback that this side serves.
const MIDL_SYNTAX_INFO kCallbackSyntaxes[kSyntaxCount] = {
    Ndr20Info(Writable(&kNdr20Dispatch), ndr20::kCallbackOffsets<kNdrTarget>),
    Ndr64Info(Writable(&kNdr64Dispatch), ndr64::kCallbackTable<kNdrTarget>),
};

const MIDL_SERVER_INFO kCallbackServer = {
    &kClientStubDescriptor,
    kCallbackRoutines,
    ProcString(),
    ndr20::kCallbackOffsets<kNdrTarget>,
    nullptr,
    Writable(&kNdr64Syntax),
    kSyntaxCount,
    Writable(kCallbackSyntaxes),
};

const RPC_CLIENT_INTERFACE kClientInterface = {
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

// Every procedure names its binding; the descriptor wants a default one all the same.
RPC_BINDING_HANDLE g_unusedBinding = nullptr;

const MIDL_STUB_DESC kClientStubDescriptor = {
    Writable(static_cast<const void*>(&kClientInterface)),
    MIDL_user_allocate,
    MIDL_user_free,
    {&g_unusedBinding},
    nullptr,
    nullptr,
    nullptr,
    nullptr,
    TypeString(),
    1,
    kStubVersion,
    nullptr,
    kMidlVersion,
    nullptr,
    nullptr,
    nullptr,
    kStubFlags,
    nullptr,
    Writable(static_cast<const void*>(&kProxy)),
    0,
};

enum ProcedureNumber : unsigned long { kRemoteOpen, kRemoteClose, kRemoteRequest };

}  // namespace

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
                   const wchar_t* data_string) {
    NdrClientCall3(Writable(&kProxy), kRemoteRequest, nullptr, context, requestString, data_bool,
                   data_int, data_string);
}
