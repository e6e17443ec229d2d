// The NdrClientCall3 of the simulated notebook, whose RPC runtime has no callbacks. A callback goes
// as an ordinary call to an endpoint of the client's process, by the caller's own tables; the rest
// goes on to Windows. Structured exceptions pass through: no frame here handles or cleans up, for
// which the file is built without C++ exceptions.
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

namespace {

// The header of a procedure in the format string; behind that of a callback, which describes no
// binding, come the extension and the parameters.
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
constexpr unsigned char kPrimitiveHandle = 0x32;
constexpr unsigned char kCallbackHandle = 0x34;

// Every argument of a call is handed on as a whole stack slot, and always so many of them: what
// there is too much nobody reads.
constexpr std::size_t kSlots = 8;
using Slots = std::uintptr_t[kSlots];

// As many as Windows serves unless it is told otherwise.
constexpr unsigned kConcurrentCalls = RPC_C_LISTEN_MAX_CALLS_DEFAULT;

RPC_WSTR RpcText(std::wstring& text) {
    return reinterpret_cast<RPC_WSTR>(text.data());
}

// Where a process takes its callbacks, over ncalrpc. Named after the time of its creation too: Wine
// keeps the association with a killed process, which the next one with its id would not know.
std::wstring CallbackEndpoint(HANDLE process) {
    FILETIME created = {};
    FILETIME ignored = {};
    GetProcessTimes(process, &created, &ignored, &ignored, &ignored);
    return L"wingap-" + std::to_wstring(GetProcessId(process)) + L"-" +
           std::to_wstring(created.dwHighDateTime) + L"-" + std::to_wstring(created.dwLowDateTime);
}

// Serves, in the client's process, the callbacks that a client's interface describes as a server's
// does its procedures.
RPC_STATUS ServeCallbacks(void* client_interface) {
    std::wstring protocol = L"ncalrpc";
    std::wstring endpoint = CallbackEndpoint(GetCurrentProcess());
    const RPC_STATUS status =
        RpcServerUseProtseqEpW(RpcText(protocol), kConcurrentCalls, RpcText(endpoint), nullptr);
    if (status != RPC_S_OK) {
        return status;
    }
    return RpcServerRegisterIfEx(client_interface, nullptr, nullptr, RPC_IF_AUTOLISTEN,
                                 kConcurrentCalls, nullptr);
}

BOOL CALLBACK ServeOnce(INIT_ONCE* /*once*/, void* client_interface, void** /*context*/) {
    const RPC_STATUS status = ServeCallbacks(client_interface);
    SetLastError(static_cast<DWORD>(status));
    return status == RPC_S_OK;
}

INIT_ONCE g_serving = INIT_ONCE_STATIC_INIT;

// The way from the service to a client. A thread answers one client many times and keeps it, so
// that a failing call does not lose it. The client's process is held open with it, which keeps its
// id from any other.
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
    std::wstring address = L"ncalrpc:[" + CallbackEndpoint(channel->process) + L"]";
    return RpcBindingFromStringBindingW(RpcText(address), &channel->binding);
}

// Stores the binding to the client whose call this thread is executing. It stays the thread's.
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

// Calls the client by the callback's own format, but for the kind of its binding.
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

// The arguments of a call, as many as the procedure's format says.
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

// Only a client that serves callbacks has a dispatch table. They are served before its first call.
void ServeBeforeCall(const MIDL_STUB_DESC* descriptor) {
    auto* client = static_cast<RPC_CLIENT_INTERFACE*>(descriptor->RpcInterfaceInformation);
    if (client->DispatchTable != nullptr &&
        !InitOnceExecuteOnce(&g_serving, ServeOnce, client, nullptr)) {
        RpcRaiseException(static_cast<RPC_STATUS>(GetLastError()));
    }
}

}  // namespace

// These two are exported under the names of the functions whose places they take.
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
    return NdrClientCall3(proxy, number, result, slots[0], slots[1], slots[2], slots[3], slots[4],
                          slots[5], slots[6], slots[7]);
}
