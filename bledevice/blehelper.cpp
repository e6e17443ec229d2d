#include "bledevice/blehelper.h"

#include "bledevice/controldevice.h"

namespace {

void GetSwitch(Answer& answer) {
    // Stays 0 when it cannot be read.
    std::uint32_t value = 0;
    ReadControlDeviceValue(&value);
    answer.flag = value == kControlDeviceOn;
    answer.number = static_cast<long>(value);
}

// Kept: the answer is the request, whether the device took the value or not.
void SetSwitch(Answer& answer) {
    WriteControlDeviceValue(answer.flag ? kControlDeviceOn : kControlDeviceOff);
}

void IsSwitchSupported(Answer& answer) {
    std::uint32_t supported = 0;
    QueryControlDeviceSupport(&supported);
    answer.number = static_cast<long>(supported);
}

constexpr Command kCommands[] = {
    {L"BLEHELPER_GETBLE", GetSwitch},
    {L"BLEHELPER_SETBLE", SetSwitch},
    {L"BLEHELPER_ISBLESUPPORT", IsSwitchSupported},
};
static_assert(SameCommands<kCommands, kBleHelperHelp>());

}  // namespace

constinit const std::span<const Command> kBleHelperCommands = kCommands;

void BleHelperCommand(handle_t /*binding*/,
                      const wchar_t* command,
                      bool data_bool,
                      long data_int,
                      wchar_t* data_string) {
    AnswerCommand(kCommands, command, data_bool, data_int, data_string);
}
