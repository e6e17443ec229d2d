// Against the simulated control device, which the fixture of this test has loaded.
#include "bledevice/blehelper.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "bledevice/controldevice.h"
#include "simulator/wine/deviceinterfaces.h"
#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"

namespace {

const wchar_t kGet[] = L"BLEHELPER_GETBLE";
const wchar_t kSet[] = L"BLEHELPER_SETBLE";
const wchar_t kIsSupported[] = L"BLEHELPER_ISBLESUPPORT";

const std::wstring kDevice = L"\\\\.\\TesselControl";
const std::wstring kNoDevice = L"\\\\.\\NoSuchDevice";
const wchar_t kState[] = L"SOFTWARE\\Tessel Simulator\\ControlDevice";

std::vector<std::wstring> g_opened;

void NoteOpening(const wchar_t* path,
                 DWORD access,
                 DWORD share,
                 SECURITY_ATTRIBUTES* /*security*/,
                 DWORD creation,
                 DWORD flags,
                 HANDLE /*pattern*/) {
    g_opened.emplace_back(path);
    EXPECT_TRUE(access == 3 && share == 3 && creation == OPEN_EXISTING && flags == 0x40000000);
}

}  // namespace

INTERPOSE_NOTED(CreateFileW, kOpensHandle, NoteOpening);
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

Report Ask(const wchar_t* command, bool data_bool) {
    wchar_t text[] = L"text";
    BleHelperCommand(nullptr, command, data_bool, -7, text);
    const std::vector<Report> reports = TakeReports();
    EXPECT_EQ(reports.size(), 1u);
    return reports.empty() ? Report{} : reports[0];
}

class BleHelper : public testing::Test {
 protected:
    void SetUp() override {
        SetInterfaces({kDevice});
        Store(kState, L"Value", 0);
        Store(kState, L"Support", 1);
        std::uint32_t value = 0;
        ASSERT_EQ(0, ReadControlDeviceValue(&value)) << "the driver is not loaded";
        g_opened.clear();
    }

    ~BleHelper() override { SetInterfaces({kDevice}); }

    static void ExpectNoDevice() {
        EXPECT_EQ(Ask(kGet, true), (Report{kGet, false, 0, L"text"}));
        EXPECT_EQ(Ask(kSet, true), (Report{kSet, true, -7, L"text"}));
        EXPECT_EQ(Ask(kIsSupported, true), (Report{kIsSupported, true, 0, L"text"}));
    }
};

TEST_F(BleHelper, CarriesOutItsCommands) {
    // The stand-in has the class from the product: this is the only other place that knows it.
    const GUID device_class = {
        0xE5A92EF2, 0x3663, 0x46C0, {0xB8, 0xFE, 0xCC, 0x12, 0x8D, 0xBF, 0x13, 0x04}};
    EXPECT_TRUE(IsEqualGUID(kControlDeviceClass, device_class));

    EXPECT_EQ(Ask(kSet, true), (Report{kSet, true, -7, L"text"}));
    EXPECT_EQ(StoredNumber(kState, L"Value"), 85);
    EXPECT_EQ(Ask(kGet, false), (Report{kGet, true, 85, L"text"}));
    EXPECT_EQ(Ask(kSet, false), (Report{kSet, false, -7, L"text"}));
    EXPECT_EQ(StoredNumber(kState, L"Value"), 0);
    Store(kState, L"Value", 0xFFFFFFFE);
    EXPECT_EQ(Ask(kGet, true), (Report{kGet, false, -2, L"text"}));

    Store(kState, L"Support", 0x100);
    EXPECT_EQ(Ask(kIsSupported, false), (Report{kIsSupported, false, 1, L"text"}));
    Store(kState, L"Support", 0);
    EXPECT_EQ(Ask(kIsSupported, true), (Report{kIsSupported, true, 0, L"text"}));
}

TEST_F(BleHelper, WithoutADeviceNothingIsOpened) {
    Remove(kState, L"Interfaces");
    ExpectNoDevice();
    EXPECT_TRUE(g_opened.empty());
}

TEST_F(BleHelper, OnlyTheFirstDeviceIsUsed) {
    Store(kState, L"Value", 85);
    SetInterfaces({kDevice, kNoDevice});
    EXPECT_TRUE(Ask(kGet, false).flag);
    EXPECT_EQ(g_opened, (std::vector<std::wstring>{kDevice}));
    SetInterfaces({kNoDevice, kDevice});
    ExpectNoDevice();
    EXPECT_EQ(g_opened.back(), kNoDevice);
}

TEST_F(BleHelper, AListThatDoesNotFitIsNoDevice) {
    Store(kState, L"Value", 85);
    // With both terminators and the empty string at the end: 256 characters.
    std::wstring second(256 - kDevice.size() - 3, L'x');
    SetInterfaces({kDevice, second});
    EXPECT_TRUE(Ask(kGet, false).flag);
    g_opened.clear();
    SetInterfaces({kDevice, second + L'x'});
    ExpectNoDevice();
    EXPECT_TRUE(g_opened.empty());
}

}  // namespace
