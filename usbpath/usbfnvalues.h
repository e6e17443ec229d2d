// What the registry holds for the two routes of the USB port, as tables. Nothing here needs
// Windows.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>

// The only value that lists interfaces, in every configuration key.
inline constexpr wchar_t kInterfaceListName[] = L"InterfaceList";

enum class UsbfnAction { kDelete, kSetDword, kSetString, kSetInterfaceList, kSetBinary };

// One change of one registry value. `key_path` lies under HKEY_LOCAL_MACHINE. Of the last three
// fields the one that the action takes is filled; all of them point at constants of the program.
struct UsbfnStep {
    const wchar_t* key_path;
    const wchar_t* value_name;
    UsbfnAction action;
    std::uint32_t number = 0;
    // A string without its terminator, or an interface list with every terminator and the final
    // empty string.
    std::wstring_view text = {};
    std::span<const std::uint8_t> bytes = {};
};

// Routes the port to the modem (the cellular processor, CP).
extern const std::array<UsbfnStep, 42> kCpSequence;

// Routes the port back to Windows (the application processor, AP): takes away what kCpSequence
// wrote, except that the diagnostic router gets its other transport, and also deletes the
// diagnostic bridge's "Start", which kCpSequence never writes.
extern const std::array<UsbfnStep, 42> kApSequence;
