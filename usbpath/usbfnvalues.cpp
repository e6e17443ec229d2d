#include "usbpath/usbfnvalues.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace {

static_assert(std::endian::native == std::endian::little, "USB descriptors are little-endian");

template <typename Descriptor>
constexpr auto BytesOf(const Descriptor& descriptor) {
    return std::bit_cast<std::array<std::uint8_t, sizeof(Descriptor)>>(descriptor);
}

// The names of the fields are those of the USB documents.
#pragma pack(push, 1)

struct BosHeader {
    std::uint8_t bLength;
    std::uint8_t bDescriptorType;
    std::uint16_t wTotalLength;
    std::uint8_t bNumDeviceCaps;
};

struct Usb2ExtensionCapability {
    std::uint8_t bLength;
    std::uint8_t bDescriptorType;
    std::uint8_t bDevCapabilityType;
    std::uint32_t bmAttributes;
};

struct SuperSpeedCapability {
    std::uint8_t bLength;
    std::uint8_t bDescriptorType;
    std::uint8_t bDevCapabilityType;
    std::uint8_t bmAttributes;
    std::uint16_t wSpeedsSupported;
    std::uint8_t bFunctionalitySupport;
    std::uint8_t bU1DevExitLat;
    std::uint16_t wU2DevExitLat;
};

struct BosDescriptor {
    BosHeader header;
    Usb2ExtensionCapability usb2_extension;
    SuperSpeedCapability super_speed;
};

struct InterfaceDescriptor {
    std::uint8_t bLength;
    std::uint8_t bDescriptorType;
    std::uint8_t bInterfaceNumber;
    std::uint8_t bAlternateSetting;
    std::uint8_t bNumEndpoints;
    std::uint8_t bInterfaceClass;
    std::uint8_t bInterfaceSubClass;
    std::uint8_t bInterfaceProtocol;
    std::uint8_t iInterface;
};

struct EndpointDescriptor {
    std::uint8_t bLength;
    std::uint8_t bDescriptorType;
    std::uint8_t bEndpointAddress;
    std::uint8_t bmAttributes;
    std::uint16_t wMaxPacketSize;
    std::uint8_t bInterval;
};

template <std::size_t endpoint_count>
struct InterfaceWithEndpoints {
    InterfaceDescriptor interface_descriptor;
    EndpointDescriptor endpoints[endpoint_count];
};

struct CompatibleIdSection {
    std::uint8_t bFirstInterfaceNumber;
    std::uint8_t bReserved1;
    char compatibleID[8];
    char subCompatibleID[8];
    std::uint8_t bReserved2[6];
};

struct CompatibleIdDescriptor {
    std::uint32_t dwLength;
    std::uint16_t bcdVersion;
    std::uint16_t wIndex;
    std::uint8_t bCount;
    std::uint8_t bReserved[7];
    CompatibleIdSection sections[3];
};

// `name_units` includes the terminator. `Data` is a number or an array of UTF-16 units.
template <std::size_t name_units, typename Data>
struct PropertySection {
    std::uint32_t dwSize;
    std::uint32_t dwPropertyDataType;
    std::uint16_t wPropertyNameLength;
    std::array<char16_t, name_units> bPropertyName;
    std::uint32_t dwPropertyDataLength;
    Data bPropertyData;
};

template <std::size_t name_units>
using DwordProperty = PropertySection<name_units, std::uint32_t>;

struct ExtendedPropertiesDescriptor {
    std::uint32_t dwLength;
    std::uint16_t bcdVersion;
    std::uint16_t wIndex;
    std::uint16_t wCount;
    PropertySection<20, std::array<char16_t, 39>> interface_guid;
    DwordProperty<18> idle_enabled;
    DwordProperty<17> default_idle_state;
    DwordProperty<19> default_idle_timeout;
    DwordProperty<25> user_set_idle_enabled;
};

#pragma pack(pop)

static_assert(sizeof(BosDescriptor) == 22);
static_assert(sizeof(InterfaceWithEndpoints<2>) == 23);
static_assert(sizeof(InterfaceWithEndpoints<3>) == 30);
static_assert(sizeof(CompatibleIdDescriptor) == 88);
static_assert(sizeof(ExtendedPropertiesDescriptor) == 372);

