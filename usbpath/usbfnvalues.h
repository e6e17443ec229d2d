// The registry values of the two routes of the USB port, as tables.
#pragma once

#include <windows.h>

#include <span>

// One change of one registry value. `key_path` is a path under HKEY_LOCAL_MACHINE.
struct UsbfnStep {
    const wchar_t* key_path;
    const wchar_t* value_name;
    // The type of the value to store. REG_NONE: the value is deleted.
    DWORD type;
    // What is stored, a constant of `size` bytes. Texts have all their terminators.
    const void* data;
    DWORD size;
};

// Routes the port to the modem (the cellular processor, CP).
extern const std::span<const UsbfnStep> kCpSequence;

// Routes the port back to Windows (the application processor, AP): deletes the values that
// kCpSequence wrote, but sets the transport of the diagnostic router. Also deletes "Start" of the
// diagnostic bridge, which kCpSequence does not write.
extern const std::span<const UsbfnStep> kApSequence;
