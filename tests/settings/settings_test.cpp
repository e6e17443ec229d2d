// The settings family with Wine's registry and the real key names.
#include <gtest/gtest.h>
#include <windows.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "settings/registryhelper.h"
#include "tests/support/answers.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"

namespace {

const std::wstring kVendorKey = L"SOFTWARE\\Bramble";
const std::wstring kSettingsKey = kVendorKey + L"\\BrambleSettings";
const std::wstring kPenOptionKey = kSettingsKey + L"\\PenOption";
const std::wstring kPenPressureKey = kSettingsKey + L"\\PenPressureTH";
const std::wstring kClickNoteParent = L"SOFTWARE\\Microsoft\\Windows\\CurrentVersion\\ClickNote";
const std::wstring kClickNoteKey = kClickNoteParent + L"\\OemCustomizationSettingsApp";

// The access masks with which keys were opened and created.
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
INTERPOSE(RegSetValueExW, kNone);

namespace {

class SettingsTest : public testing::Test {
 protected:
    void SetUp() override {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVendorKey.c_str());
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kClickNoteParent.c_str());
        g_openMasks.clear();
        g_createMasks.clear();
        g_watch = {true, {}};
    }

    void TearDown() override { EXPECT_EQ(g_watch.held, 0) << "keys left open"; }

    // Returns the flag and number of the answer, and the lines of the log, each after "; ".
    static std::wstring Ask(const std::wstring& word, bool flag, long number) {
        std::wstring result =
            AnswerOf(RegistryHelperCommand, L"REGISTRYHELPER_" + word, flag, number);
        for (const std::string& line : TakeLog()) {
            result += L"; " + std::wstring(line.begin(), line.end());
        }
        return result;
    }

    // Stores a number and returns what reading it gives.
    static std::wstring Read(const std::wstring& word,
                             const std::wstring& key,
                             const wchar_t* value,
                             long number) {
        EXPECT_EQ(Ask(L"SET" + word, false, number), L"true " + std::to_wstring(number));
        EXPECT_EQ(StoredNumber(key, value), number);
        return Ask(L"GET" + word, true, 1234);
    }
};

TEST_F(SettingsTest, ValuesAreStoredUncheckedAndMinus100ReadsAsAFailureThatIsNotLogged) {
    EXPECT_EQ(Read(L"PENSETTING", kPenOptionKey, L"ButtonAction", 7),
              L"true 7; GetPenSetting Success");
    EXPECT_EQ(Read(L"PENSETTING", kPenOptionKey, L"ButtonAction", -100), L"true -1");
    for (const long value : {LONG_MIN, -100L}) {
        EXPECT_EQ(Read(L"PENCLICKSETTING", kPenOptionKey, L"ClickAction", value),
                  L"true " + std::to_wstring(value));
    }
    for (const long value : {-1L, -100L}) {
        EXPECT_EQ(Read(L"PENPRESSURESENSITIVITY", kPenPressureKey, L"PressureTH", value),
                  L"true -1; GetPenPressureSensitivity : -1");
    }
    EXPECT_EQ(g_createMasks, std::vector<REGSAM>(6, KEY_WRITE));
    EXPECT_EQ(g_openMasks, std::vector<REGSAM>(6, KEY_ALL_ACCESS));
}

TEST_F(SettingsTest, SettingTheScreenModeStoresTheColourProfileToo) {
    for (const auto& [mode, profile] : {std::pair(99L, 3L), std::pair(5L, 5L)}) {
        EXPECT_EQ(Ask(L"SETSCREENMODE", false, mode),
                  L"true " + std::to_wstring(mode) + L"; Set Screen Mode Success");
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), mode);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), profile);
    }
}

TEST_F(SettingsTest, ScreenModeFollowsFromTheColourProfileAndIsRepairedWhenUnusable) {
    const struct {
        std::optional<long> profile;
        const wchar_t* answer;
        bool repaired;
    } rows[] = {{std::nullopt, L"true 99; Register Query Error; GetScreenMode : 99", true},
                {-100, L"true 99; GetScreenMode : 99", true},
                {-1, L"true 99; GetScreenMode : 99", true},
                {3, L"true 99; GetScreenMode : 99", false},
                {4, L"true 99; GetScreenMode : 99", false},
                {6, L"true 99; GetScreenMode : 99", false},
                {5, L"true 5; GetScreenMode : 5", false},
                {0, L"true 0; GetScreenMode : 0", false}};
    for (const auto& [profile, answer, repaired] : rows) {
        SetUp();
        Store(kSettingsKey, L"ScreenMode", 42);
        if (profile) {
            Store(kSettingsKey, L"ColorProfile", *profile);
        }
        EXPECT_EQ(Ask(L"GETSCREENMODE", true, 1), answer);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), repaired ? 99 : 42);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), repaired ? 3 : profile);
    }
}

