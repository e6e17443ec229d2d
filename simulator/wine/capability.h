// Capability SIDs, which Wine cannot derive.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

// The string forms of the group SID and the capability SID of `name`, by the published algorithm:
// SHA-256 of the name in upper-case UTF-16. Not for the few old capabilities that have a number.
struct CapabilitySidNames {
    std::wstring group;
    std::wstring capability;
};
CapabilitySidNames DeriveCapabilitySidNames(std::wstring_view name);

// Replaces DeriveCapabilitySidsFromName, and has the same rules of ownership. Fails with the
// REG_DWORD "FailCapability" under HKEY_LOCAL_MACHINE\SOFTWARE\Tessel Simulator, if it is there.
extern "C" BOOL WINAPI SimulatedDeriveCapabilitySidsFromName(LPCWSTR name,
                                                             PSID** group_sids,
                                                             DWORD* group_count,
                                                             PSID** capability_sids,
                                                             DWORD* capability_count);
