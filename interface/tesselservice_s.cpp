// The server stub of ServiceRpcInterface.
#include <iterator>

#include "interface/stubs.h"

namespace {

constinit const RPC_DISPATCH_FUNCTION kNdr20Functions[] = {DispatchNdr20, DispatchNdr20,
                                                           DispatchNdr20, nullptr};
constinit const RPC_DISPATCH_FUNCTION kNdr64Functions[] = {DispatchNdr64, DispatchNdr64,
                                                           DispatchNdr64, nullptr};

constinit const RPC_DISPATCH_TABLE kNdr20Dispatch = {3, Writable(kNdr20Functions), 0};
constinit const RPC_DISPATCH_TABLE kNdr64Dispatch = {3, Writable(kNdr64Functions), 0};

struct Procedures {
    decltype(&RemoteOpen) open;
    decltype(&RemoteClose) close;
    decltype(&RemoteRequest) request;
};
constinit const RoutineTable<Procedures, 3> kRoutines = {{RemoteOpen, RemoteClose, RemoteRequest}};

constinit const NDR_RUNDOWN kRundownRoutines[] = {REQUEST_CONTEXT_HANDLE_rundown};

constinit const MIDL_SYNTAX_INFO kSyntaxes[kSyntaxCount] = {
    Ndr20Info(&kNdr20Dispatch, ndr20::kProcOffsets),
    Ndr64Info(&kNdr64Dispatch, ndr64::kProcTable<ndr64::kServerSide>),
};

// The server prefers NDR64.
constinit const MIDL_SERVER_INFO kServerInfo = {
    &kServerStubDescriptor,  kRoutines.routines, kProcFormatString,   ndr20::kProcOffsets, nullptr,
    Writable(&kNdr64Syntax), kSyntaxCount,       Writable(kSyntaxes),
};

constinit const RPC_SERVER_INTERFACE kServerInterface = {
    sizeof(RPC_SERVER_INTERFACE),
    kServiceRpcInterfaceId,
    kNdr20Syntax,
    Writable(&kNdr20Dispatch),
    0,
    nullptr,
    nullptr,
    &kServerInfo,
    kInterfaceFlags,
};

}  // namespace

constinit RPC_IF_HANDLE ServiceRpcInterface_v1_0_s_ifspec = Writable(&kServerInterface);

constinit const MIDL_STUB_DESC kServerStubDescriptor = {
    Writable(&kServerInterface),
    MIDL_user_allocate,
    MIDL_user_free,
    {nullptr},
    kRundownRoutines,
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
    Writable(&kServerInfo),
    0,
};
