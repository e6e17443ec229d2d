// Starts and stops the RPC server.
#pragma once

#include <windows.h>
#include <rpc.h>

// Opens the endpoint for everyone and for the package of the settings app, registers the interface
// and listens. Call it once. Calls RpcServerUseProtseqEpW, RpcServerRegisterIf3 and
// RpcServerListen.
//
// Blocks while the server listens. Returns the Win32 or RPC status of the first step that failed;
// the endpoint and the interface stay registered then, everything else is released. RPC_S_OK if the
// process listens already.
RPC_STATUS RpcServerStart();

// Unregisters the interface and the endpoint; does not end the listening. Asks not to wait for
// calls in progress, but Windows always waits for the calls of an auto-listen interface. Logs every
// step, also those with nothing to do. Calls RpcServerUnregisterIf and RpcEpUnregister.
void RpcServerDisconnect();
