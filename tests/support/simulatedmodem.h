// The simulated modem in the process of the test: its state (simulator/modem/README.md), and the
// objects and strings of it that the product holds. Interposes CoInitializeEx, CoUninitialize and
// SysFreeString.
#pragma once

#include <windows.h>

#include <string>

// Registers the classes of the simulated modem, or removes them.
void RegisterModem(bool present);

// The number of objects and strings of the modem that are not released.
LONG HeldOfModem();

// The sum of the objects that were alive when threads left their apartments, while g_watch is on.
extern LONG g_aliveWhenLeft;

// The registry key of the modem (""), of an interface ("0") or of a profile ("0\\Profiles\\0").
std::wstring Modem(const std::wstring& place);

// Lets the function of the modem that the value names fail with E_PENDING.
void FailModem(const std::wstring& place, const wchar_t* name);

// Removes all interfaces.
void ClearModem();

// Adds an interface with identities that end with its number: "iccid0".
void AddInterface(const std::wstring& place, DWORD ready_state = 1);
