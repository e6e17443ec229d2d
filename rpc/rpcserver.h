// The life of the RPC server: its endpoint, its security and its interface.
#pragma once

#include <windows.h>
#include <rpc.h>

// The package family of the settings app: the capability of this name is let in.
inline constexpr wchar_t kSettingsAppPackage[] =
    L"BRAMBLEELECTRONICSCoLtd.TesselSettings_k2m8qz4tr7vnb";

// Opens the endpoint for everyone and for the settings app's package, registers the interface and
// listens. Blocks while the server listens; returns the Win32 or RPC status of the first step that
// failed, with everything but the registrations released. RPC_S_OK when another listener of the
// process serves the interface. Stands on RpcServerUseProtseqEpW, RpcServerRegisterIf3 and
// RpcServerListen. Call once.
RPC_STATUS RpcServerStart();

// Unregisters the interface and the endpoint without waiting for calls in progress or ending the
// listener. Logs its steps. Stands on RpcServerUnregisterIf and RpcEpUnregister.
void RpcServerDisconnect();
