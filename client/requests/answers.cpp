#include "client/requests/answers.h"

#include <atomic>
#include <utility>

namespace {

// Never freed: a request may still be in progress when the program ends.
const std::function<void(const RequestValues&)>* g_handler = nullptr;
std::atomic<long> g_count = 0;

}  // namespace

void HandleAnswers(std::function<void(const RequestValues& answer)> handler) {
    g_handler = new std::function(std::move(handler));
}

long AnswerCount() {
    return g_count;
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

// The interface has no const. NOLINTNEXTLINE(readability-non-const-parameter)
void ReportResult(wchar_t* command, boolean flag, long number, wchar_t* text) {
    ++g_count;
    if (g_handler != nullptr) {
        (*g_handler)({command, flag != 0, number, text});
    }
}
