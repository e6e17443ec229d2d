// The settings family against Wine's registry, under the real key names.
#include <gtest/gtest.h>
#include <windows.h>

#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "settings/registryaccess.h"
#include "settings/registryhelper.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"

namespace {

constexpr wchar_t kVendorKey[] = L"SOFTWARE\\Bramble";
constexpr wchar_t kSettingsKey[] = L"SOFTWARE\\Bramble\\BrambleSettings";
constexpr wchar_t kPenOptionKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenOption";
constexpr wchar_t kPenPressureKey[] = L"SOFTWARE\\Bramble\\BrambleSettings\\PenPressureTH";
constexpr wchar_t kClickNoteParent[] = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote";
constexpr wchar_t kClickNoteKey[] =
    L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote\\OemCustomizationSettingsApp";

using Lines = std::vector<std::string>;

// The masks with which keys were opened and made.
std::vector<REGSAM> g_openMasks;
std::vector<REGSAM> g_createMasks;

void NoteMaking(HKEY, LPCWSTR, DWORD, LPCWSTR, DWORD options, REGSAM access, ...) {
    EXPECT_EQ(options, DWORD{REG_OPTION_NON_VOLATILE});
    g_createMasks.push_back(access);
}

void NoteOpening(HKEY, LPCWSTR, DWORD, REGSAM access, HKEY*) {
    g_openMasks.push_back(access);
}

}  // namespace

INTERPOSE_NOTED(RegCreateKeyExW, kOpensOnZero, NoteMaking);
INTERPOSE_NOTED(RegOpenKeyExW, kOpensOnZero, NoteOpening);
INTERPOSE(RegCloseKey, kCloses);

namespace {

class SettingsTest : public testing::Test {
 protected:
    void SetUp() override {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVendorKey);
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kClickNoteParent);
        g_openMasks.clear();
        g_createMasks.clear();
        g_watch = {true, {}};
        ClearLoggedLines();
        TakeReports();
    }

    void TearDown() override { EXPECT_EQ(g_watch.held, 0) << "keys left open"; }

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

TEST_F(SettingsTest, StoredMinus100ReadsAsAFailureAndIsNotLoggedAsOne) {
    Store(kPenOptionKey, L"ButtonAction", -100);
    Store(kPenOptionKey, L"ClickAction", -100);
    Store(kPenPressureKey, L"PressureTH", -100);
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
        EXPECT_EQ(StoredNumber(kPenOptionKey, L"ButtonAction"), value);
        EXPECT_EQ(Get(L"GETPENSETTING"), value);
        EXPECT_EQ(LoggedLines(), Lines{"GetPenSetting Success"});

        EXPECT_EQ(Ask(L"SETPENCLICKSETTING", false, value), std::pair(true, value));
        EXPECT_EQ(StoredNumber(kPenOptionKey, L"ClickAction"), value);
        EXPECT_EQ(Get(L"GETPENCLICKSETTING"), value);
        EXPECT_TRUE(LoggedLines().empty());

        EXPECT_EQ(Ask(L"SETPENPRESSURESENSITIVITY", false, value), std::pair(true, value));
        EXPECT_EQ(StoredNumber(kPenPressureKey, L"PressureTH"), value);
        EXPECT_EQ(Get(L"GETPENPRESSURESENSITIVITY"), value);
        EXPECT_EQ(LoggedLines(), Lines{"GetPenPressureSensitivity : " + std::to_string(value)});
    }
    EXPECT_EQ(g_createMasks, std::vector<REGSAM>(15, KEY_WRITE));
    EXPECT_EQ(g_openMasks, std::vector<REGSAM>(15, KEY_ALL_ACCESS));
}

TEST_F(SettingsTest, SettingTheScreenModeKeepsTheColourProfileBesideIt) {
    EXPECT_EQ(Ask(L"SETSCREENMODE", false, 99), std::pair(true, 99L));
    EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), 99);
    EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), 3);
    EXPECT_EQ(Ask(L"SETSCREENMODE", false, 5), std::pair(true, 5L));
    EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), 5);
    EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), 5);
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
        Store(kSettingsKey, L"ScreenMode", 42);
        if (c.profile) {
            Store(kSettingsKey, L"ColorProfile", *c.profile);
        }
        EXPECT_EQ(Get(L"GETSCREENMODE"), c.mode);
        EXPECT_EQ(LoggedLines().back(), "GetScreenMode : " + std::to_string(c.mode));
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), c.repaired ? 99 : 42);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), c.repaired ? 3 : *c.profile);
    }
}

TEST_F(SettingsTest, PenClickIsRegisteredOnlyWhereNothingIs) {
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), std::pair(true, 8L));
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"brm-uap-tesselsetting:\\\\pen");
    EXPECT_EQ(g_createMasks, std::vector<REGSAM>{KEY_ALL_ACCESS});

    Store(kClickNoteKey, L"CustomProtocol", REG_SZ, L"other:", 14);
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), std::pair(true, 8L));
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"other:");

    // The key alone is not a registration, and is opened for writing.
    Remove(kClickNoteKey, L"CustomProtocol");
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), std::pair(true, 8L));
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"brm-uap-tesselsetting:\\\\pen");
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
    const auto read = RegistryReadString(kSettingsKey, L"Text");
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ(read->data(), text.substr(0, 100));
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
