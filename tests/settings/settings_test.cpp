// The settings family against Wine's registry, under the real key names.
#include <gtest/gtest.h>
#include <windows.h>

#include <optional>
#include <string>
#include <vector>

#include "settings/registryaccess.h"
#include "settings/registryhelper.h"
#include "tests/support/recordedlog.h"
#include "tests/support/recordedreport.h"
#include "tests/support/replacedimport.h"

namespace {

constexpr wchar_t kVendorKey[] = L"SOFTWARE\\Bramble";
constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Bramble\\BrambleSettings";
constexpr wchar_t kPenOptionKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenOption";
constexpr wchar_t kPenPressureKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenPressureTH";
constexpr wchar_t kClickNoteParent[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote";
constexpr wchar_t kClickNoteKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote\\OemCustomizationSettingsApp";

using Lines = std::vector<std::string>;

// What the two writing calls answer instead of acting; 0 lets them act.
LSTATUS g_createResult = 0;
LSTATUS g_setResult = 0;
std::vector<REGSAM> g_createMasks;
int g_openKeys = 0;

template <typename Function>
Function* RealAdvapi32(Function* /*type*/, const char* name) {
    return reinterpret_cast<Function*>(
        reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"advapi32"), name)));
}

LSTATUS WINAPI MaybeCreateKey(HKEY parent,
                              LPCWSTR path,
                              DWORD reserved,
                              LPWSTR key_class,
                              DWORD options,
                              REGSAM mask,
                              const LPSECURITY_ATTRIBUTES security,
                              PHKEY key,
                              LPDWORD disposition) {
    g_createMasks.push_back(mask);
    if (g_createResult != 0) {
        return g_createResult;
    }
    static auto* const real = RealAdvapi32(&MaybeCreateKey, "RegCreateKeyExW");
    const LSTATUS status =
        real(parent, path, reserved, key_class, options, mask, security, key, disposition);
    g_openKeys += status == 0 ? 1 : 0;
    return status;
}

LSTATUS WINAPI CountedOpenKey(HKEY parent, LPCWSTR path, DWORD options, REGSAM mask, PHKEY key) {
    EXPECT_EQ(mask, static_cast<REGSAM>(KEY_ALL_ACCESS));
    static auto* const real = RealAdvapi32(&CountedOpenKey, "RegOpenKeyExW");
    const LSTATUS status = real(parent, path, options, mask, key);
    g_openKeys += status == 0 ? 1 : 0;
    return status;
}

LSTATUS WINAPI CountedCloseKey(HKEY key) {
    --g_openKeys;
    static auto* const real = RealAdvapi32(&CountedCloseKey, "RegCloseKey");
    return real(key);
}

LSTATUS WINAPI
MaybeSetValue(HKEY key, LPCWSTR name, DWORD reserved, DWORD type, const BYTE* data, DWORD size) {
    if (g_setResult != 0) {
        return g_setResult;
    }
    static auto* const real = RealAdvapi32(&MaybeSetValue, "RegSetValueExW");
    return real(key, name, reserved, type, data, size);
}

REPLACE_IMPORT(RegCreateKeyExW, MaybeCreateKey);
REPLACE_IMPORT(RegOpenKeyExW, CountedOpenKey);
REPLACE_IMPORT(RegCloseKey, CountedCloseKey);
REPLACE_IMPORT(RegSetValueExW, MaybeSetValue);

void Store(const wchar_t* key, const wchar_t* name, DWORD type, const void* data, DWORD size) {
    ASSERT_EQ(RegSetKeyValueW(HKEY_LOCAL_MACHINE, key, name, type, data, size), ERROR_SUCCESS);
}

void StoreDword(const wchar_t* key, const wchar_t* name, long value) {
    Store(key, name, REG_DWORD, &value, sizeof(value));
}

// The value if it is a REG_DWORD.
std::optional<long> Stored(const wchar_t* key, const wchar_t* name) {
    long value = 0;
    DWORD size = sizeof(value);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_DWORD, nullptr, &value, &size) !=
        ERROR_SUCCESS) {
        return std::nullopt;
    }
    return value;
}

// The bytes if the value is a REG_SZ.
std::wstring StoredText(const wchar_t* key, const wchar_t* name) {
    wchar_t text[200] = {};
    DWORD size = sizeof(text);
    RegGetValueW(HKEY_LOCAL_MACHINE, key, name, RRF_RT_REG_SZ, nullptr, text, &size);
    return text;
}

