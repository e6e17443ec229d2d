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

using Lines = std::vector<std::string>;

// The log of the last command.
Lines g_log;

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

    static std::wstring Ask(const std::wstring& word, bool flag, long number) {
        const auto answer =
            AnswerOf(RegistryHelperCommand, L"REGISTRYHELPER_" + word, flag, number);
        g_log = TakeLog();
        return answer;
    }

    static void StoreAndRead(const std::wstring& word,
                             const std::wstring& key,
                             const wchar_t* value,
                             long stored,
                             long read,
                             const Lines& logged) {
        EXPECT_EQ(Ask(L"SET" + word, false, stored), L"true " + std::to_wstring(stored));
        EXPECT_TRUE(g_log.empty());
        EXPECT_EQ(StoredNumber(key, value), stored);
        EXPECT_EQ(Ask(L"GET" + word, true, 1234), L"true " + std::to_wstring(read));
        EXPECT_EQ(g_log, logged);
    }
};

TEST_F(SettingsTest, ValuesAreStoredUncheckedAndMinus100ReadsAsAFailureThatIsNotLogged) {
    StoreAndRead(L"PENSETTING", kPenOptionKey, L"ButtonAction", 7, 7, {"GetPenSetting Success"});
    StoreAndRead(L"PENSETTING", kPenOptionKey, L"ButtonAction", -100, -1, {});
    for (const long value : {LONG_MIN, -100L}) {
        StoreAndRead(L"PENCLICKSETTING", kPenOptionKey, L"ClickAction", value, value, {});
    }
    for (const long value : {-1L, -100L}) {
        StoreAndRead(L"PENPRESSURESENSITIVITY", kPenPressureKey, L"PressureTH", value, -1,
                     {"GetPenPressureSensitivity : -1"});
    }
    EXPECT_EQ(g_createMasks, std::vector<REGSAM>(6, KEY_WRITE));
    EXPECT_EQ(g_openMasks, std::vector<REGSAM>(6, KEY_ALL_ACCESS));
}

TEST_F(SettingsTest, SettingTheScreenModeKeepsTheColourProfile) {
    for (const auto& [mode, profile] : {std::pair(99L, 3L), std::pair(5L, 5L)}) {
        EXPECT_EQ(Ask(L"SETSCREENMODE", false, mode), L"true " + std::to_wstring(mode));
        EXPECT_EQ(g_log, Lines{"Set Screen Mode Success"});
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), mode);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), profile);
    }
}

TEST_F(SettingsTest, ScreenModeFollowsFromTheColourProfileAndIsRepairedWhenUnusable) {
    const struct {
        std::optional<long> profile;
        long mode;
        bool repaired;
    } cases[] = {{std::nullopt, 99, true}, {-100, 99, true}, {-1, 99, true}, {3, 99, false},
                 {4, 99, false},           {6, 99, false},   {5, 5, false},  {0, 0, false}};
    for (const auto& c : cases) {
        SetUp();
        SCOPED_TRACE(c.profile.value_or(12345));
        Store(kSettingsKey, L"ScreenMode", 42);
        if (c.profile) {
            Store(kSettingsKey, L"ColorProfile", *c.profile);
        }
        EXPECT_EQ(Ask(L"GETSCREENMODE", true, 1), L"true " + std::to_wstring(c.mode));
        EXPECT_EQ(g_log.back(), "GetScreenMode : " + std::to_string(c.mode));
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ScreenMode"), c.repaired ? 99 : 42);
        EXPECT_EQ(StoredNumber(kSettingsKey, L"ColorProfile"), c.repaired ? 3 : *c.profile);
    }
}

TEST_F(SettingsTest, PenClickIsRegisteredOnlyWhereNothingIs) {
    // Without the key and, later, with the key alone.
    for (int i = 0; i < 2; ++i) {
        Remove(kClickNoteKey, L"CustomProtocol");
        EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8");
        EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"brm-uap-tesselsetting:\\\\pen");
        EXPECT_EQ(g_createMasks, std::vector<REGSAM>{KEY_ALL_ACCESS}) << "made once";
    }
    Store(kClickNoteKey, L"CustomProtocol", std::wstring(L"other:"));
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8");
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"other:");
}

