// Derives capability SIDs, which Wine cannot do.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

// The texts of the group SID and the capability SID of `name`, by the published algorithm: SHA-256
// of the name in upper-case UTF-16. Wrong for the few old capabilities that have a number.
struct CapabilitySidNames {
    std::wstring group;
    std::wstring capability;
};
CapabilitySidNames DeriveCapabilitySidNames(std::wstring_view name);

// Replaces DeriveCapabilitySidsFromName, with the same rules of ownership. If there is a REG_DWORD
// "FailCapability" under HKEY_LOCAL_MACHINE\SOFTWARE\Tessel Simulator, fails with this error.
extern "C" BOOL WINAPI SimulatedDeriveCapabilitySidsFromName(LPCWSTR name,
                                                             PSID** group_sids,
                                                             DWORD* group_count,
                                                             PSID** capability_sids,
                                                             DWORD* capability_count);
