// The simulated modem's state in the registry (README.md). Places are paths below the modem's key:
// "" is the modem, "0" its first interface, "0\Profiles\0" a profile of that. Any thread may call;
// a lock of the process serializes changes.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// The interfaces, in order.
std::vector<std::wstring> Interfaces();

// The profiles of an interface.
std::vector<std::wstring> Profiles(const std::wstring& mbn_interface);

// A value; nothing if it is missing or has the wrong type.
std::optional<DWORD> ReadNumber(const std::wstring& place, const wchar_t* name);
std::optional<std::wstring> ReadText(const std::wstring& place, const wchar_t* name);

// Sets a value, and creates the place if it is missing.
void WriteNumber(const std::wstring& place, const wchar_t* name, DWORD value);

// The value of `place`, or of the nearest place above it that has one; 0 if none has.
DWORD InheritedNumber(std::wstring place, const wchar_t* name);

// Do the work of the API's functions of these names. The HRESULTs are those of Windows.
HRESULT ConnectInterface(const std::wstring& mbn_interface, const wchar_t* profile_name);
HRESULT DisconnectInterface(const std::wstring& mbn_interface);
HRESULT CreateProfile(const wchar_t* document);
HRESULT DeleteProfile(const std::wstring& profile);