TEST_F(SettingsTest, LongValuesAreReadWithinTheirBuffers) {
    const std::vector<unsigned char> bytes(101, 0x01);
    Store(kPenOptionKey, L"ButtonAction", REG_BINARY, bytes.data(), 100);
    EXPECT_EQ(Ask(L"GETPENSETTING", true, 1), L"true " + std::to_wstring(0x01010101));
    Store(kPenOptionKey, L"ButtonAction", REG_BINARY, bytes.data(), 101);
    EXPECT_EQ(Ask(L"GETPENSETTING", true, 1), L"true -1");
    EXPECT_EQ(g_log, Lines{"Register Query Error"});

    // A text of 200 bytes without a terminator can be read. A longer one is taken for no text.
    const std::wstring text(101, L'x');
    Store(kClickNoteKey, L"CustomProtocol", REG_SZ, text.data(), 200);
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8");
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), text.substr(0, 100));
    Store(kClickNoteKey, L"CustomProtocol", REG_SZ, text.data(), 202);
    EXPECT_EQ(Ask(L"CHECKADDTIONALPENSETTING", false, 8), L"true 8");
    EXPECT_EQ(StoredText(kClickNoteKey, L"CustomProtocol"), L"brm-uap-tesselsetting:\\\\pen");
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
    const Lines unread = {"Register Open Error", "Register Query Error"};
    const std::string not_made = "RegCreateKeyEx Error - 5";
    EXPECT_EQ(ask(L"GETPENSETTING", "RegOpenKeyExW", 1, 5), L"true -1");
    EXPECT_EQ(g_log, unread);
    EXPECT_EQ(ask(L"GETPENCLICKSETTING", "", 0, 0), L"true -100");
    EXPECT_EQ(g_log, Lines{"Register Query Error"});
    EXPECT_EQ(ask(L"SETPENSETTING", "RegCreateKeyExW", 1, 5), L"false 7");
    EXPECT_EQ(g_log, Lines{not_made});
    EXPECT_EQ(ask(L"SETPENSETTING", "RegSetValueExW", 1, -7), L"false 7");
    EXPECT_EQ(g_log, Lines{"RegSetValueEx Error - -7"});
    EXPECT_EQ(ask(L"SETPENPRESSURESENSITIVITY", "RegCreateKeyExW", 1, 5), L"true 7");
    EXPECT_EQ(g_log, Lines{not_made});
    for (const char* function : {"RegCreateKeyExW", "RegSetValueExW"}) {
        EXPECT_EQ(ask(L"CHECKADDTIONALPENSETTING", function, 1, 5), L"false 7");
        EXPECT_EQ(g_log, unread);
    }
    // Of two values, the other one is stored.
    EXPECT_EQ(ask(L"GETSCREENMODE", "RegCreateKeyExW", 1, 5), L"true 99");
    EXPECT_EQ(g_log, (Lines{"Register Query Error", not_made, "GetScreenMode : 99"}));
    expect_stored({}, 3);
    EXPECT_EQ(ask(L"SETSCREENMODE", "RegCreateKeyExW", 1, 5), L"false 7");
    EXPECT_EQ(g_log, (Lines{not_made, "Set Screen Mode Failure"}));
    expect_stored({}, 7);
    EXPECT_EQ(ask(L"SETSCREENMODE", "RegCreateKeyExW", 2, 5), L"true 7");
    EXPECT_EQ(g_log, (Lines{not_made, "Set Screen Mode Success"}));
    expect_stored(7, {});
}

TEST_F(SettingsTest, EchoedUnansweredAndUnknownCommands) {
    EXPECT_EQ(Ask(L"ISVZWQ", true, -9), L"true -9");
    EXPECT_EQ(Ask(L"GETDEVICENAME", false, 4), L"false 4");
    for (const wchar_t* word : {L"SETDIMMINGTIME", L"GETDIMMINGTIME", L"ISSMARTDIMMINGSUPPORT",
                                L"getpensetting", L"", L"GETPENSETTINGS", L"GETPENSETTIN"}) {
        EXPECT_EQ(Ask(word, true, 1), L"");
        EXPECT_TRUE(g_log.empty());
    }
}

TEST_F(SettingsTest, EveryRequestIsLoggedAndNotEveryCommandIsRouted) {
    for (const bool routed : {true, false}) {
        const std::string name = routed ? "REGISTRYHELPER_ISVZWQ" : "REGISTRYHELPER_GETDEVICENAME";
        wchar_t text[] = L"\x2603\xE9|\n";
        g_answers.clear();
        RemoteRequest(nullptr, std::wstring(name.begin(), name.end()).c_str(), 2, LONG_MIN, text);
        EXPECT_EQ(g_answers,
                  routed ? L"REGISTRYHELPER_ISVZWQ true -2147483648 \x2603\xE9|\n" : L"");
        EXPECT_EQ(TakeLog(), Lines{"Data Recieved requestString : " + name +
                                   " / data_bool : true / data_int : -2147483648"
                                   " / data_string : \x03\xE9|\n"});
    }
}

}  // namespace
