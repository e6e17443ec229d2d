// Writes and reads values under HKEY_LOCAL_MACHINE.
#pragma once

#include <windows.h>

#include <cstddef>
#include <optional>
#include <string>

// Creates the key if it is missing.
void Store(const std::wstring& key,
           const wchar_t* name,
           DWORD type,
           const void* data,
           std::size_t size);
void Store(const std::wstring& key, const wchar_t* name, DWORD number);
void Store(const std::wstring& key, const wchar_t* name, const std::wstring& text);
void Remove(const std::wstring& key, const wchar_t* name);

// Nothing, or an empty text, if there is no such value of that type.
std::optional<long> StoredNumber(const std::wstring& key, const wchar_t* name);
std::wstring StoredText(const std::wstring& key, const wchar_t* name);