constexpr std::uint8_t kTypeInterface = 0x04;
constexpr std::uint8_t kTypeEndpoint = 0x05;
constexpr std::uint8_t kTypeBos = 0x0F;
constexpr std::uint8_t kTypeDeviceCapability = 0x10;
constexpr std::uint8_t kEndpointIn = 0x80;
constexpr std::uint8_t kEndpointBulk = 0x02;
constexpr std::uint8_t kEndpointInterrupt = 0x03;
constexpr std::uint16_t kHighSpeedBulkPacket = 0x0200;

constexpr EndpointDescriptor Endpoint(std::uint8_t address,
                                      std::uint8_t attributes,
                                      std::uint16_t max_packet_size,
                                      std::uint8_t interval) {
    return {
        sizeof(EndpointDescriptor), kTypeEndpoint, address, attributes, max_packet_size, interval};
}

constexpr InterfaceDescriptor Interface(std::uint8_t endpoint_count,
                                        std::uint8_t interface_class,
                                        std::uint8_t sub_class,
                                        std::uint8_t protocol) {
    return {sizeof(InterfaceDescriptor),
            kTypeInterface,
            0,
            0,
            endpoint_count,
            interface_class,
            sub_class,
            protocol,
            0};
}

constexpr EndpointDescriptor kBulkIn =
    Endpoint(kEndpointIn | 1, kEndpointBulk, kHighSpeedBulkPacket, 0);
constexpr EndpointDescriptor kBulkOut = Endpoint(2, kEndpointBulk, kHighSpeedBulkPacket, 0);

// Link power management with USB 2.0; full, high and super speed; works at full speed and above.
constexpr auto kBosDescriptor = BytesOf(BosDescriptor{
    {sizeof(BosHeader), kTypeBos, sizeof(BosDescriptor), 2},
    {sizeof(Usb2ExtensionCapability), kTypeDeviceCapability, 0x02, 0x00000002},
    {sizeof(SuperSpeedCapability), kTypeDeviceCapability, 0x03, 0x00, 0x000E, 0x01, 0x07, 0x0065},
});

constexpr auto kVendorInterface =
    BytesOf(InterfaceWithEndpoints<2>{Interface(2, 0xFF, 0xFF, 0xFF), {kBulkIn, kBulkOut}});

// The still image class, which MTP requires.
constexpr auto kMtpInterface = BytesOf(InterfaceWithEndpoints<3>{
    Interface(3, 0x06, 0x01, 0x01),
    {kBulkIn, kBulkOut, Endpoint(kEndpointIn | 3, kEndpointInterrupt, 0x0040, 4)}});

constexpr auto kCompatibleIds = BytesOf(CompatibleIdDescriptor{
    sizeof(CompatibleIdDescriptor),
    0x0100,
    0x0004,
    3,
    {},
    {{0, 1, "MTP", "", {}}, {1, 1, "WINUSB", "", {}}, {2, 1, "WINUSB", "", {}}}});

constexpr std::uint32_t kPropertyString = 1;
constexpr std::uint32_t kPropertyDword = 4;

template <std::size_t name_units, typename Data>
constexpr PropertySection<name_units, Data> Property(const char16_t (&name)[name_units],
                                                     std::uint32_t type,
                                                     const Data& data) {
    return {sizeof(PropertySection<name_units, Data>),
            type,
            sizeof(name),
            std::to_array(name),
            sizeof(data),
            data};
}

constexpr auto ExtendedProperties(const char16_t (&guid)[39]) {
    return BytesOf(ExtendedPropertiesDescriptor{
        sizeof(ExtendedPropertiesDescriptor), 0x0100, 0x0005, 5,
        Property(u"DeviceInterfaceGUID", kPropertyString, std::to_array(guid)),
        Property(u"DeviceIdleEnabled", kPropertyDword, std::uint32_t{1}),
        Property(u"DefaultIdleState", kPropertyDword, std::uint32_t{1}),
        // Milliseconds.
        Property(u"DefaultIdleTimeout", kPropertyDword, std::uint32_t{10000}),
        Property(u"UserSetDeviceIdleEnabled", kPropertyDword, std::uint32_t{1})});
}

