#include "bledevice/blehelper.h"

#include "bledevice/controldevice.h"

namespace {

constexpr Command kCommands[] = {
    {L"BLEHELPER_GETBLE",
     [](Answer& answer) {
         // The value is 0 if it cannot be read.
         std::uint32_t value = 0;
         ReadControlDeviceValue(&value);
         answer.flag = value == kControlDeviceOn;
         answer.number = static_cast<long>(value);
     }},
    // Kept: the answer has the values of the request, also if the write fails.
    {L"BLEHELPER_SETBLE",
     [](Answer& answer) {
         WriteControlDeviceValue(answer.flag ? kControlDeviceOn : kControlDeviceOff);
     }},
    {L"BLEHELPER_ISBLESUPPORT",
     [](Answer& answer) {
         std::uint32_t supported = 0;
         QueryControlDeviceSupport(&supported);
         answer.number = static_cast<long>(supported);
     }},
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
