// The simulated modem in the test's own process: its state (simulator/modem/README.md), and what
// the product holds of it. Linking this interposes CoInitializeEx, CoUninitialize and
// SysFreeString.
#pragma once

#include <windows.h>

#include <string>

// Registers the classes of the simulated modem, or removes them.
void RegisterModem(bool present);

// The objects and strings of the modem that were not given back.
LONG HeldOfModem();

// The objects that were alive when a thread left its apartment, added up while g_watch is on.
extern LONG g_aliveWhenLeft;

// The key of a place of the modem: of "" itself, of "0" an interface, of "0\\Profiles\\0" a
// profile.
std::wstring Modem(const std::wstring& place);

// Lets the modem's call named by the value fail with E_PENDING.
void FailModem(const std::wstring& place, const wchar_t* name);

// A modem without interfaces.
void ClearModem();

// An interface whose identity ends with its number: "iccid0".
void AddInterface(const std::wstring& place, DWORD ready_state = 1);
