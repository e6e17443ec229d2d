// Stands for the header that the platform's interface compiler makes of tesselservice.idl, so that
// the example is compiled and run where that compiler is not. Included once, by client.cpp.
#pragma once

#include "rpc/clientstub.h"

// The interface compiler declares the texts of the callback as the definition has them: writable.
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text);

void ReportResult(const wchar_t* command, boolean flag, long number, const wchar_t* text) {
    ReportResult(const_cast<wchar_t*>(command), flag, number, const_cast<wchar_t*>(text));
}

// No structured exceptions in this compiler's C++: the guarded block alone.
#undef RpcTryExcept
#undef RpcExcept
#undef RpcEndExcept
#undef RpcExceptionCode
#define RpcTryExcept
#define RpcExcept(filter) if (false)
#define RpcEndExcept
#define RpcExceptionCode() RPC_S_OK