class SettingsTest : public testing::Test {
 protected:
    void SetUp() override {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVendorKey);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kClickNoteParent);
        g_createResult = 0;
        g_setResult = 0;
        g_createMasks.clear();
        g_openKeys = 0;
        ClearLoggedLines();
        TakeReports();
    }

    void TearDown() override { EXPECT_EQ(g_openKeys, 0) << "keys left open"; }

    // The flag and number of the answer to one command, whose strings must come back as they went;
    // nothing when there is no answer.
    std::optional<std::pair<bool, long>> Ask(const std::wstring& word, bool flag, long number) {
        const std::wstring command = L"REGISTRYHELPER_" + word;
        wchar_t text[] = L"own text";
        RegistryHelperCommand(nullptr, command.c_str(), flag, number, text);
        const auto reports = TakeReports();
        if (reports.empty()) {
            return std::nullopt;
        }
        EXPECT_EQ(reports.size(), 1U);
        EXPECT_EQ(reports[0].command, command);
        EXPECT_EQ(reports[0].text, L"own text");
        return std::pair(reports[0].flag, reports[0].number);
    }

    // The same for a read, whose flag is the request's own.
    long Get(const std::wstring& word) {
        ClearLoggedLines();
        const auto answer = Ask(word, true, 1234);
        EXPECT_TRUE(answer.has_value() && answer->first);
        return answer ? answer->second : LONG_MIN;
    }
};

const Lines kReadFailure = {"Register Open Error", "Register Query Error"};

Lines With(Lines lines, const std::string& last) {
    lines.push_back(last);
    return lines;
}

TEST_F(SettingsTest, ReadsOfMissingKeysFoldTheFailureAsEachCommandSays) {
    EXPECT_EQ(Get(L"GETPENSETTING"), -1);
    EXPECT_EQ(LoggedLines(), kReadFailure);
    EXPECT_EQ(Get(L"GETPENCLICKSETTING"), -100);
    EXPECT_EQ(LoggedLines(), kReadFailure);
    EXPECT_EQ(Get(L"GETPENPRESSURESENSITIVITY"), -1);
    EXPECT_EQ(LoggedLines(), With(kReadFailure, "GetPenPressureSensitivity : -1"));
}

TEST_F(SettingsTest, StoredMinus100ReadsAsAFailureAndIsNotLoggedAsOne) {
    StoreDword(kPenOptionKey, L"ButtonAction", -100);
    StoreDword(kPenOptionKey, L"ClickAction", -100);
    StoreDword(kPenPressureKey, L"PressureTH", -100);
    EXPECT_EQ(Get(L"GETPENSETTING"), -1);
    EXPECT_TRUE(LoggedLines().empty());
    EXPECT_EQ(Get(L"GETPENCLICKSETTING"), -100);
    EXPECT_TRUE(LoggedLines().empty());
    EXPECT_EQ(Get(L"GETPENPRESSURESENSITIVITY"), -1);
    EXPECT_EQ(LoggedLines(), Lines{"GetPenPressureSensitivity : -1"});
}

TEST_F(SettingsTest, ValuesAreWrittenAndReadBackUnchecked) {
    for (const long value : {0L, 7L, -1L, LONG_MAX, LONG_MIN}) {
        EXPECT_EQ(Ask(L"SETPENSETTING", false, value), std::pair(true, value));
        EXPECT_EQ(Stored(kPenOptionKey, L"ButtonAction"), value);
        EXPECT_EQ(Get(L"GETPENSETTING"), value);
        EXPECT_EQ(LoggedLines(), Lines{"GetPenSetting Success"});

        EXPECT_EQ(Ask(L"SETPENCLICKSETTING", false, value), std::pair(true, value));
        EXPECT_EQ(Stored(kPenOptionKey, L"ClickAction"), value);
        EXPECT_EQ(Get(L"GETPENCLICKSETTING"), value);
        EXPECT_TRUE(LoggedLines().empty());

        EXPECT_EQ(Ask(L"SETPENPRESSURESENSITIVITY", false, value), std::pair(true, value));
        EXPECT_EQ(Stored(kPenPressureKey, L"PressureTH"), value);
        EXPECT_EQ(Get(L"GETPENPRESSURESENSITIVITY"), value);
        EXPECT_EQ(LoggedLines(), Lines{"GetPenPressureSensitivity : " + std::to_string(value)});
    }
    for (const REGSAM mask : g_createMasks) {
        EXPECT_EQ(mask, static_cast<REGSAM>(KEY_WRITE));
    }
}

TEST_F(SettingsTest, SettingTheScreenModeKeepsTheColourProfileBesideIt) {
    EXPECT_EQ(Ask(L"SETSCREENMODE", false, 99), std::pair(true, 99L));
    EXPECT_EQ(Stored(kSettingsKey, L"ScreenMode"), 99);
    EXPECT_EQ(Stored(kSettingsKey, L"ColorProfile"), 3);
    EXPECT_EQ(Ask(L"SETSCREENMODE", false, 5), std::pair(true, 5L));
    EXPECT_EQ(Stored(kSettingsKey, L"ScreenMode"), 5);
    EXPECT_EQ(Stored(kSettingsKey, L"ColorProfile"), 5);
    EXPECT_EQ(LoggedLines(), (Lines{"Set Screen Mode Success", "Set Screen Mode Success"}));
}

