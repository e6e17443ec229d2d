#include "simulator/wine/capability.h"

#include <gtest/gtest.h>
#include <sddl.h>

#include <string>

namespace {

struct Vector {
    const wchar_t* name;
    const wchar_t* hash;
};

// Published pairs of capability name and hash.
const Vector kVectors[] = {
    {L"registryRead",
     L"1065365936-1281604716-3511738428-1654721687-432734479-3232135806-4053264122-3456934681"},
    {L"lpacAppExperience",
     L"1502825166-1963708345-2616377461-2562897074-4192028372-3968301570-1997628692-1435953622"},
    {L"lpacCryptoServices",
     L"3203351429-2120443784-2872670797-1918958302-2829055647-4275794519-765664414-2751773334"},
    {L"lpacCom",
     L"2405443489-874036122-4286035555-1823921565-1746547431-2453885448-3625952902-991631256"},
    {L"constrainedImpersonation",
     L"1604681682-535129537-3273749797-3666938095-336295784-2177615760-2743807136-2867270584"},
};

TEST(CapabilityTest, HashedCapabilitiesMatchThePublishedOnesInAnyCase) {
    for (const Vector& vector : kVectors) {
        const auto names = DeriveCapabilitySidNames(vector.name);
        EXPECT_EQ(names.group, std::wstring(L"S-1-5-32-") + vector.hash);
        EXPECT_EQ(names.capability, std::wstring(L"S-1-15-3-1024-") + vector.hash);
    }
    EXPECT_EQ(DeriveCapabilitySidNames(L"LPACCOM").capability,
              DeriveCapabilitySidNames(L"lpacCom").capability);
}

TEST(CapabilityTest, OldCapabilitiesAreNumberedAndIsolatedOnesMarked) {
    EXPECT_EQ(DeriveCapabilitySidNames(L"internetClient").capability, L"S-1-15-3-1");
    EXPECT_EQ(DeriveCapabilitySidNames(L"contacts").capability, L"S-1-15-3-12");
    EXPECT_TRUE(DeriveCapabilitySidNames(L"internetClient").group.starts_with(L"S-1-5-32-"));
    EXPECT_TRUE(
        DeriveCapabilitySidNames(L"isolatedWin32-x").capability.starts_with(L"S-1-15-3-65536-"));
}

TEST(CapabilityTest, DerivedSidsAreTheCallersToFreeOneByOne) {
    PSID* groups = nullptr;
    PSID* capabilities = nullptr;
    DWORD group_count = 0;
    DWORD capability_count = 0;
    ASSERT_TRUE(SimulatedDeriveCapabilitySidsFromName(L"lpacCom", &groups, &group_count,
                                                      &capabilities, &capability_count));
    ASSERT_EQ(group_count, 1U);
    ASSERT_EQ(capability_count, 1U);
    EXPECT_EQ(*GetSidSubAuthorityCount(groups[0]), 9);
    EXPECT_EQ(*GetSidSubAuthorityCount(capabilities[0]), 10);
    LocalFree(groups[0]);
    LocalFree(groups);
    LocalFree(capabilities[0]);
    LocalFree(capabilities);
}

}  // namespace
