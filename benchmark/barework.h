// The kinds of work of the bare server.
#pragma once

inline constexpr wchar_t kBareEndpoint[] = L"TesselBareEndpoint";
inline constexpr wchar_t kBareStringBinding[] = L"ncalrpc:[TesselBareEndpoint]";

// The only command that the bare server interprets. Its number is the BareWork for all later
// requests, its text the path of the document to send.
inline constexpr wchar_t kChooseWork[] = L"CHOOSE";

enum class BareWork : long {
    kAnswer,
    kReadSetting,
    kWriteSetting,
    kRouteToModem,
    kRouteToWindows,
    kSendDocument,
    kReadAndSendDocument,
    kReadyState,
    kSimIccId,
};
