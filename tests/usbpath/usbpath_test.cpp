// The values are those of the table in docs/protocol.md, in its order.
#include "usbpath/usbpathchanger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/support/answers.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"

namespace {

const std::wstring kControlSet = L"SYSTEM\\ControlSet001\\";
const wchar_t kToCp[] = L"USBPATHCHANGER_CHANGEUSBPATHTOCP";
const wchar_t kToAp[] = L"USBPATHCHANGER_CHANGEUSBPATHTOAP";

// A call that changes a value, as the table shows it; `dump` has binary data as shown below it.
struct Change {
    std::string key;
    std::string name;
    std::string value;
    std::string dump = {};
};
std::vector<Change> g_changes;
std::vector<std::string> g_opened;

std::string Narrow(std::wstring_view text) {
    return {text.begin(), text.end()};
}

void NoteKey(const std::wstring& path, bool as_required) {
    EXPECT_TRUE(as_required && path.starts_with(kControlSet));
    EXPECT_EQ(g_watch.held, 0) << "each key is closed before the next is opened";
    g_opened.push_back(Narrow(path).substr(kControlSet.size()));
}

void NoteMaking(HKEY, LPCWSTR path, DWORD, LPCWSTR key_class, DWORD options, REGSAM access, ...) {
    NoteKey(path, *key_class == L'\0' && options == REG_OPTION_NON_VOLATILE && access == 0x20006);
}

void NoteOpening(HKEY, LPCWSTR path, DWORD, REGSAM access, HKEY*) {
    NoteKey(path, access == 0xF003F);
}

void NoteStoring(HKEY, LPCWSTR name, DWORD, DWORD type, const BYTE* data, DWORD size) {
    Change change = {g_opened.back(), Narrow(name), "?"};
    std::string text = Narrow({reinterpret_cast<const wchar_t*>(data), size / sizeof(wchar_t)});
    const std::size_t units = text.find_last_not_of('\0') + 1;
    char shown[32];
    if (type == REG_DWORD && size == sizeof(DWORD)) {
        std::snprintf(shown, 32, "REG_DWORD 0x%lX", *reinterpret_cast<const DWORD*>(data));
        change.value = shown;
    } else if (type == REG_BINARY) {
        change.value = "REG_BINARY, " + std::to_string(size) + " bytes, below";
        for (DWORD i = 0; i < size; ++i) {
            std::snprintf(shown, 32, "%s%02x", i % 32 == 0 ? "\n    " : " ", data[i]);
            change.dump += shown;
        }
    } else if (text.size() == units + (type == REG_SZ ? 1 : 2)) {
        text.resize(units);
        std::replace(text.begin(), text.end(), '\0', ' ');
        change.value = (type == REG_SZ ? "REG_SZ `" : "REG_MULTI_SZ `") + text + "`";
    }
    g_changes.push_back(change);
}

void NoteDeletion(HKEY, LPCWSTR name) {
    g_changes.push_back({g_opened.back(), Narrow(name), "deleted"});
}

}  // namespace

INTERPOSE_NOTED(RegCreateKeyExW, kOpensOnZero, NoteMaking);
INTERPOSE_NOTED(RegOpenKeyExW, kOpensOnZero, NoteOpening);
INTERPOSE_NOTED(RegSetValueExW, kNone, NoteStoring);
INTERPOSE_NOTED(RegDeleteValueW, kNone, NoteDeletion);
INTERPOSE(RegCloseKey, kCloses);

namespace {

// Returns the part of the document after its marker.
std::string DocumentedTable() {
    std::ifstream file("Z:" PROTOCOL_DOCUMENT, std::ios::binary);
    const std::string text(std::istreambuf_iterator<char>(file), {});
    const std::string marker = "<!-- usbtable -->\n";
    return text.substr(std::min(text.find(marker), text.size() - marker.size()) + marker.size());
}

// Returns the same of the changes of both commands. The way back has one change more.
std::string Table(const std::vector<Change>& to_cp, const std::vector<Change>& to_ap) {
    std::string rows = "| Key | Value | To the modem | Back to Windows |\n|---|---|---|---|\n";
    std::string dumps;
    for (std::size_t i = 0; i < to_ap.size(); ++i) {
        const Change& ap = to_ap[i];
        const Change cp = i < to_cp.size() ? to_cp[i] : Change{ap.key, ap.name, "-"};
        const std::string place = "`" + cp.key + "`, `" + cp.name + "`";
        EXPECT_EQ(place, "`" + ap.key + "`, `" + ap.name + "`");
        rows += "| `" + cp.key + "` | `" + cp.name + "` | " + cp.value + " | " + ap.value + " |\n";
        dumps += cp.dump.empty() ? "" : "\n" + place + ":\n" + cp.dump + "\n";
    }
    return rows + dumps;
}

std::wstring DeleteFailure(const std::wstring& name) {
    return L"RegistryDeleteValue fail, the value(" + name + L") does not exist\n";
}

class UsbPathChanger : public testing::Test {
 protected:
    UsbPathChanger() { Clean(); }
    ~UsbPathChanger() override { Clean(); }

