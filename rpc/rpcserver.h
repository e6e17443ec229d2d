// The life of the RPC server: its endpoint, its security and its interface.
#pragma once

#include <windows.h>
#include <rpc.h>

// Opens the endpoint for everyone and for the settings app's package, registers the interface and
// listens. To be called once. Calls RpcServerUseProtseqEpW, RpcServerRegisterIf3 and
// RpcServerListen.
//
// Blocks while the server listens; returns the Win32 or RPC status of the first step that failed,
// with everything but the registrations released. RPC_S_OK when another listener of the process
// serves the interface.
RPC_STATUS RpcServerStart();

// Unregisters the interface and the endpoint; the listener goes on. Asks not to wait for calls in
// progress, but the interface is an auto-listen one, and Windows waits for those of such an
// interface whatever was asked. Logs its steps, those that there is nothing for too. Calls
// RpcServerUnregisterIf and RpcEpUnregister.
void RpcServerDisconnect();