TEST_F(SettingsTest, ScreenModeFollowsFromTheColourProfileAndIsRepairedWhenUnusable) {
    struct Case {
        std::optional<long> profile;
        long mode;
        bool repaired;
    };
    const Case cases[] = {
        {std::nullopt, 99, true}, {-100, 99, true}, {-1, 99, true}, {3, 99, false}, {4, 99, false},
        {6, 99, false},           {5, 5, false},    {0, 0, false},  {2, 2, false},  {7, 7, false},
        {-2, -2, false},          {99, 99, false}};
    for (const Case& c : cases) {
        SetUp();
        SCOPED_TRACE(c.profile.value_or(12345));
        StoreDword(kSettingsKey, L"ScreenMode", 42);
        if (c.profile) {
            StoreDword(kSettingsKey, L"ColorProfile", *c.profile);
        }
        EXPECT_EQ(Get(L"GETSCREENMODE"), c.mode);
        EXPECT_EQ(LoggedLines().back(), "GetScreenMode : " + std::to_string(c.mode));
        EXPECT_EQ(Stored(kSettingsKey, L"ScreenMode"), c.repaired ? 99 : 42);
        EXPECT_EQ(Stored(kSettingsKey, L"ColorProfile"), c.repaired ? 3 : *c.profile);
    }
}

TEST_F(SettingsTest, RefusedWritesAreLoggedWithTheirCodeAndFolded) {
    const auto logged_by = [this](const wchar_t* word, bool expected_flag) {
        ClearLoggedLines();
        EXPECT_EQ(Ask(word, false, 3), std::pair(expected_flag, 3L));
        return LoggedLines();
    };
    g_createResult = ERROR_ACCESS_DENIED;
    const std::string refused = "RegCreateKeyEx Error - 5";
    EXPECT_EQ(logged_by(L"SETPENSETTING", false), Lines{refused});
    EXPECT_EQ(logged_by(L"SETPENCLICKSETTING", false), Lines{refused});
    EXPECT_EQ(logged_by(L"SETPENPRESSURESENSITIVITY", true), Lines{refused});
    EXPECT_EQ(logged_by(L"SETSCREENMODE", false),
              (Lines{refused, refused, "Set Screen Mode Failure"}));
    g_createResult = 0;
    g_setResult = -7;
    EXPECT_EQ(logged_by(L"SETPENSETTING", false), Lines{"RegSetValueEx Error - -7"});
    EXPECT_EQ(Get(L"GETSCREENMODE"), 99) << "a repair that fails does not show";
}

TEST_F(SettingsTest, PenClickIsRegisteredOnlyWhereNothingIs) {
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), std::pair(true, 8L));
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"brm-uap-tesselsetting:\\\\pen");
    EXPECT_EQ(g_createMasks, std::vector<REGSAM>{KEY_ALL_ACCESS});

    Store(kClickNoteKey, L"CustomProtocol", REG_SZ, L"other:", 14);
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), std::pair(true, 8L));
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"other:");

    SetUp();
    g_createResult = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", true, 8), std::pair(false, 8L));
    g_createResult = 0;
    g_setResult = ERROR_ACCESS_DENIED;
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", true, 8), std::pair(false, 8L));
    EXPECT_EQ(LoggedLines(), (Lines{"Register Open Error", "Register Query Error",
                                    "Register Open Error", "Register Query Error"}));
}

TEST_F(SettingsTest, LongValuesAreReadWithinTheirBuffers) {
    const std::vector<unsigned char> bytes(101, 0x01);
    Store(kPenOptionKey, L"ButtonAction", REG_BINARY, bytes.data(), 100);
    EXPECT_EQ(Get(L"GETPENSETTING"), 0x01010101);
    Store(kPenOptionKey, L"ButtonAction", REG_BINARY, bytes.data(), 101);
    EXPECT_EQ(Get(L"GETPENSETTING"), -1);
    EXPECT_EQ(LoggedLines(), Lines{"Register Query Error"});

    // 200 bytes without a terminator: all of it, and nothing past it.
    const std::wstring text(101, L'x');
    Store(kSettingsKey, L"Text", REG_SZ, text.data(), 200);
    EXPECT_EQ(RegistryReadString(kSettingsKey, L"Text"), text.substr(0, 100));
    Store(kSettingsKey, L"Text", REG_SZ, text.data(), 202);
    EXPECT_EQ(RegistryReadString(kSettingsKey, L"Text"), std::nullopt);
}

TEST_F(SettingsTest, EchoedUnansweredAndUnknownCommands) {
    EXPECT_EQ(Ask(L"ISVZWQ", true, -9), std::pair(true, -9L));
    EXPECT_EQ(Ask(L"GETDEVICENAME", false, 4), std::pair(false, 4L));
    ClearLoggedLines();
    for (const wchar_t* word : {L"SETDIMMINGTIME", L"GETDIMMINGTIME", L"ISSMARTDIMMINGSUPPORT",
                                L"getpensetting", L"", L"GETPENSETTINGS"}) {
        EXPECT_EQ(Ask(word, true, 1), std::nullopt);
    }
    EXPECT_TRUE(LoggedLines().empty());
}

}  // namespace
