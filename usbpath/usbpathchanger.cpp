#include "usbpath/usbpathchanger.h"

#include <cwchar>
#include <span>

#include "rpc/reportresult.h"
#include "usbpath/usbfnregistry.h"
#include "usbpath/usbfnvalues.h"

namespace {

struct UsbPathCommand {
    const wchar_t* name;
    std::span<const UsbfnStep> steps;
};

constexpr UsbPathCommand kCommands[] = {
    // There is nothing to read the status from: the answer is the request.
    {L"USBPATHCHANGER_SMGETMUICSTATUS", {}},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", kCpSequence},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", kApSequence},
};

// A step that fails has printed its message; the sequence goes on whatever happened.
void Apply(const UsbfnStep& step) {
    switch (step.action) {
        case UsbfnAction::kDelete:
            DeleteUsbfnValue(step.key_path, step.value_name);
            break;
        case UsbfnAction::kSetDword:
            SetUsbfnDword(step.key_path, step.value_name, step.number);
            break;
        case UsbfnAction::kSetString:
            SetUsbfnString(step.key_path, step.value_name, step.text);
            break;
        case UsbfnAction::kSetInterfaceList:
            SetUsbfnInterfaceList(step.key_path, step.text);
            break;
        case UsbfnAction::kSetBinary:
            SetUsbfnBinary(step.key_path, step.value_name, step.bytes);
            break;
    }
}

}  // namespace

void UsbPathChangerCommand(handle_t /*binding*/,
                           const wchar_t* command,
                           bool data_bool,
                           long data_int,
                           wchar_t* data_string) {
    for (const UsbPathCommand& known : kCommands) {
        if (std::wcscmp(command, known.name) != 0) {
            continue;
        }
        for (const UsbfnStep& step : known.steps) {
            Apply(step);
        }
        ReportResult(command, data_bool, data_int, data_string);
        return;
    }
}
