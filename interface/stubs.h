// What the server stub and the client stub share: the identity of ServiceRpcInterface, and its
// tables in the form for the RPC runtime. Every table and descriptor is a constant in read-only
// memory, where tools that read RPC interfaces from program files find it.
#pragma once

#include "interface/tesselservice.h"

#include "interface/ndrtables.h"

inline constexpr RPC_SYNTAX_IDENTIFIER kServiceRpcInterfaceId = {
    {0x7f215fb3, 0x587b, 0x423e, {0x9f, 0x10, 0xab, 0x48, 0x3b, 0xc4, 0xd2, 0x4d}},
    {1, 0}};
inline constexpr RPC_SYNTAX_IDENTIFIER kNdr20Syntax = {
    {0x8a885d04, 0x1ceb, 0x11c9, {0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}},
    {2, 0}};
inline constexpr RPC_SYNTAX_IDENTIFIER kNdr64Syntax = {
    {0x71710533, 0xbeba, 0x4937, {0x83, 0x19, 0xb5, 0xdb, 0xef, 0x9c, 0xcc, 0x36}},
    {1, 0}};

// The interface has callbacks and multiple transfer syntaxes.
inline constexpr unsigned int kInterfaceFlags = 0x04000000 | 0x02000000;

// For the stub descriptor: the format of the tables, the compiler version with this format, and the
// flag for multiple syntaxes.
inline constexpr unsigned long kStubVersion = 0x60001;
inline constexpr unsigned long kMidlVersion = 0x8010274;
inline constexpr ULONG_PTR kStubFlags = 0x2000001;

inline constexpr ULONG_PTR kSyntaxCount = 2;

inline constexpr PFORMAT_STRING kTypeFormatString = ndr20::kTypeString.bytes;
inline constexpr PFORMAT_STRING kProcFormatString = ndr20::kProcString.bytes;

// For parameters that the runtime only reads, but declares without const.
template <typename T>
constexpr T* Writable(const T* value) {
    return const_cast<T*>(value);
}

// The functions of a dispatch table. The address of an imported function is not a constant.
inline void __RPC_STUB DispatchNdr20(PRPC_MESSAGE message) {
    NdrServerCall2(message);
}
inline void __RPC_STUB DispatchNdr64(PRPC_MESSAGE message) {
    NdrServerCallAll(message);
}

// The program's functions as a table of the type that the RPC headers require. The runtime calls
// each function by its description in the format tables, not by this type.
template <typename Functions, std::size_t count>
union RoutineTable {
    Functions functions;
    SERVER_ROUTINE routines[count];

    static_assert(sizeof(Functions) == count * sizeof(SERVER_ROUTINE));
};

// Describe a set of procedures in each syntax. A stub that only calls the procedures has no
// dispatch tables.
constexpr MIDL_SYNTAX_INFO Ndr20Info(const RPC_DISPATCH_TABLE* dispatch,
                                     const std::uint16_t* offsets) {
    return {kNdr20Syntax,
            Writable(dispatch),
            kProcFormatString,
            offsets,
            kTypeFormatString,
            nullptr,
            0,
            0};
}

template <std::size_t count>
constexpr MIDL_SYNTAX_INFO Ndr64Info(const RPC_DISPATCH_TABLE* dispatch,
                                     const ndr64::ProcTable<count>& procedures) {
    return {kNdr64Syntax, Writable(dispatch), nullptr, &procedures.offsets, nullptr, nullptr, 0, 0};
}

// The stub descriptor of the server, for its procedures and for the callback.
extern const MIDL_STUB_DESC kServerStubDescriptor;
