// Capability SIDs, which the simulated notebook's Windows cannot derive.
#pragma once

#include <windows.h>

#include <string>
#include <string_view>

// The string forms of the two SIDs that stand for capability `name`: of its group, and of itself.
// Follows the published algorithm: SHA-256 over the upper-case UTF-16 name.
struct CapabilitySidNames {
    std::wstring group;
    std::wstring capability;
};
CapabilitySidNames DeriveCapabilitySidNames(std::wstring_view name);

// Takes the place of DeriveCapabilitySidsFromName, with its rules of ownership.
extern "C" BOOL WINAPI SimulatedDeriveCapabilitySidsFromName(LPCWSTR name,
                                                             PSID** group_sids,
                                                             DWORD* group_count,
                                                             PSID** capability_sids,
                                                             DWORD* capability_count);
