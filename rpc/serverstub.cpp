#include "rpc/serverstub.h"

#include <iterator>

#include "rpc/request.h"

namespace {

const RPC_DISPATCH_FUNCTION kNdr20Functions[] = {NdrServerCall2, NdrServerCall2, NdrServerCall2,
                                                 nullptr};
const RPC_DISPATCH_FUNCTION kNdr64Functions[] = {NdrServerCallAll, NdrServerCallAll,
                                                 NdrServerCallAll, nullptr};

const RPC_DISPATCH_TABLE kNdr20Dispatch = {3, Writable(kNdr20Functions), 0};
const RPC_DISPATCH_TABLE kNdr64Dispatch = {3, Writable(kNdr64Functions), 0};

// The runtime calls each routine as its format string says, whatever type the table gives it.
template <typename Function>
SERVER_ROUTINE Routine(Function* function) {
    return reinterpret_cast<SERVER_ROUTINE>(reinterpret_cast<void (*)()>(function));
}

const SERVER_ROUTINE kRoutines[] = {Routine(RemoteOpen), Routine(RemoteClose),
                                    Routine(RemoteRequest)};

const NDR_RUNDOWN kRundownRoutines[] = {RequestContextRundown};

const MIDL_SYNTAX_INFO kSyntaxes[kSyntaxCount] = {
    Ndr20Info(Writable(&kNdr20Dispatch), ndr20::kProcOffsets<kNdrTarget>),
    Ndr64Info(Writable(&kNdr64Dispatch), ndr64::kProcTable<kNdrTarget>),
};

// The server prefers NDR64.
const MIDL_SERVER_INFO kServerInfo = {
    &kServerStubDescriptor,
    kRoutines,
    ProcString(),
    ndr20::kProcOffsets<kNdrTarget>,
    nullptr,
    Writable(&kNdr64Syntax),
    kSyntaxCount,
    Writable(kSyntaxes),
};

static_assert(std::size(ndr20::kProcOffsets<kNdrTarget>) == std::size(kRoutines));
static_assert(std::size(ndr64::kProcTable<kNdrTarget>) == std::size(kRoutines));

}  // namespace

const RPC_SERVER_INTERFACE kServiceRpcServerInterface = {
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

const MIDL_STUB_DESC kServerStubDescriptor = {
    Writable(static_cast<const void*>(&kServiceRpcServerInterface)),
    MIDL_user_allocate,
    MIDL_user_free,
    {nullptr},
    kRundownRoutines,
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
    Writable(static_cast<const void*>(&kServerInfo)),
    0,
};
