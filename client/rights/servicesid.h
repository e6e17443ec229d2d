// The SIDs of the service's process, and SIDs as texts.
#pragma once

#include <windows.h>

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A security identifier by value.
struct Sid {
    alignas(DWORD) std::array<BYTE, SECURITY_MAX_SID_SIZE> bytes = {};

    // For Windows calls, which only read it.
    [[nodiscard]] PSID Get() const { return const_cast<BYTE*>(bytes.data()); }
};

// The SID of the text "S-1-..."; S-0-0 if the text is none. Calls ConvertStringSidToSidW.
Sid MakeSid(const std::wstring& text);

// The SID of `NT SERVICE\<name>`, made from the name alone. Nothing when it cannot be hashed. Calls
// BCryptHash.
std::optional<Sid> ServiceSid(std::wstring_view name);

// The SIDs in the token of every process of NT AUTHORITY\LocalService.
std::vector<Sid> LocalServiceSids();

// "S-1-..."; empty on failure. Calls ConvertSidToStringSidW.
std::wstring SidText(PSID sid);

// The account's name, "BUILTIN\Users"; the SID's text if it has none. Calls LookupAccountSidW.
std::wstring AccountName(PSID sid);