    static void Clean() {
        for (const wchar_t* key : {L"Control\\USBFN", L"Services\\QCUSBFNSS",
                                   L"Services\\QCDIAGROUTER", L"Services\\QCDiagBridge"}) {
            RegDeleteTreeW(HKEY_LOCAL_MACHINE, (kControlSet + key).c_str());
        }
        Remove(kControlSet + L"Control\\USB", L"RoleSwitchMode");
    }

    // Runs the command and returns what it printed.
    static std::wstring Run(const wchar_t* command, const Fault& fault = {}) {
        g_changes.clear();
        g_opened.clear();
        g_watch = {true, fault};
        EXPECT_EQ(AnswerOf(UsbPathChangerCommand, command, true, 7), L"true 7");
        g_watch.on = false;
        EXPECT_EQ(g_watch.held, 0);
        return TakePrinted();
    }
};

TEST_F(UsbPathChanger, MakesTheDocumentedChangesToTheModemAndBack) {
    // The interface list is deleted first. Its key exists then, the value does not.
    EXPECT_EQ(Run(kToCp), DeleteFailure(L"InterfaceList"));
    EXPECT_EQ(g_opened.size(), g_changes.size()) << "the key is opened for every value";
    std::vector<Change> to_cp = g_changes;
    const auto list = std::ranges::find(to_cp, "deleted", &Change::value);
    ASSERT_TRUE(list != to_cp.end() && list[0].key == list[1].key && list[1].name == list[0].name);
    to_cp.erase(list);

    Store(kControlSet + L"Services\\QCDiagBridge", L"Start", 9);
    EXPECT_EQ(Run(kToAp), L"");
    EXPECT_EQ(g_opened.size(), g_changes.size());
    EXPECT_EQ(Table(to_cp, g_changes), DocumentedTable());

    // A message for every deletion; "TransportType" is set.
    const std::wstring failures = Run(kToAp);
    EXPECT_TRUE(
        failures.starts_with(DeleteFailure(L"RoleSwitchMode") + DeleteFailure(L"bmAttributes")));
    EXPECT_TRUE(failures.ends_with(DeleteFailure(L"EnableU1U2") + DeleteFailure(L"Start")));
    EXPECT_EQ(std::ranges::count(failures, L'\n'), std::ssize(g_changes) - 1);

    EXPECT_EQ(Run(L"USBPATHCHANGER_SMGETMUICSTATUS"), L"");
    EXPECT_TRUE(g_opened.empty());
}

TEST_F(UsbPathChanger, SkipsMissingKeysWithoutAMessage) {
    // Of the keys with values to delete, only the first exists.
    EXPECT_EQ(Run(kToAp), DeleteFailure(L"RoleSwitchMode"));
    EXPECT_EQ(StoredNumber(kControlSet + L"Services\\QCDIAGROUTER", L"TransportType"), 2);
}

TEST_F(UsbPathChanger, GoesOnAfterAFailure) {
    Run(kToCp);
    const std::size_t all = g_opened.size();
    EXPECT_EQ(Run(kToCp, {"RegCreateKeyExW", 8, 5}), L"");
    EXPECT_EQ(g_opened.size(), all - 1);
    // The message shows the last error of the thread, not the status that was returned.
    EXPECT_EQ(Run(kToCp, {"RegSetValueExW", 3, 112, 4711}),
              L"RegSetValueEx fail, GetLastError(4711) ValueName[bMaxPower]\n");
    EXPECT_EQ(g_opened.size(), all);
}

}  // namespace
