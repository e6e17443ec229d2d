// The simulated modem in the process of the test: its state (simulator/modem/README.md), and the
// objects and strings of it that the product holds. Include it in one source of a test program.
#pragma once

#include <windows.h>
#include <objbase.h>
#include <oleauto.h>

#include <string>

#include "tests/support/interposed.h"
#include "tests/support/registryvalues.h"

inline constexpr wchar_t kModem[] = L"SOFTWARE\\Tessel Simulator\\Modem";

// The sum of the objects that were alive when threads left their apartments, while g_watch is on.
inline LONG g_aliveWhenLeft = 0;

inline LONG g_freedStrings = 0;

// Returns a function of the modem, which stays loaded, so that its counters stay.
template <typename Function>
Function* OfModem(const char* name) {
    static const HMODULE modem = [] {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        std::wstring folder = path;
        folder.resize(folder.find_last_of(L'\\') + 1);
        return LoadLibraryW((folder + L"..\\..\\simulator\\modem\\tesselmodem.dll").c_str());
    }();
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(modem, name)));
}

inline LONG LiveObjects() {
    return OfModem<LONG()>("SimulatedModemLiveObjects")();
}

inline void NoteLeaving() {
    g_aliveWhenLeft += g_watch.on ? LiveObjects() : 0;
}

inline void NoteFreeing(BSTR text) {
    g_freedStrings += text != nullptr ? 1 : 0;
}

INTERPOSE(CoInitializeEx, kEnters);
INTERPOSE_NOTED(CoUninitialize, kCloses, NoteLeaving);
INTERPOSE_NOTED(SysFreeString, kNone, NoteFreeing);

// Registers the classes of the simulated modem, or removes them.
inline void RegisterModem(bool present) {
    const auto call = OfModem<HRESULT()>(present ? "DllRegisterServer" : "DllUnregisterServer");
    ASSERT_TRUE(call != nullptr && call() == S_OK);
}

// Returns the number of objects and strings of the modem that are not released.
inline LONG HeldOfModem() {
    return LiveObjects() + OfModem<LONG()>("SimulatedModemStringsGiven")() - g_freedStrings;
}

// Returns the registry key of the modem (""), of an interface ("0") or of a profile
// ("0\\Profiles\\0").
inline std::wstring Modem(const std::wstring& place) {
    return place.empty() ? kModem : std::wstring(kModem) + L"\\" + place;
}

// Makes a function of the modem fail with E_PENDING. `name` names it: "FailConnect".
inline void FailModem(const std::wstring& place, const wchar_t* name) {
    Store(Modem(place), name, static_cast<DWORD>(E_PENDING));
}

// Removes all interfaces.
inline void ClearModem() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
}

// Adds an interface with identities that end with its number: "iccid0".
inline void AddInterface(const std::wstring& place, DWORD ready_state = 1) {
    Store(Modem(place), L"ReadyState", ready_state);
    Store(Modem(place), L"SubscriberId", L"subscriber" + place);
    Store(Modem(place), L"SimIccId", L"iccid" + place);
    Store(Modem(place), L"ProviderId", L"id" + place);
    Store(Modem(place), L"ProviderName", L"name" + place);
}
