// The form of the driver package's file, its keys against the product's tables, and who gets which
// rights.
#include <gtest/gtest.h>
#include <windows.h>

#include <aclapi.h>
#include <bcrypt.h>
#include <sddl.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "service/servicebase.h"
#include "usbpath/usbfnvalues.h"

namespace {

using Lines = std::vector<std::string>;

// Sections by name, as trimmed lines without comments.
std::map<std::string, Lines> ReadInf(const std::string& machine) {
    std::ifstream file("Z:" INF_DIRECTORY "/" + machine + "/tessel-service.inf");
    std::map<std::string, Lines> sections;
    std::string line;
    Lines* section = nullptr;
    const std::regex form(R"(\s*((?:"[^"]*"|[^;"])*?)\s*(;.*)?)");
    for (std::smatch parts; std::getline(file, line);) {
        EXPECT_TRUE(std::regex_match(line, parts, form)) << line;
        const std::string text = parts[1];
        if (text.starts_with('[')) {
            section = &sections[text.substr(1, text.size() - 2)];
            EXPECT_TRUE(section->empty()) << "twice: " << text;
        } else if (!text.empty()) {
            section->push_back(text);
        }
    }
    return sections;
}

// What stands behind `name =` in a section, without quotes; several lines of one name end with LF.
std::string Value(const Lines& section, const std::string& name) {
    std::string values;
    for (const std::string& line : section) {
        std::smatch parts;
        if (std::regex_match(line, parts, std::regex(name + R"(\s*=\s*(.*))"))) {
            values += (values.empty() ? "" : "\n") +
                      std::regex_replace(parts.str(1), std::regex("\""), "");
        }
    }
    return values;
}

void CheckForm(const std::string& machine, const std::string& architecture) {
    SCOPED_TRACE(machine);
    auto inf = ReadInf(machine);
    const std::string install = "DefaultInstall." + architecture;
    for (const char* name : {"Signature", "Provider", "Class", "ClassGuid", "CatalogFile"}) {
        EXPECT_NE(Value(inf["Version"], name), "") << name;
    }
    EXPECT_EQ(Value(inf["Version"], "PnpLockdown"), "1");
    EXPECT_TRUE(std::regex_match(Value(inf["Version"], "DriverVer"),
                                 std::regex(R"(\d\d/\d\d/\d{4},\d+\.\d+\.\d+\.\d+)")));

    std::smatch service;
    const std::string added = Value(inf[install + ".Services"], "AddService");
    ASSERT_TRUE(std::regex_match(added, service, std::regex("([^,]*),0x800,(.*)"))) << added;
    EXPECT_EQ(service.str(1), "Tessel Service");
    const Lines& registration = inf[service.str(2)];
    EXPECT_EQ(Value(registration, "ServiceSidType"), "1");

    // Nothing but these: a section that nothing refers to has a name that was misspelled.
    const std::string recovery = Value(registration, "FailureActions");
    const std::string keys = Value(inf[install], "AddReg");
    const std::string files = Value(inf[install], "CopyFiles");
    std::set<std::string> names;
    for (const auto& [name, lines] : inf) {
        EXPECT_FALSE(lines.empty()) << name;
        names.insert(name);
    }
    EXPECT_EQ(names,
              (std::set<std::string>{"Version", "SourceDisksNames", "SourceDisksFiles",
                                     "DestinationDirs", "Strings", install, install + ".Services",
                                     service.str(2), recovery, keys, keys + ".Security", files}));
    EXPECT_EQ(Value(inf[recovery], "Action"), "1,5000\n1,5000\n1,60000");

    std::set<std::string> sources;
    for (const std::string& line : inf["SourceDisksFiles"]) {
        sources.insert(line.substr(0, line.find_first_of(" =")));
    }
    EXPECT_EQ(sources, std::set<std::string>(inf[files].begin(), inf[files].end()));
    EXPECT_EQ(inf["DestinationDirs"], Lines{"DefaultDestDir = 13"});
    const std::string binary = Value(registration, "ServiceBinary");
    EXPECT_TRUE(binary.starts_with("%13%\\") && sources.contains(binary.substr(5))) << binary;
}

TEST(InfTest, FormIsThatOfADriverPackageWithoutDevice) {
    CheckForm("x64", "NTamd64");
    CheckForm("arm64", "NTarm64");
}

// The keys that the service opens.
std::set<std::wstring> ProductKeys() {
    std::set<std::wstring> keys = {
        L"SOFTWARE\\Bramble\\BrambleSettings",
        L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote\\OemCustomizationSettingsApp"};
    for (const auto& sequence : {kCpSequence, kApSequence}) {
        for (const UsbfnStep& step : sequence) {
            keys.insert(step.key_path);
        }
    }
    return keys;
}

// The SID NT SERVICE\<name>.
std::string ServiceSid(std::wstring name) {
    // BCRYPT_SHA1_ALG_HANDLE, which mingw-w64's header does not have.
    const auto sha1 = reinterpret_cast<BCRYPT_ALG_HANDLE>(0x31);
    CharUpperW(name.data());
    DWORD words[5] = {};
    EXPECT_EQ(BCryptHash(sha1, nullptr, 0, reinterpret_cast<UCHAR*>(name.data()),
                         static_cast<ULONG>(name.size() * sizeof(wchar_t)),
                         reinterpret_cast<UCHAR*>(words), sizeof(words)),
              0);
    std::string sid = "S-1-5-80";
    for (const DWORD word : words) {
        sid += "-" + std::to_string(word);
    }
    return sid;
}

TEST(InfTest, EveryKeyOfTheServiceIsInThePackageAndNoOther) {
    const Lines lines = ReadInf("x64")["Keys"];
    std::set<std::wstring> unused;
    for (const std::string& line : lines) {
        ASSERT_TRUE(line.starts_with("HKLM,") && line.ends_with(",,0x10")) << line;
        unused.emplace(line.begin() + 5, line.end() - 6);
    }
    const auto roots = unused;
    for (const std::wstring& key : ProductKeys()) {
        const auto root = std::ranges::find_if(roots, [&](const std::wstring& name) {
            return key == name || key.starts_with(name + L"\\");
        });
        ASSERT_NE(root, roots.end()) << std::string(key.begin(), key.end());
        unused.erase(*root);
    }
    EXPECT_TRUE(unused.empty());
}

TEST(InfTest, OnlyTheServiceItselfMayWriteBesidesSystemAndAdministrators) {
    ASSERT_EQ(ServiceSid(L"TrustedInstaller"),
              "S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464");
    const std::string text = ReadInf("x64")["Keys.Security"].at(0);
    EXPECT_TRUE(text.starts_with("\"D:P(")) << "the parent's entry for the creator would come back";
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    ASSERT_TRUE(ConvertStringSecurityDescriptorToSecurityDescriptorA(
        text.substr(1, text.size() - 2).c_str(), SDDL_REVISION_1, &descriptor, nullptr))
        << GetLastError();
    ACL* list = nullptr;
    BOOL present = FALSE;
    BOOL defaulted = FALSE;
    ASSERT_TRUE(GetSecurityDescriptorDacl(descriptor, &present, &list, &defaulted) && present);

    std::map<std::string, DWORD> rights;
    for (DWORD i = 0; i < list->AceCount; ++i) {
        ACCESS_ALLOWED_ACE* entry = nullptr;
        ASSERT_TRUE(GetAce(list, i, reinterpret_cast<void**>(&entry)));
        EXPECT_EQ(entry->Header.AceType, ACCESS_ALLOWED_ACE_TYPE);
        EXPECT_EQ(entry->Header.AceFlags, CONTAINER_INHERIT_ACE)
            << "for the key and those below it";
        char* sid = nullptr;
        ASSERT_TRUE(ConvertSidToStringSidA(&entry->SidStart, &sid));
        rights[sid] = entry->Mask;
        LocalFree(sid);
    }
    LocalFree(descriptor);

    EXPECT_EQ(rights[ServiceSid(kServiceName)], KEY_ALL_ACCESS);
    EXPECT_EQ(rights["S-1-5-18"], GENERIC_ALL);
    EXPECT_EQ(rights["S-1-5-32-544"], GENERIC_ALL);
    EXPECT_EQ(rights["S-1-5-32-545"], KEY_READ) << "users";
    EXPECT_EQ(rights["S-1-15-2-1"], KEY_READ) << "apps";
    // With an entry for the owner, the right to change the list is no longer his by itself.
    EXPECT_EQ(rights["S-1-3-4"], READ_CONTROL);
    EXPECT_EQ(
        std::ranges::count_if(rights, [](const auto& entry) { return entry.second & ~KEY_READ; }),
        3);
}

}  // namespace
