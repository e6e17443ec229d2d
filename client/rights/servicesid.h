// Who the service's process is to Windows.
#pragma once

#include <windows.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A security identifier by value.
struct Sid {
    alignas(DWORD) std::array<BYTE, SECURITY_MAX_SID_SIZE> bytes = {};

    // As the calls of Windows take it, which only read it.
    [[nodiscard]] PSID Get() const { return const_cast<BYTE*>(bytes.data()); }
};

// S-1-<authority>-<parts...>, of at most 15 parts.
Sid MakeSid(BYTE authority, std::initializer_list<DWORD> parts);

// The SID of `NT SERVICE\<name>`, made from the name alone. Nothing when it cannot be hashed. Calls
// BCryptHash.
std::optional<Sid> ServiceSid(std::wstring_view name);

// The SIDs in the token of every process of NT AUTHORITY\LocalService.
std::vector<Sid> LocalServiceSids();

// "S-1-...". Calls ConvertSidToStringSidW.
std::wstring SidText(PSID sid);
