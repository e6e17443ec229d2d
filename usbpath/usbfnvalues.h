// The registry values of the two routes of the USB port, as tables. Nothing here needs Windows.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

// The value that lists the interfaces of a configuration, in every configuration key.
inline constexpr wchar_t kInterfaceListName[] = L"InterfaceList";

enum class UsbfnAction { kDelete, kSetDword, kSetString, kSetInterfaceList, kSetBinary };

// One change of one registry value. `key_path` is a path under HKEY_LOCAL_MACHINE. The action
// decides which of the last three fields is used. All pointers refer to constants.
struct UsbfnStep {
    const wchar_t* key_path;
    const wchar_t* value_name;
    UsbfnAction action;
    std::uint32_t number = 0;
    // A string that is followed by its terminator, or an interface list with all terminators and
    // the final empty string.
    std::wstring_view text = {};
    std::span<const std::uint8_t> bytes = {};
};

// Routes the port to the modem (the cellular processor, CP).
extern const std::span<const UsbfnStep> kCpSequence;

// Routes the port back to Windows (the application processor, AP): deletes the values that
// kCpSequence wrote, but sets the transport of the diagnostic router. Also deletes "Start" of the
// diagnostic bridge, which kCpSequence does not write.
extern const std::span<const UsbfnStep> kApSequence;
