#include "usbpath/usbpathchanger.h"

#include "usbpath/usbfnregistry.h"
#include "usbpath/usbfnvalues.h"

namespace {

// Carries out all steps. A step that fails prints its own message, and the next step follows.
void Apply(std::span<const UsbfnStep> steps) {
    for (const UsbfnStep& step : steps) {
        if (step.type == REG_NONE) {
            DeleteUsbfnValue(step.key_path, step.value_name);
        } else {
            StoreUsbfnValue(step.key_path, step.value_name, step.type, step.data, step.size);
        }
    }
}

constexpr Command kCommands[] = {
    // Kept: the answer has the values of the request; no status is read.
    {L"USBPATHCHANGER_SMGETMUICSTATUS", [](Answer&) {}},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOCP", [](Answer&) { Apply(kCpSequence); }},
    {L"USBPATHCHANGER_CHANGEUSBPATHTOAP", [](Answer&) { Apply(kApSequence); }},
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
