// Stands for the header that the platform's interface compiler makes of tesselservice.idl, so that
// the example is compiled and run where that compiler is not.
#pragma once

#include "rpc/stub/tesselservice.h"

// No structured exceptions in this compiler's C++: the guarded block alone.
#undef RpcTryExcept
#undef RpcExcept
#undef RpcEndExcept
#undef RpcExceptionCode
#define RpcTryExcept
#define RpcExcept(filter) if (false)
#define RpcEndExcept
#define RpcExceptionCode() RPC_S_OK
