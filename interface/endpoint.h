// The address of the service, for itself and for its clients. Nothing here needs Windows.
#pragma once

#define PROTOCOL_SEQUENCE L"ncalrpc"
#define ENDPOINT L"TesselRpcEndpoint"

inline constexpr wchar_t kProtocolSequence[] = PROTOCOL_SEQUENCE;
inline constexpr wchar_t kEndpoint[] = ENDPOINT;

// Both values in the form for RpcBindingFromStringBindingW.
inline constexpr wchar_t kStringBinding[] = PROTOCOL_SEQUENCE L":[" ENDPOINT L"]";

#undef PROTOCOL_SEQUENCE
#undef ENDPOINT

// The number of concurrent calls that is passed to the RPC runtime.
inline constexpr unsigned kConcurrentCalls = 1234;

// The package family name of the settings app. The capability with this name is admitted.
inline constexpr wchar_t kSettingsAppPackage[] =
    L"BRAMBLEELECTRONICSCoLtd.TesselSettings_k2m8qz4tr7vnb";
