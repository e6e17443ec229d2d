// RemoteRequest: finds the command family of a request. Compiled without C++ exceptions, like all
// functions that are on the stack while an answer is sent; see command/command.cpp.
#include <span>
#include <string_view>

#include "bledevice/blehelper.h"
#include "command/command.h"
#include "diagnostics/logline.h"
#include "document/commonhelper.h"
#include "interface/tesselservice.h"
#include "mbn/mbnhelper.h"
#include "settings/registryhelper.h"
#include "usbpath/usbpathchanger.h"

namespace {

struct CommandFamily {
    const std::span<const Command>& commands;
    CommandHandler& handler;
};

constexpr CommandFamily kFamilies[] = {
    {kRegistryHelperCommands, RegistryHelperCommand}, {kCommonHelperCommands, CommonHelperCommand},
    {kMbnHelperCommands, MbnHelperCommand},           {kBleHelperCommands, BleHelperCommand},
    {kUsbPathChangerCommands, UsbPathChangerCommand},
};

}  // namespace

// Kept: the families after the one with the command are searched too; the context is not used.
void RemoteRequest(REQUEST_CONTEXT_HANDLE /*context*/,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string) {
    const bool flag = data_bool != 0;
    LogRequest(requestString, flag, data_int, data_string);
    const std::wstring_view name = NameOf(requestString);
    // Kept: a command that no family has gets no answer.
    for (const CommandFamily& family : kFamilies) {
        const Command* command = FindCommand(family.commands, name);
        if (command != nullptr && command->routed) {
            // Kept: handlers get no binding.
            family.handler(nullptr, requestString, flag, data_int, data_string);
        }
    }
}
