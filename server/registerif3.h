// RpcServerRegisterIf3, which not every header set declares.
#pragma once

#include <windows.h>
#include <rpc.h>

extern "C" RPCRTAPI RPC_STATUS RPC_ENTRY RpcServerRegisterIf3(RPC_IF_HANDLE IfSpec,
                                                              UUID* MgrTypeUuid,
                                                              RPC_MGR_EPV* MgrEpv,
                                                              unsigned int Flags,
                                                              unsigned int MaxCalls,
                                                              unsigned int MaxRpcSize,
                                                              RPC_IF_CALLBACK_FN* IfCallback,
                                                              void* SecurityDescriptor);