TEST_F(SettingsTest, PenClickIsRegisteredOnlyIfNothingIs) {
    const auto stored = [] { return StoredText(kClickNoteKey, L"CustomProtocol"); };
    const std::wstring own = L"brm-uap-tesselsetting:\\\\pen";
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8),
              L"true 8; Register Open Error; Register Query Error");
    EXPECT_EQ(stored(), own);
    Remove(kClickNoteKey, L"CustomProtocol");
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8; Register Query Error");
    EXPECT_EQ(stored(), own);
    EXPECT_EQ(g_createMasks, std::vector<REGSAM>{KEY_ALL_ACCESS}) << "made once";

    // A text of 200 bytes without a terminator can be read. A longer one counts as missing.
    const std::wstring other(101, L'x');
    Store(kClickNoteKey, L"CustomProtocol", REG_SZ, other.data(), 200);
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8");
    EXPECT_EQ(stored(), other.substr(0, 100));
    Store(kClickNoteKey, L"CustomProtocol", REG_SZ, other.data(), 202);
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8; Register Query Error");
    EXPECT_EQ(stored(), own);
}

TEST_F(SettingsTest, ALongNumberIsReadWithinItsBuffer) {
    const std::vector<unsigned char> bytes(101, 0x01);
    Store(kPenOptionKey, L"ButtonAction", REG_BINARY, bytes.data(), 100);
    EXPECT_EQ(Ask(L"GETPENSETTING", true, 1), L"true 16843009; GetPenSetting Success");
    Store(kPenOptionKey, L"ButtonAction", REG_BINARY, bytes.data(), 101);
    EXPECT_EQ(Ask(L"GETPENSETTING", true, 1), L"true -1; Register Query Error");
}

TEST_F(SettingsTest, FailuresOfTheRegistryAreAnsweredAndLogged) {
    const auto ask = [](const wchar_t* word, const char* function, int call, LSTATUS error) {
        RegDeleteTreeW(HKEY_LOCAL_MACHINE, kVendorKey.c_str());
        Store(kPenOptionKey, L"ButtonAction", 5);
        g_watch = {true, {function, call, error}};
        return Ask(word, true, 7);
    };
    const auto expect_stored = [](std::optional<long> mode, std::optional<long> profile) {
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), mode);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), profile);
    };
    EXPECT_EQ(ask(L"GETPENSETTING", "RegOpenKeyExW", 1, 5),
              L"true -1; Register Open Error; Register Query Error");
    EXPECT_EQ(ask(L"GETPENCLICKSETTING", "", 0, 0), L"true -100; Register Query Error");
    EXPECT_EQ(ask(L"SETPENSETTING", "RegCreateKeyExW", 1, 5), L"false 7; RegCreateKeyEx Error - 5");
    EXPECT_EQ(ask(L"SETPENSETTING", "RegSetValueExW", 1, -7), L"false 7; RegSetValueEx Error - -7");
    EXPECT_EQ(ask(L"SETPENPRESSURESENSITIVITY", "RegCreateKeyExW", 1, 5),
              L"true 7; RegCreateKeyEx Error - 5");
    for (const char* function : {"RegCreateKeyExW", "RegSetValueExW"}) {
        EXPECT_EQ(ask(L"CHECKADDTIONALPENSETTING", function, 1, 5),
                  L"false 7; Register Open Error; Register Query Error");
    }
    // If one of the two values cannot be stored, the other one is.
    EXPECT_EQ(ask(L"GETSCREENMODE", "RegCreateKeyExW", 1, 5),
              L"true 99; Register Query Error; RegCreateKeyEx Error - 5; GetScreenMode : 99");
    expect_stored({}, 3);
    EXPECT_EQ(ask(L"SETSCREENMODE", "RegCreateKeyExW", 1, 5),
              L"false 7; RegCreateKeyEx Error - 5; Set Screen Mode Failure");
    expect_stored({}, 7);
    EXPECT_EQ(ask(L"SETSCREENMODE", "RegCreateKeyExW", 2, 5),
              L"true 7; RegCreateKeyEx Error - 5; Set Screen Mode Success");
    expect_stored(7, {});
}

TEST_F(SettingsTest, EchoedUnansweredAndUnknownCommands) {
    EXPECT_EQ(Ask(L"ISVZWQ", true, -9), L"true -9");
    EXPECT_EQ(Ask(L"GETDEVICENAME", false, 4), L"false 4");
    for (const wchar_t* word : {L"SETDIMMINGTIME", L"GETDIMMINGTIME", L"ISSMARTDIMMINGSUPPORT",
                                L"getpensetting", L"", L"GETPENSETTINGS", L"GETPENSETTIN"}) {
        EXPECT_EQ(Ask(word, true, 1), L"");
    }
}

TEST_F(SettingsTest, ACommandThatIsNotRoutedIsLoggedAndNotAnswered) {
    wchar_t text[] = L"\x2603\xE9|\n";
    g_answers.clear();
    RemoteRequest(nullptr, L"REGISTRYHELPER_GETDEVICENAME", 2, LONG_MIN, text);
    EXPECT_EQ(g_answers, L"");
    EXPECT_EQ(TakeLog(),
              std::vector<std::string>{
                  "Data Recieved requestString : REGISTRYHELPER_GETDEVICENAME / data_bool : true"
                  " / data_int : -2147483648 / data_string : \x03\xE9|\n"});
    RemoteRequest(nullptr, L"REGISTRYHELPER_ISVZWQ", 2, LONG_MIN, text);
    EXPECT_EQ(g_answers, L"REGISTRYHELPER_ISVZWQ true -2147483648 \x2603\xE9|\n");
}

}  // namespace
