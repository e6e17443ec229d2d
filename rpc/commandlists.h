// The command strings that reach each family, in comparison order.
#pragma once

#include <algorithm>
#include <cwchar>
#include <span>

// Kept: without GETDEVICENAME, which the family has.
inline constexpr const wchar_t* kRegistryHelperCommands[] = {
    // Kept: ADDTIONAL, and QEURY below, as the settings app sends them.
    L"REGISTRYHELPER_CHECKADDTIONALPENSETTING",
    L"REGISTRYHELPER_GETPENSETTING",
    L"REGISTRYHELPER_SETPENSETTING",
    L"REGISTRYHELPER_GETPENCLICKSETTING",
    L"REGISTRYHELPER_SETPENCLICKSETTING",
    L"REGISTRYHELPER_GETPENPRESSURESENSITIVITY",
    L"REGISTRYHELPER_SETPENPRESSURESENSITIVITY",
    L"REGISTRYHELPER_SETSCREENMODE",
    L"REGISTRYHELPER_GETSCREENMODE",
    // Kept: the three that the family does not answer.
    L"REGISTRYHELPER_SETDIMMINGTIME",
    L"REGISTRYHELPER_GETDIMMINGTIME",
    L"REGISTRYHELPER_ISSMARTDIMMINGSUPPORT",
    L"REGISTRYHELPER_ISVZWQ",
};

inline constexpr const wchar_t* kCommonHelperCommands[] = {
    L"COMMONHELPER_ISFILE_EXISTS",
    L"COMMONHELPER_READEULADOCUMENT",
};

inline constexpr const wchar_t* kMbnHelperCommands[] = {
    L"MBNHELPER_GETNETWORKMODE", L"MBNHELPER_SETNETWORKMODE",      L"MBNHELPER_CHECKINTERFACE",
    L"MBNHELPER_CHECKSIMSTATUS", L"MBNHELPER_GETHOMEPROVIDERID",   L"MBNHELPER_CONNECT",
    L"MBNHELPER_DISCONNECT",     L"MBNHELPER_GETHOMEPROVIDERNAME", L"MBNHELPER_GETSUBSCRIBERID",
    L"MBNHELPER_GETSIMICCID",    L"MBNHELPER_GETRECOMMENDPROFILE", L"MBNHELPER_CREATEPROFILE",
    L"MBNHELPER_DELETEPROFILE",  L"MBNHELPER_QEURYPROFILE",        L"MBNHELPER_UPDATEPROFILE",
    L"MBNHELPER_CREATEAPNDB",
};

inline constexpr const wchar_t* kBleHelperCommands[] = {
    L"BLEHELPER_GETBLE",
    L"BLEHELPER_SETBLE",
    L"BLEHELPER_ISBLESUPPORT",
};

inline constexpr const wchar_t* kUsbPathChangerCommands[] = {
    L"USBPATHCHANGER_SMGETMUICSTATUS",
    L"USBPATHCHANGER_CHANGEUSBPATHTOCP",
    L"USBPATHCHANGER_CHANGEUSBPATHTOAP",
};

// Whether `command` is in the list: compared whole and case-sensitively.
inline bool ListsCommand(std::span<const wchar_t* const> commands, const wchar_t* command) {
    return std::ranges::any_of(
        commands, [=](const wchar_t* name) { return std::wcscmp(command, name) == 0; });
}