// Kept: the first GUID differs from the "InterfaceGuid" of its interface; the second does not.
constexpr auto kIpOverUsbProperties = ExtendedProperties(u"{26fedc4e-6ac3-4241-9e4d-e3d4b2c5c534}");
constexpr auto kVidStreamProperties = ExtendedProperties(u"{31648E59-6FCB-4D81-9C97-D00999B0459A}");

// Kept: control set 1, not the current one.
#define CONTROL_SET L"SYSTEM\\ControlSet001\\"
constexpr wchar_t kUsb[] = CONTROL_SET L"Control\\USB";
constexpr wchar_t kUsbfn[] = CONTROL_SET L"Control\\USBFN";
constexpr wchar_t kUsbfnDefault[] = CONTROL_SET L"Control\\USBFN\\Default";
constexpr wchar_t kRmNetConfiguration[] =
    CONTROL_SET L"Control\\USBFN\\Configurations\\RmNetCompositeConfig";
constexpr wchar_t kDefaultConfiguration[] = CONTROL_SET L"Control\\USBFN\\Configurations\\Default";
constexpr wchar_t kIpOverUsb[] = CONTROL_SET L"Control\\USBFN\\Interfaces\\IpOverUsb";
constexpr wchar_t kMtp[] = CONTROL_SET L"Control\\USBFN\\Interfaces\\MTP";
constexpr wchar_t kVidStream[] = CONTROL_SET L"Control\\USBFN\\Interfaces\\VidStream";
constexpr wchar_t kBusDriver[] = CONTROL_SET L"Services\\QCUSBFNSS\\Parameters";
constexpr wchar_t kDiagnosticRouter[] = CONTROL_SET L"Services\\QCDIAGROUTER";
constexpr wchar_t kDiagnosticBridge[] = CONTROL_SET L"Services\\QCDiagBridge";
#undef CONTROL_SET

constexpr wchar_t kInterfaceList[] = L"InterfaceList";

constexpr UsbfnStep Delete(const wchar_t* key_path, const wchar_t* value_name) {
    return {key_path, value_name, REG_NONE, nullptr, 0};
}

// A constant with an address.
template <DWORD number>
constexpr DWORD kNumber = number;

constexpr UsbfnStep Dword(const wchar_t* key_path, const wchar_t* value_name, const DWORD& number) {
    return {key_path, value_name, REG_DWORD, &number, sizeof(number)};
}

// `text` is a literal, which lives as long as the program.
template <std::size_t units>
constexpr UsbfnStep String(const wchar_t* key_path,
                           const wchar_t* value_name,
                           const wchar_t (&text)[units]) {
    return {key_path, value_name, REG_SZ, text, sizeof(text)};
}

// Each name in `names` ends with a NUL. The terminator of the literal is the final empty string.
template <std::size_t units>
constexpr UsbfnStep InterfaceList(const wchar_t* key_path, const wchar_t (&names)[units]) {
    return {key_path, kInterfaceList, REG_MULTI_SZ, names, sizeof(names)};
}

template <std::size_t size>
constexpr UsbfnStep Binary(const wchar_t* key_path,
                           const wchar_t* value_name,
                           const std::array<std::uint8_t, size>& bytes) {
    return {key_path, value_name, REG_BINARY, bytes.data(), size};
}

