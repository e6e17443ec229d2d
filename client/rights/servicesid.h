// The SIDs of the service. SIDs are texts, "S-1-...".
#pragma once

#include <windows.h>

#include <string>
#include <string_view>
#include <vector>

// Computes the SID of `NT SERVICE\<name>` from the name. Empty on failure. Calls BCryptHash.
std::wstring ServiceSid(std::wstring_view name);

// Returns the SIDs in the token of every process of NT AUTHORITY\LocalService.
std::vector<std::wstring> LocalServiceSids();

// Returns the text of `sid`. Empty on failure.
std::wstring SidText(PSID sid);

// Returns the name of an account, such as "BUILTIN\Users", or the SID if it has no name. Calls
// LookupAccountSidW.
std::wstring AccountName(const std::wstring& sid);
