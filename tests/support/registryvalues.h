// Writes and reads values under HKEY_LOCAL_MACHINE.
#pragma once

#include <gtest/gtest.h>
#include <windows.h>

#include <optional>
#include <string>

// Each Store creates the key if it is missing.
inline void Store(const std::wstring& key,
                  const wchar_t* name,
                  DWORD type,
                  const void* data,
                  std::size_t size) {
    EXPECT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, type, data,
                              static_cast<DWORD>(size)),
              ERROR_SUCCESS);
}

inline void Store(const std::wstring& key, const wchar_t* name, DWORD number) {
    Store(key, name, REG_DWORD, &number, sizeof(number));
}

inline void Store(const std::wstring& key, const wchar_t* name, const std::wstring& text) {
    Store(key, name, REG_SZ, text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

inline void Remove(const std::wstring& key, const wchar_t* name) {
    RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, key.c_str(), name);
}

// Returns nothing, or an empty text, if there is no such value of exactly that type.
inline std::optional<long> StoredNumber(const std::wstring& key, const wchar_t* name) {
    long number = 0;
    DWORD size = sizeof(number);
    return RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_REG_DWORD, nullptr, &number,
                        &size) == ERROR_SUCCESS
               ? std::optional(number)
               : std::nullopt;
}

inline std::wstring StoredText(const std::wstring& key, const wchar_t* name) {
    wchar_t text[2048] = {};
    DWORD size = sizeof(text);
    DWORD type = REG_NONE;
    RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), name, RRF_RT_ANY | RRF_NOEXPAND, &type, text,
                 &size);
    return type == REG_SZ ? text : L"";
}