// clang-format off
constexpr UsbfnStep kCpSteps[] = {
    Dword(kUsb, L"RoleSwitchMode", kNumber<3>),

    Dword(kRmNetConfiguration, L"bmAttributes", kNumber<0x80>),
    Dword(kRmNetConfiguration, L"bMaxPower", kNumber<0xFA>),
    // Deleted first, in case the value has another type.
    Delete(kRmNetConfiguration, kInterfaceList),
    InterfaceList(kRmNetConfiguration, L"DIAG\0NMEA\0MODEM\0RMNET\0"),

    Dword(kUsbfn, L"IncludeDefaultCfg", kNumber<0>),
    Dword(kUsbfn, L"idVendor", kNumber<0x05C6>),
    Dword(kUsbfn, L"idProduct", kNumber<0x9001>),
    String(kUsbfn, L"ManufacturerString", L"QUALCOMM"),
    String(kUsbfn, L"ProductString", L"Qualcomm_Composite_Device"),
    String(kUsbfn, L"SerialNumber", L"55378018"),
    Dword(kUsbfn, L"iProduct", kNumber<2>),
    Dword(kUsbfn, L"iManufacturer", kNumber<1>),
    Dword(kUsbfn, L"iSerialNumber", kNumber<3>),
    Dword(kUsbfn, L"bDeviceClass", kNumber<0x00>),
    Dword(kUsbfn, L"bDeviceSubClass", kNumber<0x00>),
    Dword(kUsbfn, L"bDeviceProtocol", kNumber<0x00>),
    String(kUsbfn, L"CurrentConfiguration", L"RmNetCompositeConfig"),
    Binary(kUsbfn, L"BOSDescriptor", kBosDescriptor),

    Dword(kUsbfnDefault, L"bcdDevice", kNumber<0x0001>),
    Dword(kUsbfnDefault, L"bDeviceClass", kNumber<0x00>),
    Dword(kUsbfnDefault, L"bDeviceProtocol", kNumber<0x00>),
    Dword(kUsbfnDefault, L"bDeviceSubClass", kNumber<0x00>),
    Dword(kUsbfnDefault, L"idProduct", kNumber<0xF0CA>),
    Dword(kUsbfnDefault, L"idVendor", kNumber<0x045E>),
    Dword(kUsbfnDefault, L"iManufacturer", kNumber<1>),
    Dword(kUsbfnDefault, L"iProduct", kNumber<2>),
    Dword(kUsbfnDefault, L"iSerialNumber", kNumber<3>),
    String(kUsbfnDefault, L"ManufacturerString", L"Microsoft"),
    String(kUsbfnDefault, L"ProductString", L"Windows 10 Mobile Device"),

    InterfaceList(kDefaultConfiguration, L"MTP\0IpOverUsb\0VidStream\0"),
    Binary(kDefaultConfiguration, L"MSOSCompatIdDescriptor", kCompatibleIds),

    Binary(kIpOverUsb, L"InterfaceDescriptor", kVendorInterface),
    String(kIpOverUsb, L"InterfaceGuid", L"{30613563-7df3-4afb-80e0-e8c427c7e9bf}"),
    Binary(kIpOverUsb, L"MSOSExtendedPropertyDescriptor", kIpOverUsbProperties),

    // Kept: no extended properties here.
    Binary(kMtp, L"InterfaceDescriptor", kMtpInterface),
    String(kMtp, L"InterfaceGuid", L"{61fd7822-e8d4-44c4-9065-aaad0a3beff0}"),

    Binary(kVidStream, L"InterfaceDescriptor", kVendorInterface),
    String(kVidStream, L"InterfaceGuid", L"{31648E59-6FCB-4D81-9C97-D00999B0459A}"),
    Binary(kVidStream, L"MSOSExtendedPropertyDescriptor", kVidStreamProperties),

    Dword(kBusDriver, L"EnableU1U2", kNumber<0>),
    Dword(kDiagnosticRouter, L"TransportType", kNumber<1>),
};
// clang-format on

constexpr auto kApSteps = [] {
    constexpr auto kDeleted = std::ranges::count(kCpSteps, DWORD{REG_NONE}, &UsbfnStep::type);
    std::array<UsbfnStep, std::size(kCpSteps) - kDeleted + 1> steps = {};
    UsbfnStep* next = steps.data();
    for (const UsbfnStep& step : kCpSteps) {
        // Kept: this value is set, not deleted.
        if (std::wstring_view(step.value_name) == L"TransportType") {
            *next++ = Dword(step.key_path, step.value_name, kNumber<2>);
        } else if (step.type != REG_NONE) {
            *next++ = Delete(step.key_path, step.value_name);
        }
    }
    // Kept: kCpSteps does not write this value.
    *next = Delete(kDiagnosticBridge, L"Start");
    return steps;
}();

}  // namespace

constinit const std::span<const UsbfnStep> kCpSequence = kCpSteps;
constinit const std::span<const UsbfnStep> kApSequence = kApSteps;
