#include "client/check/checkrequests.h"

#include <windows.h>
#include <cfgmgr32.h>
#include <rpc.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "bledevice/controldevice.h"
#include "client/requests/answers.h"
#include "client/requests/commandhelp.h"
#include "client/requests/connection.h"
#include "rpc/endpoint.h"
#include "win32/uniquehandle.h"

namespace {

constexpr DWORD kPatienceMilliseconds = 30000;
constexpr int kTimedRequests = 20;

struct Answer {
    bool came = false;
    bool flag = false;
    long number = 0;
    std::wstring text;
};

// The requests of one connection and what came of them.
struct Exchange {
    std::vector<RequestValues> requests;
    Connection connection = {};
    std::atomic<bool> opened = false;
    // One per request that was sent.
    std::vector<Answer> answers = {};
};

// The exchange in progress, or the last one.
Exchange* g_exchange = nullptr;

void KeepAnswer(const wchar_t* /*command*/, bool flag, long number, const wchar_t* text) {
    g_exchange->answers.back() = {true, flag, number, text};
}

DWORD WINAPI Run(void* /*argument*/) {
    g_exchange->connection.Open();
    g_exchange->opened = true;
    for (const RequestValues& request : g_exchange->requests) {
        g_exchange->answers.emplace_back();
        g_exchange->connection.Send(request);
    }
    g_exchange->connection.Close();
    return ERROR_SUCCESS;
}

LONG WINAPI EndThread(EXCEPTION_POINTERS* exception) {
    const DWORD status = exception->ExceptionRecord->ExceptionCode;
    if (!IsRpcStatus(status)) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    ExitThread(status);
}

// Carries out the requests as g_exchange, which is never freed. 0 when it came to its end, else the
// status with which a call failed, or WAIT_TIMEOUT: its thread still uses it then, so nothing but
// `opened` may be read and no other may begin.
DWORD CarryOut(std::vector<RequestValues> requests) {
    g_exchange = new Exchange{std::move(requests)};
    HandleAnswers(KeepAnswer);
    SetUnhandledExceptionFilter(EndThread);
    const Handle thread(CreateThread(nullptr, 0, Run, nullptr, 0, nullptr));
    if (!thread) {
        return GetLastError();
    }
    DWORD status = WaitForSingleObject(thread.get(), kPatienceMilliseconds);
    if (status == WAIT_OBJECT_0) {
        GetExitCodeThread(thread.get(), &status);
    }
    return status;
}

std::wstring FailureText(DWORD status) {
    return status == WAIT_TIMEOUT ? L"no answer within half a minute" : ErrorText(status);
}

const wchar_t* FailureAdvice(DWORD status) {
    switch (status) {
        case RPC_S_SERVER_UNAVAILABLE:
        case RPC_S_UNKNOWN_IF:
        case EPT_S_NOT_REGISTERED:
            return L"as an administrator: net start \"Tessel Service\"";
        case ERROR_ACCESS_DENIED:
            return L"in an app container a program needs the capability named here";
        default:
            return L"restart the service; if it does not stop, end its process";
    }
}

// Whether the service can be asked for more.
bool CheckConnection(Findings& findings) {
    // The first one warms up.
    const RequestValues echo = {L"REGISTRYHELPER_ISVZWQ", true, 7, L"check"};
    const DWORD status = CarryOut(std::vector<RequestValues>(1 + kTimedRequests, echo));
    if (!g_exchange->opened) {
        findings.Add(Status::kFault, L"requests.open", FailureText(status), FailureAdvice(status));
        return false;
    }
    findings.Add(Status::kOk, L"requests.open", kStringBinding);
    if (status != ERROR_SUCCESS) {
        findings.Add(Status::kFault, L"requests.answer", FailureText(status),
                     FailureAdvice(status));
        return false;
    }
    const auto answered = std::ranges::count_if(g_exchange->answers, [&](const Answer& answer) {
        return answer.came && answer.flag && answer.number == echo.number &&
               answer.text == echo.text;
    });
    RequestTimes& times = g_exchange->connection.times;
    times.erase(times.begin());
    const bool all = answered == 1 + kTimedRequests;
    findings.Add(all ? Status::kOk : Status::kFault, L"requests.answer",
                 std::to_wstring(answered) + L" of " + std::to_wstring(1 + kTimedRequests) +
                     L" answered as sent; median " + Milliseconds(Percentile(times, 50)) +
                     L", longest " + Milliseconds(Percentile(times, 100)),
                 all ? L"" : L"take both programs from one release");
    return true;
}

struct ReadyState {
    Status status;
    const wchar_t* words;
    const wchar_t* advice;
};

// By MBN_READY_STATE.
constexpr ReadyState kReadyStates[] = {
    {Status::kFault, L"off, or there is no modem",
     L"turn it on; netsh mbn show interfaces shows what Windows sees of it"},
    {Status::kOk, L"ready", L""},
    {Status::kWarning, L"no SIM card", L"put one in"},
    {Status::kFault, L"the SIM card is bad", L"put another one in"},
    {Status::kFault, L"the modem has failed", L"restart the notebook"},
    {Status::kWarning, L"not activated", L"have the network operator activate the subscription"},
    {Status::kWarning, L"locked", L"enter the PIN of the SIM card"},
    {Status::kFault, L"blocked", L"enter the PUK of the SIM card"},
    {Status::kWarning, L"no profile on the eSIM", L"download one"},
};

struct Identity {
    const wchar_t* command;
    const wchar_t* name;
};

constexpr Identity kIdentities[] = {
    {L"MBNHELPER_GETSIMICCID", L"number of the SIM card"},
    {L"MBNHELPER_GETSUBSCRIBERID", L"subscriber"},
    {L"MBNHELPER_GETHOMEPROVIDERID", L"home provider's id"},
    {L"MBNHELPER_GETHOMEPROVIDERNAME", L"home provider's name"},
};

// Whether the service can be asked for more.
bool CheckModem(Findings& findings) {
    const std::wstring padding(kPaddingLength, L' ');
    std::vector<RequestValues> requests = {{L"MBNHELPER_CHECKINTERFACE", false, 0, L""}};
    for (const Identity& identity : kIdentities) {
        requests.push_back({identity.command, false, 0, padding});
    }
    const DWORD status = CarryOut(requests);
    if (status != ERROR_SUCCESS) {
        findings.Add(Status::kFault, L"modem.state", FailureText(status), FailureAdvice(status));
        return false;
    }
    const std::vector<Answer>& answers = g_exchange->answers;
    const long state = answers[0].number;
    const bool known = state >= 0 && state < static_cast<long>(std::size(kReadyStates));
    const ReadyState& ready =
        known ? kReadyStates[state] : ReadyState{Status::kWarning, L"not known", L""};
    findings.Add(ready.status, L"modem.state", std::to_wstring(state) + L": " + ready.words,
                 ready.advice);

    // What it is stays out of the report, which may be passed on.
    std::wstring read;
    std::wstring unread;
    for (std::size_t i = 0; i < std::size(kIdentities); ++i) {
        const std::wstring& text = answers[i + 1].text;
        std::wstring& list = text.empty() || text == padding ? unread : read;
        list += (list.empty() ? L"" : L", ") + std::wstring(kIdentities[i].name);
    }
    findings.Add(unread.empty() ? Status::kOk : Status::kWarning, L"modem.identity",
                 (read.empty() ? L"" : L"read: " + read) +
                     (read.empty() || unread.empty() ? L"" : L"; ") +
                     (unread.empty() ? L"" : L"not read: " + unread));
    return true;
}

constexpr wchar_t kOpenDeviceAdvice[] =
    L"give NT AUTHORITY\\LocalService read and write access to the device";

// What this program, which runs as another account, sees of the control device when the service
// does not get at it, or was not asked.
void LookAtDevice(Findings& findings, bool service_was_asked) {
    GUID device_class = kControlDeviceClass;
    ULONG length = 0;
    const CONFIGRET listed = CM_Get_Device_Interface_List_SizeW(
        &length, &device_class, nullptr, CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
    if (listed != CR_SUCCESS) {
        findings.Add(
            Status::kFault, L"device",
            L"cannot be looked for: configuration manager error " + std::to_wstring(listed));
        return;
    }
    // The empty list is one terminator.
    if (length <= 1) {
        findings.Add(Status::kFault, L"device",
                     L"none of the class " + GuidText(kControlDeviceClass) + L" is present",
                     L"install the driver of the control device");
        return;
    }
    FileHandle device;
    if (OpenControlDevice(device.put()) != 0) {
        findings.Add(Status::kFault, L"device",
                     L"present, does not open here: " + ErrorText(GetLastError()),
                     kOpenDeviceAdvice);
        return;
    }
    std::uint32_t supported = 0;
    if (QueryControlDeviceSupport(&supported) != 0) {
        findings.Add(Status::kFault, L"device",
                     L"present, opens, refuses to be asked: " + ErrorText(GetLastError()),
                     L"look at the device's driver");
    } else if (supported == 0) {
        findings.Add(Status::kWarning, L"device", L"present, opens, has no switch");
    } else if (service_was_asked) {
        findings.Add(Status::kFault, L"device", L"present, opens here, but not for the service",
                     kOpenDeviceAdvice);
    } else {
        findings.Add(Status::kWarning, L"device",
                     L"present, opens here, has a switch; the service was not asked");
    }
}

void CheckDevice(Findings& findings) {
    DWORD status = CarryOut({{L"BLEHELPER_ISBLESUPPORT", false, 0, L""}});
    if (status == ERROR_SUCCESS && g_exchange->answers[0].number == 0) {
        LookAtDevice(findings, true);
        return;
    }
    if (status == ERROR_SUCCESS) {
        status = CarryOut({{L"BLEHELPER_GETBLE", false, 0, L""}});
    }
    if (status != ERROR_SUCCESS) {
        findings.Add(Status::kFault, L"device", FailureText(status), FailureAdvice(status));
        return;
    }
    const long value = g_exchange->answers[0].number;
    const bool known = value == static_cast<long>(kControlDeviceOn) ||
                       value == static_cast<long>(kControlDeviceOff);
    findings.Add(known ? Status::kOk : Status::kWarning, L"device",
                 L"present, opens, has a switch: " + std::to_wstring(value) +
                     (g_exchange->answers[0].flag ? L", on"
                      : known                     ? L", off"
                                                  : L""));
}

}  // namespace

bool CheckRequests(Findings& findings) {
    bool answers = CheckConnection(findings);
    const bool reached = g_exchange->opened;
    if (answers) {
        answers = CheckModem(findings);
    } else {
        findings.Add(Status::kWarning, L"modem.state", L"not asked: the service does not answer");
    }
    if (answers) {
        CheckDevice(findings);
    } else {
        LookAtDevice(findings, false);
    }
    return reached;
}
