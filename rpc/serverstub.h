// The server half of ServiceRpcInterface.
#pragma once

#include "rpc/stubs.h"

// What RpcServerRegisterIf3 and its counterparts take.
extern const RPC_SERVER_INTERFACE kServiceRpcServerInterface;

// The server's stub descriptor, shared by its procedures and its callback.
extern const MIDL_STUB_DESC kServerStubDescriptor;
