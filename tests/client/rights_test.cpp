// Who the service is, which keys it opens, and what their access lists give it.
#include <gtest/gtest.h>
#include <windows.h>
#include <sddl.h>

#include <string>
#include <vector>

#include "client/keyaccess.h"
#include "client/servicekeys.h"
#include "client/servicesid.h"
#include "service/servicebase.h"

namespace {

constexpr ACCESS_MASK kAll = KEY_ALL_ACCESS;

Sid OwnSid() {
    return ServiceSid(kServiceName).value();
}

// The security that a text describes; `OWN` in it is the service's SID.
KeySecurity Parse(std::wstring text) {
    if (const std::size_t place = text.find(L"OWN"); place != std::wstring::npos) {
        text.replace(place, 3, SidText(OwnSid().Get()));
    }
    PSECURITY_DESCRIPTOR parsed = nullptr;
    ULONG size = 0;
    KeySecurity security;
    if (ConvertStringSecurityDescriptorToSecurityDescriptorW(text.c_str(), SDDL_REVISION_1, &parsed,
                                                             &size)) {
        const auto* bytes = static_cast<const BYTE*>(parsed);
        security.descriptor.assign(bytes, bytes + size);
        LocalFree(parsed);
    }
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    GetSecurityDescriptorOwner(security.descriptor.data(), &security.owner, &defaulted);
    GetSecurityDescriptorDacl(security.descriptor.data(), &present, &security.acl, &defaulted);
    EXPECT_TRUE(present);
    return security;
}

TEST(ServiceSidTest, IsThePublishedHashOfTheName) {
    EXPECT_EQ(SidText(ServiceSid(L"TrustedInstaller").value().Get()),
              L"S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464");
    EXPECT_EQ(SidText(OwnSid().Get()),
              L"S-1-5-80-3564728073-2198564802-4168497071-206961346-807553170");
}

TEST(MissingKeyRightsTest, CountsTheEntriesOfTheTokenInTheirOrder) {
    const struct {
        const wchar_t* security;
        ACCESS_MASK of_account;
        ACCESS_MASK of_service;
    } cases[] = {
        {L"D:(A;;KA;;;LS)", 0, 0},
        {L"D:(A;;KR;;;BU)(A;;KW;;;AU)(A;;KA;;;BA)", kAll & ~(KEY_READ | KEY_WRITE),
         kAll & ~(KEY_READ | KEY_WRITE)},
        {L"D:(A;;GA;;;OWN)", kAll, 0},
        {L"D:(D;;0x2;;;SU)(A;;KA;;;LS)(A;;KA;;;OWN)", KEY_SET_VALUE, KEY_SET_VALUE},
        {L"D:(A;;0x2;;;OWN)(D;;KA;;;WD)(A;;KA;;;LS)", kAll, kAll & ~KEY_SET_VALUE},
        {L"D:(A;CIIO;KA;;;LS)(A;;KR;;;WD)", kAll & ~KEY_READ, kAll & ~KEY_READ},
        {L"O:LSD:(A;;KR;;;WD)", kAll & ~(KEY_READ | WRITE_DAC), kAll & ~(KEY_READ | WRITE_DAC)},
        {L"O:LSD:(A;;KR;;;WD)(A;;RC;;;S-1-3-4)", kAll & ~KEY_READ, kAll & ~KEY_READ},
        {L"O:BAD:(A;;KR;;;WD)(A;;KA;;;S-1-3-4)", kAll & ~KEY_READ, kAll & ~KEY_READ},
    };
    const std::vector<Sid> account = LocalServiceSids();
    std::vector<Sid> service = account;
    service.push_back(OwnSid());
    for (const auto& expected : cases) {
        const KeySecurity key = Parse(expected.security);
        EXPECT_EQ(MissingKeyRights(key.acl, key.owner, account, kAll), expected.of_account)
            << expected.security;
        EXPECT_EQ(MissingKeyRights(key.acl, key.owner, service, kAll), expected.of_service)
            << expected.security;
    }
    EXPECT_EQ(MissingKeyRights(nullptr, nullptr, account, kAll), 0U) << "no list";
}

TEST(FullControlTest, IsOneEntryMoreAmongTheOthersAndOneLess) {
    const KeySecurity without = Parse(L"D:(D;;KW;;;BG)(A;;KR;;;OWN)(A;CI;KA;;;BA)(A;CIID;KR;;;BU)");
    const KeySecurity with = Parse(
        L"D:(D;;KW;;;BG)(A;;KR;;;OWN)(A;CI;KA;;;BA)(A;CI;KA;;;"
        L"S-1-5-80-3564728073-2198564802-4168497071-206961346-807553170)(A;CIID;KR;;;BU)");
    const auto bytes = [](const KeySecurity& key) {
        const auto* begin = reinterpret_cast<const BYTE*>(key.acl);
        return std::vector<BYTE>(begin, begin + key.acl->AclSize);
    };
    EXPECT_EQ(WithFullControl(*without.acl, OwnSid()), bytes(with));
    EXPECT_EQ(WithoutFullControl(*with.acl, OwnSid()), bytes(without));
    EXPECT_TRUE(WithFullControl(*with.acl, OwnSid()).empty()) << "twice is as once";
    EXPECT_TRUE(WithoutFullControl(*without.acl, OwnSid()).empty());
}

TEST(ServiceKeysTest, AreThoseOfTheTablesUnderSevenTopmost) {
    const std::vector<ServiceKey> keys = ServiceKeys();
    EXPECT_EQ(keys.size(), 15U);
    std::vector<std::wstring> top;
    std::size_t values = 0;
    for (const ServiceKey& key : keys) {
        if (key.top) {
            top.push_back(key.path);
        }
        values += key.values.size();
        EXPECT_EQ(key.made_by_service, !key.path.ends_with(L"QCDiagBridge")) << key.path;
    }
    EXPECT_EQ(values, 6U + 41U);
    const std::wstring set = L"SYSTEM\\ControlSet001\\";
    EXPECT_EQ(top,
              (std::vector<std::wstring>{
                  L"SOFTWARE\\Bramble\\BrambleSettings",
                  L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote\\"
                  L"OemCustomizationSettingsApp",
                  set + L"Control\\USB", set + L"Control\\USBFN", set + L"Services\\QCDIAGROUTER",
                  set + L"Services\\QCDiagBridge", set + L"Services\\QCUSBFNSS\\Parameters"}));
}

}  // namespace
