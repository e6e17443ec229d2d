#include "acceptance/forcedsyntax.h"

#include "rpc/stub/stubs.h"

namespace {

// The interface has callbacks, and one syntax.
constexpr unsigned int kOneSyntaxFlags = 0x04000000;
// Of a stub descriptor whose tables are in NDR 2.0 alone.
constexpr unsigned long kNdr20Version = 0x50002;
constexpr ULONG_PTR kNdr20Flags = 1;

enum ProcedureNumber : unsigned long { kOpen, kClose, kRequest };

constinit RPC_BINDING_HANDLE g_unusedBinding = nullptr;

struct Callbacks {
    decltype(&ReportResult) report_result;
};
constinit const RoutineTable<Callbacks, 1> kRoutines = {{ReportResult}};

constexpr MIDL_STUB_DESC Descriptor(const RPC_CLIENT_INTERFACE* interface_description,
                                    unsigned long version,
                                    ULONG_PTR flags,
                                    const MIDL_STUBLESS_PROXY_INFO* proxy) {
    MIDL_STUB_DESC descriptor = {};
    descriptor.RpcInterfaceInformation = Writable(interface_description);
    descriptor.pfnAllocate = MIDL_user_allocate;
    descriptor.pfnFree = MIDL_user_free;
    descriptor.IMPLICIT_HANDLE_INFO.pAutoHandle = &g_unusedBinding;
    descriptor.pFormatTypes = kTypeFormatString;
    descriptor.fCheckBounds = 1;
    descriptor.Version = version;
    descriptor.MIDLVersion = kMidlVersion;
    descriptor.mFlags = flags;
    descriptor.Reserved4 = Writable(proxy);
    return descriptor;
}

constinit const RPC_DISPATCH_FUNCTION kNdr20Functions[] = {DispatchNdr20, nullptr};
constinit const RPC_DISPATCH_TABLE kNdr20Dispatch = {1, Writable(kNdr20Functions), 0};

constinit const MIDL_SERVER_INFO kNdr20Callbacks = {
    &kNdr20Descriptor,
    kRoutines.routines,
    kProcFormatString,
    ndr20::kCallbackOffsets,
    nullptr,
    nullptr,
    0,
    nullptr,
};

constinit const RPC_CLIENT_INTERFACE kNdr20Interface = {
    sizeof(RPC_CLIENT_INTERFACE),
    kServiceRpcInterfaceId,
    kNdr20Syntax,
    Writable(&kNdr20Dispatch),
    0,
    nullptr,
    0,
    &kNdr20Callbacks,
    kOneSyntaxFlags,
};

// The format of a procedure in NDR 2.0.
PFORMAT_STRING Ndr20Format(ProcedureNumber procedure) {
    return kProcFormatString + ndr20::kProcOffsets[procedure];
}

extern const MIDL_STUB_DESC kNdr64Descriptor;

constinit const RPC_DISPATCH_FUNCTION kNdr64Functions[] = {DispatchNdr64, nullptr};
constinit const RPC_DISPATCH_TABLE kNdr64Dispatch = {1, Writable(kNdr64Functions), 0};

constinit const MIDL_SYNTAX_INFO kNdr64Calls[] = {
    Ndr64Info(nullptr, ndr64::kProcTable<ndr64::kClientHalf>)};
constinit const MIDL_SYNTAX_INFO kNdr64CallbackSyntax[] = {
    Ndr64Info(&kNdr64Dispatch, ndr64::kCallbackTable)};

constinit const MIDL_STUBLESS_PROXY_INFO kNdr64Proxy = {
    &kNdr64Descriptor,     kProcFormatString, ndr20::kProcOffsets, Writable(&kNdr64Syntax), 1,
    Writable(kNdr64Calls),
};

constinit const MIDL_SERVER_INFO kNdr64Callbacks = {
    &kNdr64Descriptor,
    kRoutines.routines,
    kProcFormatString,
    ndr20::kCallbackOffsets,
    nullptr,
    Writable(&kNdr64Syntax),
    1,
    Writable(kNdr64CallbackSyntax),
};

constinit const RPC_CLIENT_INTERFACE kNdr64Interface = {
    sizeof(RPC_CLIENT_INTERFACE),
    kServiceRpcInterfaceId,
    kNdr64Syntax,
    Writable(&kNdr64Dispatch),
    0,
    nullptr,
    0,
    &kNdr64Callbacks,
    kInterfaceFlags,
};

constinit const MIDL_STUB_DESC kNdr64Descriptor =
    Descriptor(&kNdr64Interface, kStubVersion, kStubFlags, &kNdr64Proxy);

}  // namespace

constinit const MIDL_STUB_DESC kNdr20Descriptor =
    Descriptor(&kNdr20Interface, kNdr20Version, kNdr20Flags, nullptr);

const ClientHalf kNdr20Half = {
    [](handle_t binding, REQUEST_CONTEXT_HANDLE* context) {
        NdrClientCall2(Writable(&kNdr20Descriptor), Ndr20Format(kOpen), binding, context);
    },
    [](REQUEST_CONTEXT_HANDLE context,
       const wchar_t* command,
       boolean flag,
       long number,
       wchar_t* text) {
        NdrClientCall2(Writable(&kNdr20Descriptor), Ndr20Format(kRequest), context, command, flag,
                       number, text);
    },
    [](REQUEST_CONTEXT_HANDLE* context) {
        NdrClientCall2(Writable(&kNdr20Descriptor), Ndr20Format(kClose), context);
    }};

const ClientHalf kNdr64Half = {[](handle_t binding, REQUEST_CONTEXT_HANDLE* context) {
                                   NdrClientCall3(Writable(&kNdr64Proxy), kOpen, nullptr, binding,
                                                  context);
                               },
                               [](REQUEST_CONTEXT_HANDLE context,
                                  const wchar_t* command,
                                  boolean flag,
                                  long number,
                                  wchar_t* text) {
                                   NdrClientCall3(Writable(&kNdr64Proxy), kRequest, nullptr,
                                                  context, command, flag, number, text);
                               },
                               [](REQUEST_CONTEXT_HANDLE* context) {
                                   NdrClientCall3(Writable(&kNdr64Proxy), kClose, nullptr, context);
                               }};
