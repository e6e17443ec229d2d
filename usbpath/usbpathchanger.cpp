#include "usbpath/usbpathchanger.h"

#include "usbpath/usbfnregistry.h"
#include "usbpath/usbfnvalues.h"

namespace {

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

template <const auto& steps>
void ApplyAll(Answer& /*answer*/) {
    for (const UsbfnStep& step : steps) {
        Apply(step);
    }
}

// Kept: there is nothing to read the status from, the answer is the request.
void GetStatus(Answer& /*answer*/) {}

constexpr Command kCommands[] = {
    {L"USBPATHCHANGER_SMGETMUICSTATUS", GetStatus},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", ApplyAll<kCpSequence>},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", ApplyAll<kApSequence>},
};
static_assert(SameCommands<kCommands, kUsbPathChangerHelp>());

}  // namespace

constinit const std::span<const Command> kUsbPathChangerCommands = kCommands;

void UsbPathChangerCommand(handle_t /*binding*/,
                           const wchar_t* command,
                           bool data_bool,
                           long data_int,
                           wchar_t* data_string) {
    AnswerCommand(kCommands, command, data_bool, data_int, data_string);
}
