// What the two stub halves share: the identity of ServiceRpcInterface and how its tables are handed
// to the RPC runtime.
#pragma once

#include <windows.h>
#include <rpc.h>
#include <rpcndr.h>

#include "rpc/ndrtables.h"

// An app's connection as both sides hold it: opaque in the app, a RequestContext in the service.
using REQUEST_CONTEXT_HANDLE = void*;

inline constexpr RPC_SYNTAX_IDENTIFIER kServiceRpcInterfaceId = {
    {0x7f215fb3, 0x587b, 0x423e, {0x9f, 0x10, 0xab, 0x48, 0x3b, 0xc4, 0xd2, 0x4d}},
    {1, 0}};
inline constexpr RPC_SYNTAX_IDENTIFIER kNdr20Syntax = {
    {0x8a885d04, 0x1ceb, 0x11c9, {0x9f, 0xe8, 0x08, 0x00, 0x2b, 0x10, 0x48, 0x60}},
    {2, 0}};
inline constexpr RPC_SYNTAX_IDENTIFIER kNdr64Syntax = {
    {0x71710533, 0xbeba, 0x4937, {0x83, 0x19, 0xb5, 0xdb, 0xef, 0x9c, 0xcc, 0x36}},
    {1, 0}};

// Has callbacks, has multiple transfer syntaxes.
inline constexpr unsigned int kInterfaceFlags = 0x04000000 | 0x02000000;

// Stub descriptor: format of the tables, the compiler generation that defined it, multiple
// syntaxes.
inline constexpr unsigned long kStubVersion = 0x60001;
inline constexpr unsigned long kMidlVersion = 0x8010274;
inline constexpr ULONG_PTR kStubFlags = 0x2000001;

inline constexpr ULONG_PTR kSyntaxCount = 2;

inline PFORMAT_STRING TypeString() {
    return reinterpret_cast<PFORMAT_STRING>(&ndr20::kTypeFormat.format);
}

inline PFORMAT_STRING ProcString() {
    return reinterpret_cast<PFORMAT_STRING>(&ndr20::kProcFormat<kNdrTarget>.format);
}

// The runtime declares its inputs writable but only reads them.
template <typename T>
T* Writable(const T* value) {
    return const_cast<T*>(value);
}

// The two syntaxes, NDR 2.0 first, over one set of procedures: its offsets in the NDR 2.0 string
// and its table of NDR64 procedures, which the runtime takes through a pointer of the same type. A
// side that only calls these procedures has no dispatch tables.
inline MIDL_SYNTAX_INFO Ndr20Info(RPC_DISPATCH_TABLE* dispatch, const std::uint16_t* offsets) {
    return {kNdr20Syntax, dispatch, ProcString(), offsets, TypeString(), nullptr, 0, 0};
}

inline MIDL_SYNTAX_INFO Ndr64Info(RPC_DISPATCH_TABLE* dispatch, const void* const* procedures) {
    return {kNdr64Syntax, dispatch, nullptr, reinterpret_cast<const unsigned short*>(procedures),
            nullptr,      nullptr,  0,       0};
}
