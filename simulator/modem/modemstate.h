// The state of the simulated modem in the registry (README.md). A place is a path below the modem's
// key: "" is the modem, "0" its first interface, "0\Profiles\0" a profile of that interface. Any
// thread may call these functions; a lock serializes changes.
#pragma once

#include <windows.h>

#include <optional>
#include <string>
#include <vector>

// Returns the places of the interfaces, in order.
std::vector<std::wstring> Interfaces();

// Returns the places of the profiles of an interface.
std::vector<std::wstring> Profiles(const std::wstring& mbn_interface);

// Return a value. Return nothing if it is missing or has the wrong type.
std::optional<DWORD> ReadNumber(const std::wstring& place, const wchar_t* name);
std::optional<std::wstring> ReadText(const std::wstring& place, const wchar_t* name);

// Sets a value, and creates the place if it is missing.
void WriteNumber(const std::wstring& place, const wchar_t* name, DWORD value);

// Returns the value of `place`, or of the nearest place above it that has the value. 0 if there is
// none.
DWORD InheritedNumber(std::wstring place, const wchar_t* name);

// Do the work of the API functions with these names. Return the HRESULTs of Windows.
HRESULT ConnectInterface(const std::wstring& mbn_interface, const wchar_t* profile_name);
HRESULT DisconnectInterface(const std::wstring& mbn_interface);
HRESULT CreateProfile(const wchar_t* document);
HRESULT DeleteProfile(const std::wstring& profile);
