// RemoteRequest: from the command string to the family that owns it. Compiled without C++
// exceptions, like all that is on the stack while an answer is sent; see rpc/command.cpp.
#include <span>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/commandlists.h"
#include "rpc/requestlog.h"
#include "rpc/stub/tesselservice.h"
#include "settings/registryhelper.h"
#include "usbpath/usbpathchanger.h"

namespace {

struct CommandFamily {
    std::span<const wchar_t* const> commands;
    decltype(&RegistryHelperCommand) handler;
};

constexpr CommandFamily kFamilies[] = {
    {kRegistryHelperCommands, RegistryHelperCommand}, {kCommonHelperCommands, CommonHelperCommand},
    {kMbnHelperCommands, MbnHelperCommand},           {kBleHelperCommands, BleHelperCommand},
    {kUsbPathChangerCommands, UsbPathChangerCommand},
};

}  // namespace

// Kept: every list is compared, also behind the one that matches; the context is not looked at.
void RemoteRequest(REQUEST_CONTEXT_HANDLE /*context*/,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string) {
    const bool flag = data_bool != 0;
    LogRequest(requestString, flag, data_int, data_string);
    // Kept: a command of no list gets no answer.
    for (const CommandFamily& family : kFamilies) {
        if (ListsCommand(family.commands, requestString)) {
            // Kept: handlers get no binding.
            family.handler(nullptr, requestString, flag, data_int, data_string);
        }
    }
}
