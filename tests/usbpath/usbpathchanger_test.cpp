#include "usbpath/usbpathchanger.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cwchar>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "tests/support/interposed.h"
#include "tests/support/recorders.h"
#include "tests/support/registryvalues.h"

namespace {

const std::wstring kControlSet = L"SYSTEM\\ControlSet001\\";
const wchar_t kToCp[] = L"USBPATHCHANGER_CHANGEUSBPATHTOCP";
const wchar_t kToAp[] = L"USBPATHCHANGER_CHANGEUSBPATHTOAP";

// How many keys the product has opened. The test opens some too.
int g_opened = 0;

void NoteKey(bool as_required) {
    EXPECT_TRUE(as_required || !g_watch.on);
    EXPECT_EQ(g_watch.held, 0) << "each key is closed before the next is opened";
    ++g_opened;
}

void NoteMaking(HKEY, LPCWSTR, DWORD, LPCWSTR key_class, DWORD options, REGSAM access, ...) {
    NoteKey(*key_class == L'\0' && options == REG_OPTION_NON_VOLATILE && access == 0x20006);
}

void NoteOpening(HKEY, LPCWSTR, DWORD, REGSAM access, HKEY*) {
    NoteKey(access == 0xF003F);
}

}  // namespace

INTERPOSE_NOTED(RegCreateKeyExW, kOpensOnZero, NoteMaking);
INTERPOSE_NOTED(RegOpenKeyExW, kOpensOnZero, NoteOpening);
INTERPOSE(RegCloseKey, kCloses);

namespace {

// clang-format off
const wchar_t* const kKeys[] = {
    L"Control\\USB", L"Control\\USBFN", L"Control\\USBFN\\Configurations\\Default",
    L"Control\\USBFN\\Configurations\\RmNetCompositeConfig", L"Control\\USBFN\\Default",
    L"Control\\USBFN\\Interfaces\\IpOverUsb", L"Control\\USBFN\\Interfaces\\MTP",
    L"Control\\USBFN\\Interfaces\\VidStream", L"Services\\QCDIAGROUTER",
    L"Services\\QCDiagBridge", L"Services\\QCUSBFNSS\\Parameters",
};

// The values of the route to the modem, as StoredValues shows them, independent of the product's table.
// {compatible}, {vendor} and so on stand for binary data.
const wchar_t kCpValues[] = LR"([Control\USB]
RoleSwitchMode=4:03000000
[Control\USBFN]
BOSDescriptor=3:{bos}
CurrentConfiguration=1:RmNetCompositeConfig|
IncludeDefaultCfg=4:00000000
ManufacturerString=1:QUALCOMM|
ProductString=1:Qualcomm_Composite_Device|
SerialNumber=1:55378018|
bDeviceClass=4:00000000
bDeviceProtocol=4:00000000
bDeviceSubClass=4:00000000
iManufacturer=4:01000000
iProduct=4:02000000
iSerialNumber=4:03000000
idProduct=4:01900000
idVendor=4:C6050000
[Control\USBFN\Configurations\Default]
InterfaceList=7:MTP|IpOverUsb|VidStream||
MSOSCompatIdDescriptor=3:{compatible}
[Control\USBFN\Configurations\RmNetCompositeConfig]
InterfaceList=7:DIAG|NMEA|MODEM|RMNET||
bMaxPower=4:FA000000
bmAttributes=4:80000000
[Control\USBFN\Default]
ManufacturerString=1:Microsoft|
ProductString=1:Windows 10 Mobile Device|
bDeviceClass=4:00000000
bDeviceProtocol=4:00000000
bDeviceSubClass=4:00000000
bcdDevice=4:01000000
iManufacturer=4:01000000
iProduct=4:02000000
iSerialNumber=4:03000000
idProduct=4:CAF00000
idVendor=4:5E040000
[Control\USBFN\Interfaces\IpOverUsb]
InterfaceDescriptor=3:{vendor}
InterfaceGuid=1:{30613563-7df3-4afb-80e0-e8c427c7e9bf}|
MSOSExtendedPropertyDescriptor=3:{ipoverusb}
[Control\USBFN\Interfaces\MTP]
InterfaceDescriptor=3:{mtp}
InterfaceGuid=1:{61fd7822-e8d4-44c4-9065-aaad0a3beff0}|
[Control\USBFN\Interfaces\VidStream]
InterfaceDescriptor=3:{vendor}
InterfaceGuid=1:{31648E59-6FCB-4D81-9C97-D00999B0459A}|
MSOSExtendedPropertyDescriptor=3:{vidstream}
[Services\QCDIAGROUTER]
TransportType=4:01000000
[Services\QCUSBFNSS\Parameters]
EnableU1U2=4:00000000
)";
const wchar_t kApValues[] = L"[Services\\QCDIAGROUTER]\nTransportType=4:02000000\n";

std::wstring Hex(const void* data, std::size_t size) {
    std::wstring hex;
    for (std::size_t i = 0; i < size; ++i) {
        wchar_t digits[3];
        swprintf(digits, 3, L"%02X", static_cast<const BYTE*>(data)[i]);
        hex += digits;
    }
    return hex;
}

std::wstring HexOfText(const std::wstring& text) {
    return Hex(text.c_str(), (text.size() + 1) * sizeof(wchar_t));
}

std::wstring HexOfDword(const wchar_t* head, const wchar_t* name, const wchar_t* value) {
    return head + HexOfText(name) + L"04000000" + value;
}

