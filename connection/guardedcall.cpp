#include "connection/guardedcall.h"

#include <rpc.h>

// Not every header set declares it.
extern "C" RPCRTAPI int RPC_ENTRY RpcExceptionFilter(unsigned long ExceptionCode);

DWORD CallGuarded(void (*function)(void*), void* argument) {
    DWORD status = ERROR_SUCCESS;
    RpcTryExcept {
        function(argument);
    }
    // The code is read here, because Wine does not pass it to the handler.
    RpcExcept((status = RpcExceptionCode(), RpcExceptionFilter(status))) {}
    RpcEndExcept;
    return status;
}
