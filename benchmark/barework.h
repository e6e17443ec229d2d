// The work that the bare server can be told to do.
#pragma once

inline constexpr wchar_t kBareEndpoint[] = L"TesselBareEndpoint";

// The only command that the bare server reads. Its number is the BareWork of all later commands,
// its text is the path of the document to send.
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