std::wstring ExtendedProperties(const wchar_t* guid) {
    return L"74010000" L"000105000500"
           L"84000000" L"01000000" L"2800" + HexOfText(L"DeviceInterfaceGUID") +
           L"4E000000" + HexOfText(guid) +
           HexOfDword(L"36000000" L"04000000" L"2400", L"DeviceIdleEnabled", L"01000000") +
           HexOfDword(L"34000000" L"04000000" L"2200", L"DefaultIdleState", L"01000000") +
           HexOfDword(L"38000000" L"04000000" L"2600", L"DefaultIdleTimeout", L"10270000") +
           HexOfDword(L"44000000" L"04000000" L"3200", L"UserSetDeviceIdleEnabled", L"01000000");
}

std::wstring CpValues() {
    const std::pair<std::wstring, std::wstring> binaries[] = {
        {L"{bos}", L"050F160002" L"07100202000000" L"0A1003000E0001076500"},
        {L"{compatible}", L"58000000" L"0001" L"0400" L"03" L"00000000000000"
            L"0001" L"4D54500000000000" L"0000000000000000" L"000000000000"
            L"0101" L"57494E5553420000" L"0000000000000000" L"000000000000"
            L"0201" L"57494E5553420000" L"0000000000000000" L"000000000000"},
        {L"{mtp}", L"090400000306010100" L"07058102000200" L"07050202000200" L"07058303400004"},
        {L"{vendor}", L"0904000002FFFFFF00" L"07058102000200" L"07050202000200"},
        {L"{vendor}", L"0904000002FFFFFF00" L"07058102000200" L"07050202000200"},
        {L"{ipoverusb}", ExtendedProperties(L"{26fedc4e-6ac3-4241-9e4d-e3d4b2c5c534}")},
        {L"{vidstream}", ExtendedProperties(L"{31648E59-6FCB-4D81-9C97-D00999B0459A}")},
    };
    std::wstring values = kCpValues;
    for (const auto& [name, hex] : binaries) {
        values.replace(values.find(name), name.size(), hex);
    }
    return values;
}
// clang-format on

// All values of the keys: under "[key]" sorted lines "name=type:data". Strings are shown with every
// unit, zero as "|"; other data as hexadecimal bytes.
std::wstring StoredValues() {
    std::wstring all;
    for (const wchar_t* key_path : kKeys) {
        HKEY key;
        if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, (kControlSet + key_path).c_str(), 0, KEY_READ,
                          &key)) {
            continue;
        }
        std::set<std::wstring> lines;
        wchar_t name[100];
        BYTE data[1000];
        DWORD type;
        for (DWORD i = 0, length = 100, size = sizeof(data);
             RegEnumValueW(key, i, name, &length, nullptr, &type, data, &size) == 0;
             ++i, length = 100, size = sizeof(data)) {
            std::wstring text = Hex(data, size);
            if (type == REG_SZ || type == REG_MULTI_SZ) {
                text.assign(reinterpret_cast<wchar_t*>(data), size / sizeof(wchar_t));
                std::replace(text.begin(), text.end(), L'\0', L'|');
            }
            lines.insert(std::wstring(name) + L"=" + std::to_wstring(type) + L":" + text + L"\n");
        }
        RegCloseKey(key);
        if (!lines.empty()) {
            all += std::wstring(L"[") + key_path + L"]\n";
        }
        for (const std::wstring& line : lines) {
            all += line;
        }
    }
    return all;
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
        RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, (kControlSet + L"Control\\USB").c_str(),
                           L"RoleSwitchMode");
    }

    // Runs the command and returns what it printed.
    static std::wstring Run(const wchar_t* command) {
        ClearPrintedText();
        wchar_t text[] = L"text";
        g_opened = 0;
        g_watch = {true, {}};
        UsbPathChangerCommand(nullptr, command, true, 7, text);
        g_watch.on = false;
        EXPECT_EQ(g_watch.held, 0);
        EXPECT_EQ(TakeReports(), (std::vector<Report>{{command, true, 7, L"text"}}));
        return PrintedText();
    }
};

TEST_F(UsbPathChanger, RoutesToModemAndBackAndAgain) {
    const auto values = std::ranges::count(CpValues(), L'=');

    // The interface list is deleted first. Its key is there by then, the value is not.
    EXPECT_EQ(Run(kToCp), DeleteFailure(L"InterfaceList"));
    EXPECT_EQ(g_opened, values + 1) << "the key is opened for every value";
    EXPECT_EQ(StoredValues(), CpValues());

    // The diagnostic bridge's "Start" is deleted too.
    Store(kControlSet + L"Services\\QCDiagBridge", L"Start", 9);
    EXPECT_EQ(Run(kToAp), L"");
    EXPECT_EQ(g_opened, values + 1);
    EXPECT_EQ(StoredValues(), kApValues);

    // A message for every deletion; "TransportType" is set.
    const std::wstring failures = Run(kToAp);
    EXPECT_TRUE(
        failures.starts_with(DeleteFailure(L"RoleSwitchMode") + DeleteFailure(L"bmAttributes")));
    EXPECT_TRUE(failures.ends_with(DeleteFailure(L"EnableU1U2") + DeleteFailure(L"Start")));
    EXPECT_EQ(std::ranges::count(failures, L'\n'), values);

    // A value of another type in its place.
    Store(kControlSet + L"Control\\USBFN\\Configurations\\RmNetCompositeConfig", L"InterfaceList",
          9);
    EXPECT_EQ(Run(kToCp), L"");
    EXPECT_EQ(StoredValues(), CpValues());

    EXPECT_EQ(Run(L"USBPATHCHANGER_SMGETMUICSTATUS"), L"");
    EXPECT_EQ(g_opened, 0);
}

TEST_F(UsbPathChanger, SkipsMissingKeysWithoutAMessage) {
    // Of the keys that have values to delete, only the first is there.
    EXPECT_EQ(Run(kToAp), DeleteFailure(L"RoleSwitchMode"));
    EXPECT_EQ(StoredValues(), kApValues);
}

}  // namespace
