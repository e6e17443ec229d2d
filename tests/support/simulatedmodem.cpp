#include "tests/support/simulatedmodem.h"

#include <objbase.h>
#include <oleauto.h>

#include <gtest/gtest.h>

#include "tests/support/interposed.h"
#include "tests/support/registryvalues.h"

LONG g_aliveWhenLeft = 0;

namespace {

constexpr wchar_t kModem[] = L"SOFTWARE\\Tessel Simulator\\Modem";
LONG g_freed_strings = 0;

// Stays loaded, so that its counters stay.
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

LONG LiveObjects() {
    return OfModem<LONG()>("SimulatedModemLiveObjects")();
}

}  // namespace

INTERPOSE(CoInitializeEx, kEnters);
INTERPOSE_BY(CoUninitialize,
             kCloses,
             ((g_aliveWhenLeft += g_watch.on ? LiveObjects() : 0),
              Windows<Watched_CoUninitialize, decltype(CoUninitialize)>::Act()));
INTERPOSE_BY(SysFreeString,
             kNone,
             (InterlockedExchangeAdd(&g_freed_strings, (... && (arguments != nullptr)) ? 1 : 0),
              Windows<Watched_SysFreeString, decltype(SysFreeString)>::Act(arguments...)));

std::wstring Modem(const std::wstring& place) {
    return place.empty() ? kModem : std::wstring(kModem) + L"\\" + place;
}

void RegisterModem(bool present) {
    const auto call = OfModem<HRESULT()>(present ? "DllRegisterServer" : "DllUnregisterServer");
    ASSERT_TRUE(call != nullptr && call() == S_OK);
}

LONG HeldOfModem() {
    return LiveObjects() + OfModem<LONG()>("SimulatedModemStringsGiven")() - g_freed_strings;
}

void FailModem(const std::wstring& place, const wchar_t* name) {
    Store(Modem(place), name, static_cast<DWORD>(E_PENDING));
}

void ClearModem() {
    RegDeleteTreeW(HKEY_LOCAL_MACHINE, kModem);
}

void AddInterface(const std::wstring& place, DWORD ready_state) {
    Store(Modem(place), L"ReadyState", ready_state);
    Store(Modem(place), L"SubscriberId", L"subscriber" + place);
    Store(Modem(place), L"SimIccId", L"iccid" + place);
    Store(Modem(place), L"ProviderId", L"id" + place);
    Store(Modem(place), L"ProviderName", L"name" + place);
}
