// NdrClientCall2 and NdrClientCall3 for Wine, whose RPC runtime has no callbacks. A callback
// becomes an ordinary call to an endpoint of the client's process, with the caller's own tables.
// All other calls go to Wine. Compiled without C++ exceptions: structured exceptions must pass
// through, so no frame may have a handler or a destructor.
#include <windows.h>
#include <rpc.h>
#include <rpcdcep.h>
#include <rpcndr.h>

#include <cstdarg>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

#include "win32/rpctext.h"

namespace {

// The header of a procedure in the format string. The header of a callback has no description of a
// binding. The extension and the parameters follow it.
#pragma pack(push, 1)
struct ProcedureHeader {
    std::uint8_t handle_type;
    std::uint8_t flags;
    std::uint32_t rpc_flags;
    std::uint16_t number;
    std::uint16_t stack_size;
};
struct CallbackHeader {
    ProcedureHeader procedure;
    std::uint16_t client_buffer;
    std::uint16_t server_buffer;
    std::uint8_t flags;
    std::uint8_t parameter_count;
    std::uint8_t extension_size;
};
#pragma pack(pop)

constexpr std::size_t kParameterSize = 6;
constexpr unsigned char kExplicitHandle = 0;
constexpr unsigned char kPrimitiveHandle = 0x32;
constexpr unsigned char kCallbackHandle = 0x34;

// Each argument of a call uses one stack slot. All slots are passed on; the called function does
// not read slots after its last argument.
using Slots = std::uintptr_t[8];

constexpr unsigned kConcurrentCalls = RPC_C_LISTEN_MAX_CALLS_DEFAULT;

// Returns the ncalrpc endpoint at which a process receives its callbacks. The name contains the
// start time of the process, because Wine keeps the association with a killed process, and a later
// process may have the same id.
std::wstring CallbackEndpoint(HANDLE process) {
    FILETIME created = {};
    FILETIME ignored = {};
    GetProcessTimes(process, &created, &ignored, &ignored, &ignored);
    return L"wingap-" + std::to_wstring(GetProcessId(process)) + L"-" +
           std::to_wstring(created.dwHighDateTime) + L"-" + std::to_wstring(created.dwLowDateTime);
}

// Serves the client's callbacks in its process. The client's interface describes its callbacks in
// the same way as a server's interface describes its procedures.
RPC_STATUS ServeCallbacks(void* client_interface) {
    // From now on Wine's RPC runtime has threads, which do not survive that it is unloaded.
    HMODULE runtime = nullptr;
    GetModuleHandleExW(GET_MODULE_HANDLE_EX_FLAG_PIN, L"rpcrt4.dll", &runtime);
    const std::wstring endpoint = CallbackEndpoint(GetCurrentProcess());
    const RPC_STATUS status = RpcServerUseProtseqEpW(RpcText(L"ncalrpc"), kConcurrentCalls,
                                                     RpcText(endpoint.c_str()), nullptr);
    // The process may have loaded and unloaded this DLL before.
    if (status != RPC_S_OK && status != RPC_S_DUPLICATE_ENDPOINT) {
        return status;
    }
    return RpcServerRegisterIfEx(client_interface, nullptr, nullptr, RPC_IF_AUTOLISTEN,
                                 kConcurrentCalls, nullptr);
}

// The interface that this process serves for callbacks. Null: none.
void* g_served = nullptr;

BOOL CALLBACK ServeOnce(INIT_ONCE* /*once*/, void* client_interface, void** /*context*/) {
    const RPC_STATUS status = ServeCallbacks(client_interface);
    SetLastError(static_cast<DWORD>(status));
    g_served = status == RPC_S_OK ? client_interface : nullptr;
    return status == RPC_S_OK;
}

INIT_ONCE g_serving = INIT_ONCE_STATIC_INIT;

// The connection from the service to a client. Each thread keeps its last connection, because it
// often answers the same client again. While the process handle is open, the process id is not used
// again.
struct Channel {
    DWORD process_id;
    HANDLE process;
    RPC_BINDING_HANDLE binding;
};

void CloseChannel(Channel* channel) {
    if (channel->binding != nullptr) {
        RpcBindingFree(&channel->binding);
    }
    if (channel->process != nullptr) {
        CloseHandle(channel->process);
    }
    *channel = {};
}

void WINAPI FreeChannel(void* channel) {
    CloseChannel(static_cast<Channel*>(channel));
    std::free(channel);
}

const DWORD g_channelSlot = FlsAlloc(&FreeChannel);

Channel* ThreadChannel() {
    auto* channel = static_cast<Channel*>(FlsGetValue(g_channelSlot));
    if (channel == nullptr) {
        channel = static_cast<Channel*>(std::calloc(1, sizeof(Channel)));
        FlsSetValue(g_channelSlot, channel);
    }
    return channel;
}

RPC_STATUS OpenChannel(Channel* channel, DWORD process_id) {
    CloseChannel(channel);
    channel->process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, process_id);
    if (channel->process == nullptr) {
        return RPC_S_SERVER_UNAVAILABLE;
    }
    channel->process_id = process_id;
    const std::wstring address = L"ncalrpc:[" + CallbackEndpoint(channel->process) + L"]";
    return RpcBindingFromStringBindingW(RpcText(address.c_str()), &channel->binding);
}

