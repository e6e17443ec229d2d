// Who the service is, which keys it opens, and what their access lists give it: those of a registry
// and that of the driver package.
#include <gtest/gtest.h>
#include <windows.h>
#include <sddl.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <vector>

#include "client/check/checkkeys.h"
#include "client/rights/keyaccess.h"
#include "client/rights/servicekeys.h"
#include "client/rights/servicesid.h"
#include "service/servicebase.h"
#include "win32/uniquehandle.h"

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
        {L"D:(A;;0x1;;;LS)(A;;0x2;;;WD)(A;;0x4;;;BU)(A;;0x8;;;SU)(A;;0x10;;;S-1-2-0)"
         L"(A;;0x20;;;S-1-2-1)(A;;0x10000;;;AU)(A;;0x20000;;;S-1-5-15)(A;;KA;;;BA)",
         WRITE_DAC | WRITE_OWNER, WRITE_DAC | WRITE_OWNER},
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
    EXPECT_FALSE(WithFullControl(*Parse(L"D:(A;;KA;;;OWN)").acl, OwnSid()).empty())
        << "one that does not descend";
}

TEST(JudgeRightsTest, TheServicesOwnSidCountsOnceItIsOn) {
    const ServiceSidType on = {SERVICE_SID_TYPE_UNRESTRICTED};
    const ServiceSidType off = {SERVICE_SID_TYPE_NONE};
    EXPECT_EQ(JudgeRights(0, 0, off).status, Status::kOk);
    EXPECT_EQ(JudgeRights(kAll, 0, on).status, Status::kOk);
    EXPECT_EQ(JudgeRights(kAll, 0, off).status, Status::kFault);
    EXPECT_EQ(JudgeRights(kAll, 0, {}).status, Status::kWarning);
    EXPECT_EQ(JudgeRights(kAll, KEY_SET_VALUE, on).status, Status::kFault);
    EXPECT_EQ(JudgeRights(0, KEY_SET_VALUE, on).status, Status::kFault) << "a denial of its own";
}

TEST(KeySecurityTest, AProtectedListStaysProtected) {
    RegistryKey key;
    RegCreateKeyExW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tessel Test", 0, nullptr, 0, KEY_ALL_ACCESS,
                    nullptr, key.put(), nullptr);
    KeySecurity security = Parse(L"D:P(A;;KA;;;WD)");
    RegSetKeySecurity(key.get(), DACL_SECURITY_INFORMATION, security.descriptor.data());
    EXPECT_EQ(ReadKeySecurity(key.get(), security), ERROR_SUCCESS);
    std::vector<BYTE> list = WithFullControl(*security.acl, OwnSid());
    EXPECT_EQ(WriteKeyAcl(key.get(), security, list), ERROR_SUCCESS);
    EXPECT_EQ(ReadKeySecurity(key.get(), security), ERROR_SUCCESS);
    EXPECT_EQ(security.acl->AceCount, 2);
    EXPECT_TRUE((security.control & SE_DACL_PROTECTED) != 0);
    RegDeleteKeyW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Tessel Test");
}

TEST(ServiceKeysTest, AreThoseOfTheTablesUnderSevenTopmost) {
    const std::vector<ServiceKey> keys = ServiceKeys();
    EXPECT_EQ(keys.size(), 15U);
    EXPECT_EQ(std::ranges::count(keys, true, &ServiceKey::top), 7);
    std::size_t values = 0;
    for (const ServiceKey& key : keys) {
        values += key.values.size();
        EXPECT_EQ(key.made_by_service, !key.path.ends_with(L"QCDiagBridge")) << key.path;
    }
    EXPECT_EQ(values, 6U + 41U);
}

std::string Package(const std::string& machine) {
    std::ifstream file("Z:" INF_DIRECTORY "/" + machine + "/tessel-service.inf", std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The lines of a section without comments, as wide text.
std::vector<std::wstring> Section(const std::string& name) {
    const std::string package = Package("x64");
    std::vector<std::wstring> lines;
    std::size_t at = package.find("\n[" + name + "]\r\n");
    EXPECT_NE(at, package.npos) << name;
    for (at = package.find('\n', at + 1) + 1; at < package.size() && package[at] != '[';
         at = package.find('\n', at) + 1) {
        const std::string line = package.substr(at, package.find('\r', at) - at);
        if (!line.empty() && line[0] != ';') {
            lines.emplace_back(line.begin(), line.end());
        }
    }
    return lines;
}

TEST(DriverPackageTest, HasEveryKeyOfTheServiceAndNoOther) {
    std::set<std::wstring> unused;
    for (const std::wstring& line : Section("Keys")) {
        ASSERT_TRUE(line.starts_with(L"HKLM,") && line.ends_with(L",,0x10"));
        unused.insert(line.substr(5, line.size() - 11));
    }
    const auto roots = unused;
    for (const ServiceKey& key : ServiceKeys()) {
        EXPECT_TRUE(std::ranges::any_of(roots, [&](const std::wstring& root) {
            const bool below = key.path == root || key.path.starts_with(root + L"\\");
            return below && (unused.erase(root), true);
        })) << key.path;
    }
    EXPECT_TRUE(unused.empty());
}

TEST(DriverPackageTest, OnlyTheServiceItselfMayWriteBesidesSystemAndAdministrators) {
    const std::wstring line = Section("Keys.Security").at(0);
    const std::wstring text = line.substr(1, line.size() - 2);
    ASSERT_TRUE(text.starts_with(L"D:P(")) << "the parent's entry for the creator would come back";
    const KeySecurity key = Parse(L"O:LS" + text);
    const auto missing = [&](const Sid& sid, bool of_account = false) {
        std::vector<Sid> token = of_account ? LocalServiceSids() : std::vector<Sid>{};
        token.push_back(sid);
        return MissingKeyRights(key.acl, key.owner, token, kAll);
    };
    const Sid system = MakeSid(5, {18});
    const Sid administrators = MakeSid(5, {32, 544});
    const Sid apps = MakeSid(15, {2, 1});
    EXPECT_EQ(missing(OwnSid(), true), 0U);
    EXPECT_EQ(missing(apps, true), kAll & ~KEY_READ) << "another service, which may own a key";
    EXPECT_EQ(missing(apps), kAll & ~KEY_READ);
    EXPECT_EQ(missing(system) | missing(administrators), 0U);
    for (std::size_t entry = 3; (entry = text.find(L'(', entry)) != text.npos; ++entry) {
        EXPECT_EQ(text.substr(entry, 6), L"(A;CI;") << "for the key and those below it";
    }
}

TEST(DriverPackageTest, TheServiceHasItsSidAndIsStartedAfterACrash) {
    const auto has = [](const char* section, const wchar_t* start) {
        return std::ranges::count_if(
            Section(section), [=](const std::wstring& line) { return line.starts_with(start); });
    };
    EXPECT_EQ(has("Service", L"ServiceSidType = 1 "), 1);
    EXPECT_EQ(has("Service", L"FailureActions = Recovery "), 1);
    EXPECT_EQ(has("Recovery", L"Action      = 1,"), 3);
    std::string arm64 = Package("arm64");
    EXPECT_EQ(arm64.find("[DefaultInstall]"), arm64.npos) << "Windows wants the machine behind it";
    for (std::size_t at = 0; (at = arm64.find("NTarm64", at)) != arm64.npos;) {
        arm64.replace(at, 7, "NTamd64");
    }
    EXPECT_EQ(arm64, Package("x64"));
}

}  // namespace
