#include "tests/mbn/watchedcom.h"

#include <objbase.h>
#include <oleauto.h>

#include <gtest/gtest.h>

#include <string>

#include "tests/support/replacedimport.h"

namespace {

WatchedCom g_watched;

template <typename Function>
Function Find(const wchar_t* library, const char* name) {
    return reinterpret_cast<Function>(
        reinterpret_cast<void*>(GetProcAddress(LoadLibraryW(library), name)));
}

// Counts the call and tells whether it is the one that fails.
bool Fails(LONG& calls, LONG failing_call) {
    return InterlockedIncrement(&calls) == failing_call;
}

HRESULT WINAPI WatchedJoin(void* reserved, DWORD flags) {
    static auto* const real = Find<decltype(&CoInitializeEx)>(L"ole32.dll", "CoInitializeEx");
    EXPECT_EQ(reserved, nullptr);
    EXPECT_EQ(flags, 0u);
    // The product leaves the apartment also after a failure, so that the real one is joined all the
    // same.
    const bool fails = Fails(g_watched.joined, g_watched.fail_join);
    const HRESULT result = real(reserved, flags);
    return fails ? E_FAIL : result;
}

void WINAPI WatchedLeave() {
    static auto* const real = Find<decltype(&CoUninitialize)>(L"ole32.dll", "CoUninitialize");
    InterlockedIncrement(&g_watched.left);
    InterlockedExchangeAdd(&g_watched.alive_when_left, SimulatedModemLiveObjects());
    real();
}

HRESULT WINAPI WatchedLowerBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
    static auto* const real =
        Find<decltype(&SafeArrayGetLBound)>(L"oleaut32.dll", "SafeArrayGetLBound");
    return Fails(g_watched.lower_bounds, g_watched.fail_lower_bound)
               ? E_FAIL
               : real(array, dimension, bound);
}

HRESULT WINAPI WatchedUpperBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
    static auto* const real =
        Find<decltype(&SafeArrayGetUBound)>(L"oleaut32.dll", "SafeArrayGetUBound");
    return Fails(g_watched.upper_bounds, g_watched.fail_upper_bound)
               ? E_FAIL
               : real(array, dimension, bound);
}

HRESULT WINAPI WatchedElement(SAFEARRAY* array, LONG* index, void* element) {
    static auto* const real =
        Find<decltype(&SafeArrayGetElement)>(L"oleaut32.dll", "SafeArrayGetElement");
    return Fails(g_watched.elements, g_watched.fail_element) ? E_FAIL : real(array, index, element);
}

void WINAPI WatchedFree(BSTR text) {
    static auto* const real = Find<decltype(&SysFreeString)>(L"oleaut32.dll", "SysFreeString");
    if (text != nullptr) {
        InterlockedIncrement(&g_watched.freed_strings);
    }
    real(text);
}

HMODULE Modem() {
    static const HMODULE modem = [] {
        wchar_t path[MAX_PATH] = {};
        GetModuleFileNameW(nullptr, path, MAX_PATH);
        std::wstring folder = path;
        folder.resize(folder.find_last_of(L'\\') + 1);
        return LoadLibraryW((folder + MODEM_SERVER).c_str());
    }();
    return modem;
}

template <typename Result>
Result CallModem(const char* name) {
    auto* const function =
        reinterpret_cast<Result (*)()>(reinterpret_cast<void*>(GetProcAddress(Modem(), name)));
    return function();
}

}  // namespace

REPLACE_IMPORT(CoInitializeEx, WatchedJoin);
REPLACE_IMPORT(CoUninitialize, WatchedLeave);
REPLACE_IMPORT(SafeArrayGetLBound, WatchedLowerBound);
REPLACE_IMPORT(SafeArrayGetUBound, WatchedUpperBound);
REPLACE_IMPORT(SafeArrayGetElement, WatchedElement);
REPLACE_IMPORT(SysFreeString, WatchedFree);

WatchedCom& Watched() {
    return g_watched;
}

void RegisterModem(bool present) {
    ASSERT_NE(Modem(), nullptr);
    ASSERT_EQ(CallModem<HRESULT>(present ? "DllRegisterServer" : "DllUnregisterServer"), S_OK);
}

LONG SimulatedModemLiveObjects() {
    return CallModem<LONG>("SimulatedModemLiveObjects");
}

LONG SimulatedModemStringsGiven() {
    return CallModem<LONG>("SimulatedModemStringsGiven");
}
