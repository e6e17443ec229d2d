#include "client/requests/connection.h"

#include "rpc/endpoint.h"
#include "win32/rpctext.h"

void Connection::Open() {
    const RPC_STATUS status = RpcBindingFromStringBindingW(RpcText(kStringBinding), &binding);
    if (status != RPC_S_OK) {
        RaiseException(static_cast<DWORD>(status), 0, 0, nullptr);
    }
    RemoteOpen(binding, &context);
}

void Connection::Send(const RequestValues& request) {
    const std::uint64_t start = MicrosecondsNow();
    // Only the service's copy of the text is written over.
    RemoteRequest(context, request.command.c_str(), static_cast<boolean>(request.flag),
                  request.number, const_cast<wchar_t*>(request.text.c_str()));
    AddTimeSince(start, times);
}

void Connection::Close() {
    RemoteClose(&context);
    RpcBindingFree(&binding);
}

bool IsRpcStatus(DWORD exception_code) {
    return (exception_code & 0xFFFF0000) == 0;
}
