// Who the service's process is to Windows. SIDs are texts, "S-1-...".
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

// The SID of `NT SERVICE\<name>`, made from the name alone; empty if it cannot be hashed. Calls
// BCryptHash.
std::wstring ServiceSid(std::wstring_view name);

// The SIDs in the token of every process of NT AUTHORITY\LocalService.
std::vector<std::wstring> LocalServiceSids();

// Empty on failure. Calls ConvertSidToStringSidW.
std::wstring SidText(PSID sid);

// The account's name, "BUILTIN\Users"; the SID if it has none. Calls LookupAccountSidW.
std::wstring AccountName(const std::wstring& sid);
