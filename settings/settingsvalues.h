// The registry values of the settings, all under HKEY_LOCAL_MACHINE. tesselctl also checks these
// values and grants rights to their keys.
#pragma once

#include <windows.h>

struct RegistryValue {
    const wchar_t* key;
    const wchar_t* name;
    // The type of the stored value.
    DWORD type;
};

inline constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Bramble\\BrambleSettings";
inline constexpr wchar_t kPenOptionKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenOption";
inline constexpr wchar_t kPenPressureKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenPressureTH";
inline constexpr wchar_t kClickNoteKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote\\OemCustomizationSettingsApp";

inline constexpr RegistryValue kButtonAction = {kPenOptionKey, L"ButtonAction", REG_DWORD};
inline constexpr RegistryValue kClickAction = {kPenOptionKey, L"ClickAction", REG_DWORD};
inline constexpr RegistryValue kPressureThreshold = {kPenPressureKey, L"PressureTH", REG_DWORD};
inline constexpr RegistryValue kScreenMode = {kSettingsKey, L"ScreenMode", REG_DWORD};
inline constexpr RegistryValue kColorProfile = {kSettingsKey, L"ColorProfile", REG_DWORD};
inline constexpr RegistryValue kCustomProtocol = {kClickNoteKey, L"CustomProtocol", REG_SZ};

// The values that requests read and write.
inline constexpr RegistryValue kSettingsValues[] = {
    kButtonAction, kClickAction, kPressureThreshold, kScreenMode, kColorProfile, kCustomProtocol,
};

// The name of the device. Not in the list, because the command that reads it is not routed.
inline constexpr RegistryValue kProductName = {L"HARDWARE\\DESCRIPTION\\System\\BIOS",
                                               L"SystemProductName", REG_SZ};
