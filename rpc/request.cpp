#include "rpc/request.h"

#include <cstdlib>
#include <exception>
#include <new>
#include <span>
#include <string>

#include "bledevice/blehelper.h"
#include "document/commonhelper.h"
#include "mbn/mbnhelper.h"
#include "rpc/commandlists.h"
#include "service/diagnosticlog.h"
#include "settings/registryhelper.h"
#include "text/lowbytes.h"
#include "usbpath/usbpathchanger.h"

namespace {

struct CommandFamily {
    std::span<const wchar_t* const> commands;
    decltype(&RegistryHelperCommand) handler;
};

const CommandFamily kFamilies[] = {
    {kRegistryHelperCommands, RegistryHelperCommand}, {kCommonHelperCommands, CommonHelperCommand},
    {kMbnHelperCommands, MbnHelperCommand},           {kBleHelperCommands, BleHelperCommand},
    {kUsbPathChangerCommands, UsbPathChangerCommand},
};

// A fixed line; lost when there is no memory for it.
void LogLine(const char* text) {
    try {
        WriteLog(std::string(text));
    } catch (const std::exception&) {
        // Opening and closing contexts must not fail over their trace.
    }
}

// A function of its own, so that its texts are gone before a handler runs: a failing callback would
// leave them behind.
void LogRequest(const wchar_t* command, bool data_bool, long data_int, const wchar_t* data_string) {
    WriteLog("Data Recieved requestString : " + LowBytes(command) + " / data_bool : " +
             (data_bool ? "true" : "false") + " / data_int : " + std::to_string(data_int) +
             " / data_string : " + LowBytes(data_string));
}

void FreeRequestContext(void* context) {
    auto* block = static_cast<RequestContext*>(context);
    for (void* slot : block->slots) {
        std::free(slot);
    }
    std::free(block);
}

// All slots or nothing: gives null when memory runs out half-way.
void* NewRequestContext() {
    auto* block = static_cast<RequestContext*>(std::calloc(1, sizeof(RequestContext)));
    if (block == nullptr) {
        return nullptr;
    }
    try {
        for (void*& slot : block->slots) {
            slot = ::operator new(1);
        }
    } catch (const std::bad_alloc&) {
        FreeRequestContext(block);
        return nullptr;
    }
    return block;
}

}  // namespace

void RemoteOpen(handle_t /*binding*/, REQUEST_CONTEXT_HANDLE* context) {
    LogLine("RemoteOpen");
    *context = NewRequestContext();
}

void RemoteClose(REQUEST_CONTEXT_HANDLE* context) {
    RequestContextRundown(*context);
    *context = nullptr;
}

// Logs the text of the close too: to whoever reads the log, both end a client's context.
void __RPC_USER RequestContextRundown(void* context) {
    LogLine("RemoteClose");
    if (context == nullptr) {
        LogLine("pphContext == nullptr");
        return;
    }
    FreeRequestContext(context);
}

void RemoteRequest(REQUEST_CONTEXT_HANDLE /*context*/,
                   const wchar_t* requestString,
                   boolean data_bool,
                   long data_int,
                   wchar_t* data_string) {
    const bool flag = data_bool != 0;
    // Only C++ exceptions are caught: the runtime's own, from a failed callback, must reach it.
    try {
        LogRequest(requestString, flag, data_int, data_string);
    } catch (const std::exception&) {
        // No memory for the line: the request counts for more than its trace.
    }
    try {
        for (const CommandFamily& family : kFamilies) {
            if (ListsCommand(family.commands, requestString)) {
                family.handler(nullptr, requestString, flag, data_int, data_string);
            }
        }
    } catch (const std::exception&) {
        // Out of memory in a handler, whose other failures are folded into its answer.
    }
}
