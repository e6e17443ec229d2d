// Owning types for Windows resources.
#pragma once

#include <windows.h>
#include <oleauto.h>
#include <objbase.h>
#include <unknwn.h>
#include <winsvc.h>

#include <algorithm>
#include <cstdint>
#include <utility>

// Owns a handle or pointer and passes it to `close` when the scope ends. `empty` is the value that
// owns nothing. Movable, not copyable. The members do not throw.
template <typename T, auto close, std::intptr_t empty = 0>
class UniqueHandle {
 public:
    UniqueHandle() = default;
    explicit UniqueHandle(T value) : m_value(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : m_value(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) {
            reset(other.release());
        }
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    [[nodiscard]] T get() const { return m_value; }
    T operator->() const { return m_value; }
    explicit operator bool() const { return m_value != Empty(); }

    // Closes the owned value. Returns the address at which a Windows function stores a new one.
    T* put() {
        reset();
        return &m_value;
    }
    // Does the same for functions that store an untyped pointer (CoCreateInstance, QueryInterface).
    void** put_void() { return reinterpret_cast<void**>(put()); }

    // Gives the value to the caller, who must close it.
    T release() { return std::exchange(m_value, Empty()); }

    // Closes the owned value and takes ownership of `value`.
    void reset(T value = Empty()) {
        T old = std::exchange(m_value, value);
        if (old != Empty()) {
            close(old);
        }
    }

 private:
    // A template argument cannot be a pointer. NOLINTNEXTLINE(performance-no-int-to-ptr)
    static T Empty() { return reinterpret_cast<T>(empty); }

    T m_value = Empty();
};

// A handle of a function that returns null on failure (CreateEventW, OpenProcess).
using Handle = UniqueHandle<HANDLE, CloseHandle>;

// A handle of a function that returns INVALID_HANDLE_VALUE on failure (CreateFileW).
using FileHandle = UniqueHandle<HANDLE, CloseHandle, -1>;

using Module = UniqueHandle<HMODULE, FreeLibrary>;
using RegistryKey = UniqueHandle<HKEY, RegCloseKey>;
using ServiceHandle = UniqueHandle<SC_HANDLE, CloseServiceHandle>;

// A SID from AllocateAndInitializeSid.
using AllocatedSid = UniqueHandle<PSID, FreeSid>;

// Memory that the caller must free with LocalFree: a SID, a security descriptor, an ACL from
// SetEntriesInAclW, a text from ConvertSidToStringSidW.
using LocalMemory = UniqueHandle<void*, LocalFree>;
using LocalAcl = UniqueHandle<PACL, LocalFree>;
using LocalString = UniqueHandle<wchar_t*, LocalFree>;

// A string and an array from a COM call. A null string means that no string was returned. The array
// is destroyed with the references in it.
using Bstr = UniqueHandle<BSTR, SysFreeString>;
using SafeArray = UniqueHandle<SAFEARRAY*, SafeArrayDestroy>;

template <typename Interface>
void ReleaseObject(Interface* object) {
    object->Release();
}

// One counted reference to a COM object.
template <typename Interface>
using ComPtr = UniqueHandle<Interface*, ReleaseObject<Interface>>;

// SIDs from DeriveCapabilitySidsFromName: each SID and then the array are freed with LocalFree.
struct LocalSidArray {
    PSID* sids = nullptr;
    DWORD count = 0;

    LocalSidArray() = default;
    LocalSidArray(const LocalSidArray&) = delete;
    LocalSidArray& operator=(const LocalSidArray&) = delete;
    ~LocalSidArray() {
        if (sids != nullptr) {
            std::for_each(sids, sids + count, LocalFree);
            LocalFree(sids);
        }
    }
};

// Makes the calling thread a member of the multithreaded apartment until the scope ends. Declare it
// before the COM references of the scope, so that it is destroyed last.
class ComApartment {
 public:
    ComApartment() : m_result(CoInitializeEx(nullptr, COINIT_MULTITHREADED)) {}
    // Kept: also when CoInitializeEx failed.
    ~ComApartment() { CoUninitialize(); }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    // Returns the result of CoInitializeEx.
    [[nodiscard]] HRESULT Result() const { return m_result; }

 private:
    HRESULT m_result;
};
