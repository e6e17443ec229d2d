// Who the service is, and what access lists give it.
#include <gtest/gtest.h>
#include <windows.h>
#include <sddl.h>

#include <cstring>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "client/check/checkkeys.h"
#include "client/rights/accesslist.h"
#include "client/rights/servicesid.h"
#include "service/servicebase.h"
#include "win32/uniquehandle.h"

namespace {

constexpr ACCESS_MASK kAll = KEY_ALL_ACCESS;

std::wstring OwnSid() {
    return ServiceSid(kServiceName);
}

// The security that a text describes; `OWN` in it is the service's SID.
ObjectSecurity Parse(std::wstring text) {
    if (const std::size_t place = text.find(L"OWN"); place != std::wstring::npos) {
        text.replace(place, 3, OwnSid());
    }
    ObjectSecurity security;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    EXPECT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorW(
        text.c_str(), SDDL_REVISION_1, security.descriptor.put(), nullptr));
    PSID owner = nullptr;
    GetSecurityDescriptorOwner(security.descriptor.get(), &owner, &defaulted);
    security.owner = SidText(owner);
    GetSecurityDescriptorDacl(security.descriptor.get(), &present, &security.acl, &defaulted);
    EXPECT_TRUE(present);
    return security;
}

TEST(ServiceSidTest, IsThePublishedHashOfTheName) {
    EXPECT_EQ(ServiceSid(L"TrustedInstaller"),
              L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464");
    EXPECT_EQ(OwnSid(), L"S-1-5-80-3564728073-2198564802-4168497071-206961346-807553170");
}

TEST(MissingKeyRightsTest, CountsTheEntriesOfTheTokenInTheirOrder) {
    // A list, and what the account and the service lack.
    const std::tuple<const wchar_t*, ACCESS_MASK, ACCESS_MASK> cases[] = {
        {L"D:(A;;KA;;;LS)", 0, 0},
        {L"D:(A;;0x1;;;LS)(A;;0x2;;;WD)(A;;0x4;;;BU)(A;;0x8;;;SU)(A;;0x10;;;S-1-2-0)"
         L"(A;;0x20;;;S-1-2-1)(A;;0x10000;;;AU)(A;;0x20000;;;S-1-5-15)(A;;KA;;;BA)",
         WRITE_DAC | WRITE_OWNER, WRITE_DAC | WRITE_OWNER},
        {L"D:(A;;GA;;;OWN)", kAll, 0},
        {L"D:(D;;0x2;;;SU)(A;;KA;;;LS)(A;;KA;;;OWN)", KEY_SET_VALUE, KEY_SET_VALUE},
        {L"D:(A;;0x2;;;OWN)(D;;KA;;;WD)(A;;KA;;;LS)", kAll, kAll & ~KEY_SET_VALUE},
        {L"D:(A;CIIO;KA;;;LS)(A;;KR;;;WD)", kAll & ~KEY_READ, kAll & ~KEY_READ},
    };
    const std::vector<std::wstring> account = LocalServiceSids();
    std::vector<std::wstring> service = account;
    service.push_back(OwnSid());
    for (const auto& [list, account_lacks, service_lacks] : cases) {
        SCOPED_TRACE(testing::PrintToString(list));
        const ObjectSecurity key = Parse(list);
        EXPECT_EQ(MissingKeyRights(key.acl, account), account_lacks);
        EXPECT_EQ(MissingKeyRights(key.acl, service), service_lacks);
    }
    EXPECT_EQ(MissingKeyRights(nullptr, account), 0U) << "no list";
}

TEST(FullControlTest, IsAddedAndRemovedAndTheOtherEntriesStay) {
    const ObjectSecurity key = Parse(L"D:(D;;KW;;;BG)(A;CI;KA;;;BA)(A;CIID;KR;;;BU)");
    const std::vector<std::wstring> own = {OwnSid()};
    EXPECT_FALSE(HasFullControl(*key.acl, own[0]));
    LocalAcl changed;
    ASSERT_EQ(AddFullControl(*key.acl, own[0], changed), 0U);
    EXPECT_TRUE(HasFullControl(*changed.get(), own[0]));
    EXPECT_EQ(MissingKeyRights(changed.get(), own), 0U);
    EXPECT_EQ(changed.get()->AceCount, 4);
    EXPECT_TRUE(RemoveFullControl(*changed.get(), own[0]));
    EXPECT_EQ(std::memcmp(changed.get() + 1, key.acl + 1, key.acl->AclSize - sizeof(ACL)), 0);
    EXPECT_FALSE(RemoveFullControl(*changed.get(), own[0])) << "twice";
    EXPECT_FALSE(HasFullControl(*Parse(L"D:(A;;KA;;;OWN)").acl, own[0])) << "not for new subkeys";
}

TEST(OtherWritersTest, AreAllButTheSystemAndAdministrators) {
    const std::pair<const wchar_t*, std::wstring> cases[] = {
        {L"O:S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464D:(A;;FA;;;SY)"
         L"(A;;FA;;;BA)(A;OICIIO;GA;;;CO)(A;;0x1200a9;;;BU)(A;OICIIO;GXGR;;;AC)",
         L""},
        {L"O:BAD:(A;OICIIO;GXGWGR;;;AU)(A;;0x1200a9;;;BU)", L"S-1-5-11 "},
        {L"O:BUD:(A;;FA;;;SY)", L"S-1-5-32-545 "},
        {L"O:SYD:(A;;DC;;;BU)(A;;WD;;;WD)(D;;FA;;;BU)", L"S-1-1-0 S-1-5-32-545 "},
    };
    for (const auto& [list, writers] : cases) {
        std::wstring found;
        for (const std::wstring& sid : OtherWriters(Parse(list))) {
            found += sid + L" ";
        }
        EXPECT_EQ(found, writers) << testing::PrintToString(list);
    }
    // Each of these rights alone is enough to take a program or its folder over.
    for (const wchar_t* right : {L"0x2", L"0x4", L"0x40", L"SD", L"WD", L"WO"}) {
        const ObjectSecurity file = Parse(L"O:SYD:(A;;" + std::wstring(right) + L";;;BU)");
        EXPECT_EQ(OtherWriters(file), std::vector<std::wstring>{L"S-1-5-32-545"})
            << testing::PrintToString(right);
    }
    ObjectSecurity no_list = Parse(L"O:SYD:");
    no_list.acl = nullptr;
    EXPECT_EQ(OtherWriters(no_list).size(), 1U);
}

TEST(RightsFindingTest, CountsTheOwnSid) {
    EXPECT_EQ(RightsFinding(0, 0, false).status, Status::kOk);
    EXPECT_EQ(RightsFinding(kAll, 0, true).status, Status::kOk);
    EXPECT_EQ(RightsFinding(kAll, 0, false).status, Status::kFault);
    EXPECT_EQ(RightsFinding(kAll, 0, {}).status, Status::kNotHere);
    EXPECT_EQ(RightsFinding(0, KEY_SET_VALUE, true).status, Status::kFault) << "a denial";
}

TEST(KeySecurityTest, AProtectedListStaysProtected) {
    RegistryKey key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tessel Test", 0, nullptr, 0, KEY_ALL_ACCESS,
                    nullptr, key.put(), nullptr);
    ObjectSecurity security = Parse(L"D:P(A;;KA;;;WD)");
    RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, security.descriptor.get());
    ReadKeySecurity(key.get(), security);
    EXPECT_EQ(WriteKeyAcl(key.get(), security, Parse(L"D:(A;;KR;;;WD)").acl), 0U);
    ReadKeySecurity(key.get(), security);
    EXPECT_EQ(MissingKeyRights(security.acl, LocalServiceSids()), kAll & ~KEY_READ);
    SECURITY_DESCRIPTOR_CONTROL control = 0;
    DWORD revision = 0;
    GetSecurityDescriptorControl(security.descriptor.get(), &control, &revision);
    EXPECT_TRUE((control & SE_DACL_PROTECTED) != 0);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tessel Test");
}

}  // namespace
