// The address of the service, for itself and for its clients. Nothing here needs Windows.
#pragma once

#define PROTOCOL_SEQUENCE L"ncalrpc"
#define ENDPOINT L"TesselRpcEndpoint"

// Local RPC, and the name of the endpoint.
inline constexpr wchar_t kProtocolSequence[] = PROTOCOL_SEQUENCE;
inline constexpr wchar_t kEndpoint[] = ENDPOINT;

// Both in one, as RpcBindingFromStringBindingW takes them.
inline constexpr wchar_t kStringBinding[] = PROTOCOL_SEQUENCE L":[" ENDPOINT L"]";

#undef PROTOCOL_SEQUENCE
#undef ENDPOINT

// The most requests that are served at once.
inline constexpr unsigned kConcurrentCalls = 1234;

// The package family of the settings app. The capability with this name is admitted.
inline constexpr wchar_t kSettingsAppPackage[] =
    L"BRAMBLEELECTRONICSCoLtd.TesselSettings_k2m8qz4tr7vnb";
