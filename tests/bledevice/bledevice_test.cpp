// Runs with the simulated control device, which the fixture of this test has loaded.
#include "bledevice/blehelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bledevice/controldevice.h"
#include "simulator/wine/deviceinterfaces.h"
#include "tests/support/answers.h"
#include "tests/support/interposed.h"
#include "tests/support/registryvalues.h"

namespace {

const std::wstring kDevice = L"\\\\.\\TesselControl";
const std::wstring kNoDevice = L"\\\\.\\NoSuchDevice";
const wchar_t kState[] = L"SOFTWARE\\Tessel Simulator\\ControlDevice";

std::vector<std::wstring> g_opened;

void NoteOpening(const wchar_t* path,
                 DWORD access,
                 DWORD share,
                 void*,
                 DWORD creation,
                 DWORD flags,
                 HANDLE) {
    g_opened.emplace_back(path);
    EXPECT_TRUE(access == 3 && share == 3 && creation == OPEN_EXISTING && flags == 0x40000000);
}

}  // namespace

INTERPOSE_NOTED(CreateFileW, kOpensHandle, NoteOpening);
INTERPOSE(CloseHandle, kCloses);
REPLACE_IMPORT(CM_Get_Device_Interface_List_SizeW, SimulatedDeviceInterfaceListSize);
REPLACE_IMPORT(CM_Get_Device_Interface_ListW, SimulatedDeviceInterfaceList);

namespace {

void SetInterfaces(const std::vector<std::wstring>& paths) {
    std::wstring list;
    for (const std::wstring& path : paths) {
        list += path + L'\0';
    }
    Store(kState, L"Interfaces", REG_MULTI_SZ, list.c_str(), (list.size() + 1) * sizeof(wchar_t));
}

std::wstring Ask(const std::wstring& word, bool flag) {
    return AnswerOf(BleHelperCommand, L"BLEHELPER_" + word, flag, -7);
}

class BleHelper : public testing::Test {
 protected:
    BleHelper() { SetInterfaces({kDevice}); }

    ~BleHelper() override {
        g_watch = {};
        SetInterfaces({kDevice});
    }
};

TEST_F(BleHelper, CarriesOutItsCommands) {
    // The simulated device takes the class from the product, so it is written down here.
    const GUID device_class = {
        0xE5A92EF2, 0x3663, 0x46C0, {0xB8, 0xFE, 0xCC, 0x12, 0x8D, 0xBF, 0x13, 0x04}};
    EXPECT_TRUE(IsEqualGUID(kControlDeviceClass, device_class));

    EXPECT_EQ(Ask(L"SETBLE", true), L"true -7");
    EXPECT_EQ(StoredNumber(kState, L"Value"), 85);
    EXPECT_EQ(Ask(L"GETBLE", false), L"true 85");
    EXPECT_EQ(Ask(L"SETBLE", false), L"false -7");
    EXPECT_EQ(StoredNumber(kState, L"Value"), 0);
    Store(kState, L"Value", 0xFFFFFFFE);
    EXPECT_EQ(Ask(L"GETBLE", true), L"false -2");

    Store(kState, L"Support", 0x100);
    EXPECT_EQ(Ask(L"ISBLESUPPORT", false), L"false 1");
    Store(kState, L"Support", 0);
    EXPECT_EQ(Ask(L"ISBLESUPPORT", true), L"true 0");
}

TEST_F(BleHelper, UsesTheFirstDeviceOfAListThatFitsTheBuffer) {
    // With both terminators and the empty string at the end: 256 characters.
    const std::wstring second(256 - kDevice.size() - 3, L'x');
    const struct {
        std::vector<std::wstring> list;
        std::wstring opened;
    } lists[] = {{{kDevice, kNoDevice}, kDevice},
                 {{kDevice, second}, kDevice},
                 {{kNoDevice, kDevice}, kNoDevice},
                 {{kDevice, second + L'x'}, L""},
                 {{}, L""}};
    Store(kState, L"Value", 85);
    for (const auto& [list, opened] : lists) {
        SetInterfaces(list);
        g_opened.clear();
        EXPECT_EQ(Ask(L"GETBLE", true), opened == kDevice ? L"true 85" : L"false 0");
        EXPECT_EQ(g_opened, std::vector<std::wstring>(opened.empty() ? 0 : 1, opened));
    }
}

TEST_F(BleHelper, AnswersAndKeepsTheDeviceOpenAfterAFailure) {
    Store(kState, L"Value", 85);
    Store(kState, L"Fail", 1);
    g_watch = {true, {}};
    EXPECT_EQ(Ask(L"GETBLE", true), L"false 0");
    EXPECT_EQ(Ask(L"SETBLE", true), L"true -7");
    EXPECT_EQ(Ask(L"ISBLESUPPORT", true), L"true 0");
    EXPECT_EQ(g_watch.held, 3);
    Store(kState, L"Fail", 0);
}

}  // namespace
