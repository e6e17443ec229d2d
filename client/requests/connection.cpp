#include "client/requests/connection.h"

#include <atomic>

#include "interface/endpoint.h"
#include "win32/rpctext.h"

namespace {

AnswerHandler g_handler = nullptr;
std::atomic<long> g_count = 0;

}  // namespace

void Connection::Open() {
    const RPC_STATUS status = RpcBindingFromStringBindingW(RpcText(kStringBinding), &binding);
    if (status != RPC_S_OK) {
        RaiseException(static_cast<DWORD>(status), 0, 0, nullptr);
    }
    RemoteOpen(binding, &context);
}

void Connection::Send(const RequestValues& request) {
    const std::uint64_t start = MicrosecondsNow();
    // The service overwrites only its own copy of the text.
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

FailureWords DescribeFailure(DWORD status) {
    switch (status) {
        case RPC_S_SERVER_UNAVAILABLE:
        case RPC_S_UNKNOWN_IF:
        case EPT_S_NOT_REGISTERED:
            return {L"the service is not running",
                    L"as an administrator: net start \"Tessel Service\"\n"
                    L"if it is not installed, in its folder: .\\tessel-service -install"};
        case ERROR_ACCESS_DENIED:
            return {L"the service refuses this user",
                    L"an app in an app container needs the capability that --check shows"};
        case WAIT_TIMEOUT:
            return {L"the service does not answer",
                    L"restart the service; if it does not stop, end its process"};
        default:
            return {L"the connection to the service failed",
                    L"restart the service; if it does not stop, end its process"};
    }
}

void HandleAnswers(AnswerHandler handler) {
    g_handler = handler;
}

long AnswerCount() {
    return g_count;
}

void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_count;
    if (g_handler != nullptr) {
        g_handler(command, flag != 0, number, text);
    }
}