// Stores the binding to the client whose call this thread executes. The thread owns it.
RPC_STATUS BindToCaller(RPC_BINDING_HANDLE* binding) {
    unsigned long process_id = 0;
    RPC_STATUS status = I_RpcBindingInqLocalClientPID(nullptr, &process_id);
    if (status != RPC_S_OK) {
        return status;
    }
    Channel* channel = ThreadChannel();
    if (channel == nullptr) {
        return RPC_S_OUT_OF_MEMORY;
    }
    if (channel->binding == nullptr || channel->process_id != process_id) {
        status = OpenChannel(channel, process_id);
    }
    *binding = channel->binding;
    return status;
}

// Calls the client with the callback's format string, in which the handle type is changed to an
// explicit primitive binding.
CLIENT_CALL_RETURN CallBack(const MIDL_STUB_DESC* descriptor,
                            PFORMAT_STRING format,
                            const Slots& slots) {
    CallbackHeader header = {};
    std::memcpy(&header, format, sizeof(header));
    const std::size_t size = sizeof(header) - sizeof(header.extension_size) +
                             header.extension_size + header.parameter_count * kParameterSize;
    unsigned char bound[256];
    if (size > sizeof(bound)) {
        RpcRaiseException(RPC_S_INTERNAL_ERROR);
    }
    std::memcpy(bound, format, size);
    bound[0] = kPrimitiveHandle;

    RPC_BINDING_HANDLE binding = nullptr;
    const RPC_STATUS status = BindToCaller(&binding);
    if (status != RPC_S_OK) {
        RpcRaiseException(status);
    }
    MIDL_STUB_DESC stub = *descriptor;
    stub.IMPLICIT_HANDLE_INFO.pPrimitiveHandle = &binding;
    return NdrClientCall2(&stub, bound, slots[0], slots[1], slots[2], slots[3], slots[4], slots[5],
                          slots[6], slots[7]);
}

// Reads the arguments of a call, as many as the procedure's format string says.
// va_arg changes the list. NOLINTNEXTLINE(readability-non-const-parameter)
void ReadArguments(PFORMAT_STRING format, va_list arguments, Slots& slots) {
    ProcedureHeader header = {};
    std::memcpy(&header, format, sizeof(header));
    const std::size_t count = header.stack_size / sizeof(std::uintptr_t);
    if (count > std::size(slots)) {
        RpcRaiseException(RPC_S_INTERNAL_ERROR);
    }
    for (std::size_t i = 0; i < count; ++i) {
        slots[i] = va_arg(arguments, std::uintptr_t);
    }
}

// Starts to serve the client's callbacks before its first call. Only a client with callbacks has a
// dispatch table.
void ServeBeforeCall(const MIDL_STUB_DESC* descriptor) {
    auto* client = static_cast<RPC_CLIENT_INTERFACE*>(descriptor->RpcInterfaceInformation);
    if (client->DispatchTable != nullptr &&
        !InitOnceExecuteOnce(&g_serving, ServeOnce, client, nullptr)) {
        RpcRaiseException(static_cast<RPC_STATUS>(GetLastError()));
    }
}

// Whether a call has a binding and no context: it opens a context.
bool Opens(PFORMAT_STRING format) {
    return format[0] == kExplicitHandle && format[sizeof(ProcedureHeader)] == kPrimitiveHandle;
}

SRWLOCK g_opening = SRWLOCK_INIT;

// Calls Wine. Contexts are opened one at a time: if two first connections of a process are opened
// at the same time, Wine gives each an association, and knows a context in only one of them.
CLIENT_CALL_RETURN CallWine(MIDL_STUBLESS_PROXY_INFO* proxy,
                            unsigned long number,
                            void* result,
                            bool opens,
                            const Slots& slots) {
    if (opens) {
        AcquireSRWLockExclusive(&g_opening);
    }
    __try {
        return NdrClientCall3(proxy, number, result, slots[0], slots[1], slots[2], slots[3],
                              slots[4], slots[5], slots[6], slots[7]);
    } __finally {
        if (opens) {
            ReleaseSRWLockExclusive(&g_opening);
        }
    }
}

}  // namespace

// When a program unloads the DLL, the process must not call the interface of that program any more.
BOOL WINAPI DllMain(HINSTANCE /*module*/, DWORD reason, void* ending) {
    if (reason == DLL_PROCESS_DETACH && ending == nullptr && g_served != nullptr) {
        RpcServerUnregisterIf(g_served, nullptr, FALSE);
    }
    return TRUE;
}

// Exported as NdrClientCall2 and NdrClientCall3.
extern "C" CLIENT_CALL_RETURN RPC_VAR_ENTRY ClientCall2WithCallbacks(MIDL_STUB_DESC* descriptor,
                                                                     PFORMAT_STRING format,
                                                                     ...) {
    Slots slots = {};
    va_list arguments;
    va_start(arguments, format);
    ReadArguments(format, arguments, slots);
    va_end(arguments);
    ServeBeforeCall(descriptor);
    return NdrClientCall2(descriptor, format, slots[0], slots[1], slots[2], slots[3], slots[4],
                          slots[5], slots[6], slots[7]);
}

extern "C" CLIENT_CALL_RETURN RPC_VAR_ENTRY ClientCallWithCallbacks(MIDL_STUBLESS_PROXY_INFO* proxy,
                                                                    unsigned long number,
                                                                    void* result,
                                                                    ...) {
    PFORMAT_STRING format = proxy->ProcFormatString + proxy->FormatStringOffset[number];
    Slots slots = {};
    va_list arguments;
    va_start(arguments, result);
    ReadArguments(format, arguments, slots);
    va_end(arguments);

    if (format[0] == kCallbackHandle) {
        return CallBack(proxy->pStubDesc, format, slots);
    }
    ServeBeforeCall(proxy->pStubDesc);
    return CallWine(proxy, number, result, Opens(format), slots);
}
