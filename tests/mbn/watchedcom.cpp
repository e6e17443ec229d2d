#include "tests/mbn/watchedcom.h"

#include <objbase.h>
#include <oleauto.h>

#include <gtest/gtest.h>

#include <string>

#include "tests/support/replacedimport.h"

namespace {

WatchedCom g_watched;

template <typename Function>
Function* Find(HMODULE library, const char* name) {
    return reinterpret_cast<Function*>(reinterpret_cast<void*>(GetProcAddress(library, name)));
}

// Counts the call and tells whether it is the one that fails.
bool Fails(WatchedCall& call) {
    return InterlockedIncrement(&call.calls) == call.failing_call;
}

// Kept loaded for its counts.
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

// The function of Windows itself.
#define REAL(library, function) \
    static auto* const real = Find<decltype(function)>(LoadLibraryW(library), #function)

HRESULT WINAPI WatchedJoin(void* reserved, DWORD flags) {
    REAL(L"ole32", CoInitializeEx);
    EXPECT_EQ(flags, 0u);
    // The product leaves also when it could not join, so the real apartment is joined all the same.
    const HRESULT result = real(reserved, flags);
    return Fails(g_watched.join) ? E_FAIL : result;
}

void WINAPI WatchedLeave() {
    REAL(L"ole32", CoUninitialize);
    InterlockedIncrement(&g_watched.left);
    InterlockedExchangeAdd(&g_watched.alive_when_left, SimulatedModemLiveObjects());
    real();
}

HRESULT WINAPI WatchedLowerBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
    REAL(L"oleaut32", SafeArrayGetLBound);
    return Fails(g_watched.lower_bound) ? E_FAIL : real(array, dimension, bound);
}

HRESULT WINAPI WatchedUpperBound(SAFEARRAY* array, UINT dimension, LONG* bound) {
    REAL(L"oleaut32", SafeArrayGetUBound);
    return Fails(g_watched.upper_bound) ? E_FAIL : real(array, dimension, bound);
}

HRESULT WINAPI WatchedElement(SAFEARRAY* array, LONG* index, void* element) {
    REAL(L"oleaut32", SafeArrayGetElement);
    return Fails(g_watched.element) ? E_FAIL : real(array, index, element);
}

void WINAPI WatchedFree(BSTR text) {
    REAL(L"oleaut32", SysFreeString);
    if (text != nullptr) {
        InterlockedIncrement(&g_watched.freed_strings);
    }
    real(text);
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
    ASSERT_EQ(Find<HRESULT()>(Modem(), present ? "DllRegisterServer" : "DllUnregisterServer")(),
              S_OK);
}

LONG SimulatedModemLiveObjects() {
    return Find<LONG()>(Modem(), "SimulatedModemLiveObjects")();
}

LONG SimulatedModemStringsGiven() {
    return Find<LONG()>(Modem(), "SimulatedModemStringsGiven")();
}
