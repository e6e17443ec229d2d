// What the bare server can be told to do.
#pragma once

inline constexpr wchar_t kBareEndpoint[] = L"TesselBareEndpoint";

// The one command that the bare server looks at: its number is the BareWork of all that follow, its
// text the document of the works that send one.
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
