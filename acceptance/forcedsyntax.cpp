// Client halves of the interface that offer one transfer syntax each, as an interface compiler
// makes them with /protocol dce and /protocol ndr64.
#include "acceptance/exchange.h"
#include "rpc/stub/stubs.h"

namespace {

enum ProcedureNumber : unsigned long { kOpen, kClose, kRequest };

constinit RPC_BINDING_HANDLE g_unusedBinding = nullptr;

struct Callbacks {
    decltype(&ReportResult) report_result;
};
constinit const RoutineTable<Callbacks, 1> kRoutines = {{ReportResult}};

// The descriptors of one half, which point to each other. With NDR 2.0 alone they have the form of
// compilers that knew no other syntax.
struct Descriptors {
    bool ndr64;
    RPC_DISPATCH_FUNCTION functions[2] = {ndr64 ? DispatchNdr64 : DispatchNdr20, nullptr};
    RPC_DISPATCH_TABLE dispatch = {1, functions, 0};
    RPC_SYNTAX_IDENTIFIER* syntax = ndr64 ? Writable(&kNdr64Syntax) : nullptr;
    MIDL_SYNTAX_INFO calls = Ndr64Info(nullptr, ndr64::kProcTable<ndr64::kClientHalf>);
    MIDL_SYNTAX_INFO callbacks = Ndr64Info(&dispatch, ndr64::kCallbackTable);
    MIDL_STUBLESS_PROXY_INFO proxy = {&stub, kProcFormatString, ndr20::kProcOffsets, syntax, 1,
                                      &calls};
    MIDL_SERVER_INFO server = {
        &stub,  kRoutines.routines, kProcFormatString,           ndr20::kCallbackOffsets, nullptr,
        syntax, ndr64 ? 1U : 0U,    ndr64 ? &callbacks : nullptr};
    RPC_CLIENT_INTERFACE interface_description = {sizeof(RPC_CLIENT_INTERFACE),
                                                  kServiceRpcInterfaceId,
                                                  ndr64 ? kNdr64Syntax : kNdr20Syntax,
                                                  &dispatch,
                                                  0,
                                                  nullptr,
                                                  0,
                                                  &server,
                                                  ndr64 ? kInterfaceFlags : 0x04000000};
    // NDR 2.0 alone has the version of tables without other syntaxes.
    MIDL_STUB_DESC stub = {&interface_description,
                           MIDL_user_allocate,
                           MIDL_user_free,
                           {&g_unusedBinding},
                           nullptr,
                           nullptr,
                           nullptr,
                           nullptr,
                           kTypeFormatString,
                           1,
                           ndr64 ? kStubVersion : 0x50002,
                           nullptr,
                           kMidlVersion,
                           nullptr,
                           nullptr,
                           nullptr,
                           ndr64 ? kStubFlags : 1,
                           nullptr,
                           ndr64 ? &proxy : nullptr,
                           0};
};
constinit Descriptors g_ndr20 = {false};
constinit Descriptors g_ndr64 = {true};

constexpr auto kCallNdr20 = [](ProcedureNumber procedure, auto... arguments) {
    NdrClientCall2(&g_ndr20.stub, kProcFormatString + ndr20::kProcOffsets[procedure], arguments...);
};
constexpr auto kCallNdr64 = [](ProcedureNumber procedure, auto... arguments) {
    NdrClientCall3(&g_ndr64.proxy, procedure, nullptr, arguments...);
};

template <auto call>
constexpr ClientHalf kHalf = {
    [](handle_t binding, REQUEST_CONTEXT_HANDLE* context) { call(kOpen, binding, context); },
    [](REQUEST_CONTEXT_HANDLE context,
       const wchar_t* command,
       boolean flag,
       long number,
       wchar_t* text) { call(kRequest, context, command, flag, number, text); },
    [](REQUEST_CONTEXT_HANDLE* context) { call(kClose, context); }};

}  // namespace

constinit MIDL_STUB_DESC& g_ndr20Descriptor = g_ndr20.stub;
const ClientHalf kNdr20Half = kHalf<kCallNdr20>;
const ClientHalf kNdr64Half = kHalf<kCallNdr64>;
