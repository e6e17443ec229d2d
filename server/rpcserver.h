// Starts and stops the RPC server.
#pragma once

#include <windows.h>
#include <rpc.h>

// Opens the endpoint for Everyone and for the capability of the settings app, registers the
// interface and listens. Blocks while the server listens. Call it only once in a process. Calls
// RpcServerUseProtseqEpW, RpcServerRegisterIf3 and RpcServerListen.
//
// Returns the Win32 or RPC status of the first call that failed. Then the endpoint and the
// interface may stay registered; all memory is released. Returns RPC_S_OK if the process already
// listens.
RPC_STATUS RpcServerStart();

// Unregisters the interface and the endpoint. Does not stop the listening. Does not ask to wait for
// calls in progress, but Windows always waits for the calls of an auto-listen interface. Logs every
// step, also a step that has nothing to do. Calls RpcServerUnregisterIf and RpcEpUnregister.
void RpcServerDisconnect();
