#include "client/check/checkrequests.h"

#include <windows.h>
#include <cfgmgr32.h>
#include <rpc.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <iterator>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "bledevice/controldevice.h"
#include "client/requests/commandhelp.h"
#include "client/requests/connection.h"
#include "interface/endpoint.h"
#include "win32/uniquehandle.h"

using enum Status;

namespace {

constexpr std::chrono::seconds kTimeLimit(30);
// The time of the first one does not count.
constexpr std::size_t kEchoes = 21;

struct Answer {
    bool came = false;
    bool flag = false;
    long number = 0;
    std::wstring text;
};

// The requests of one connection and their answers. The first `done` answers may be read.
struct Exchange {
    std::vector<RequestValues> requests;
    std::vector<Answer> answers = std::vector<Answer>(requests.size());
    Connection connection = {};
    std::atomic<bool> opened = false;
    std::atomic<std::size_t> done = 0;
    std::mutex lock = {};
    std::condition_variable ended = {};
    // ERROR_SUCCESS after the last request, or the status of the call that failed.
    std::optional<DWORD> status = {};
};

// Never freed: its thread may still use it.
Exchange* g_exchange = nullptr;

void KeepAnswer(const wchar_t* /*command*/, bool flag, long number, const wchar_t* text) {
    g_exchange->answers[g_exchange->done] = {true, flag, number, text};
}

void End(DWORD status) {
    const std::lock_guard guard(g_exchange->lock);
    g_exchange->status = status;
    g_exchange->ended.notify_one();
}

void Run() {
    g_exchange->connection.Open();
    g_exchange->opened = true;
    for (const RequestValues& request : g_exchange->requests) {
        g_exchange->connection.Send(request);
        ++g_exchange->done;
    }
    g_exchange->connection.Close();
    End(ERROR_SUCCESS);
}

LONG WINAPI StopThread(EXCEPTION_POINTERS* exception) {
    const DWORD status = exception->ExceptionRecord->ExceptionCode;
    if (!IsRpcStatus(status)) {
        return EXCEPTION_CONTINUE_SEARCH;
    }
    End(status);
    // This thread cannot unwind its frames.
    for (;;) {
        Sleep(INFINITE);
    }
}

// Sends the requests and fills g_exchange. Returns its status, or WAIT_TIMEOUT.
DWORD CarryOut(std::vector<RequestValues> requests) {
    g_exchange = new Exchange{std::move(requests)};
    g_exchange->connection.times.reserve(g_exchange->requests.size());
    HandleAnswers(KeepAnswer);
    SetUnhandledExceptionFilter(StopThread);
    std::thread(Run).detach();
    std::unique_lock guard(g_exchange->lock);
    std::size_t done = 0;
    do {
        done = g_exchange->done;
        g_exchange->ended.wait_for(guard, kTimeLimit,
                                   [] { return g_exchange->status.has_value(); });
    } while (!g_exchange->status && g_exchange->done != done);
    return g_exchange->status.value_or(WAIT_TIMEOUT);
}

void AddFailure(Findings& findings, const wchar_t* item, DWORD status) {
    findings.Add(kFault, item,
                 status == WAIT_TIMEOUT ? L"no answer in 30 seconds" : ErrorText(status),
                 DescribeFailure(status).advice);
}

const RequestValues kEcho = {L"REGISTRYHELPER_ISVZWQ", true, 7, L"check"};

void CheckEchoes(Findings& findings, std::span<const Answer> answers) {
    const auto same = std::ranges::count_if(answers, [](const Answer& answer) {
        return answer.came && answer.flag && answer.number == kEcho.number &&
               answer.text == kEcho.text;
    });
    RequestTimes times(g_exchange->connection.times.begin() + 1,
                       g_exchange->connection.times.begin() + kEchoes);
    findings.Check(same == kEchoes, kFault, L"requests.answer",
                   std::to_wstring(same) + L" of " + std::to_wstring(kEchoes) +
                       L" answered as sent; median " + Milliseconds(Percentile(times, 50)) +
                       L", longest " + Milliseconds(Percentile(times, 100)),
                   L"use both programs of one release");
}

struct ReadyState {
    Status status;
    const wchar_t* words;
    const wchar_t* advice;
};

// By MBN_READY_STATE.
constexpr ReadyState kReadyStates[] = {
    {kWarning, L"off, or there is no modem",
     L"turn it on; this shows what Windows sees of it: netsh mbn show interfaces\n"
     L"on a model without a modem: .\\tesselctl --check --without modem"},
    {kOk, L"ready", L""},
    {kWarning, L"no SIM card", L"insert one"},
    {kFault, L"the SIM card is bad", L"insert another one"},
    {kFault, L"the modem has failed", L"restart the notebook"},
    {kWarning, L"not activated", L"ask the network operator to activate the subscription"},
    {kWarning, L"locked", L"enter the PIN of the SIM card"},
    {kFault, L"blocked", L"enter the PUK of the SIM card"},
    {kWarning, L"no profile on the eSIM", L"download one"},
};

constexpr const wchar_t* kIdentities[] = {
    L"MBNHELPER_GETSIMICCID",
    L"MBNHELPER_GETSUBSCRIBERID",
    L"MBNHELPER_GETHOMEPROVIDERID",
    L"MBNHELPER_GETHOMEPROVIDERNAME",
};
const std::wstring kPadding(kPaddingLength, L' ');

void CheckModem(Findings& findings, std::span<const Answer> answers) {
    const long state = answers[0].number;
    const bool known = state >= 0 && state < static_cast<long>(std::size(kReadyStates));
    const ReadyState& ready = known ? kReadyStates[state] : ReadyState{kWarning, L"not known", L""};
    findings.Add(ready.status, L"modem.state", std::to_wstring(state) + L": " + ready.words,
                 ready.advice);
    if (state == 0) {
        return;
    }
    // Does not show the identities: findings are sent to other people.
    std::wstring none;
    for (std::size_t i = 0; i < std::size(kIdentities); ++i) {
        const std::wstring& text = answers[i + 1].text;
        none += text.empty() || text == kPadding ? L" " + std::wstring(kIdentities[i]) : L"";
    }
    findings.Check(none.empty(), kWarning, L"modem.identity",
                   none.empty() ? L"of card, subscriber and home provider" : L"none from" + none);
}

// Checks whether Windows lists a control device. `asked`: the service found no switch; otherwise it
// was not reached.
void LookForDevice(Findings& findings, bool asked) {
    GUID device_class = kControlDeviceClass;
    ULONG length = 0;
    const CONFIGRET listed = CM_Get_Device_Interface_List_SizeW(
        &length, &device_class, nullptr, CM_GET_DEVICE_INTERFACE_LIST_PRESENT);
    if (listed != CR_SUCCESS) {
        findings.Add(kNotHere, L"device",
                     L"not known here: configuration manager error " + std::to_wstring(listed));
        return;
    }
    // The empty list is one terminator.
    if (length <= 1) {
        findings.Add(kWarning, L"device",
                     L"none of the class " + GuidText(kControlDeviceClass) + L" is present",
                     L"install the driver of the control device\n"
                     L"on a model without one: .\\tesselctl --check --without device");
    } else if (asked) {
        findings.Add(kFault, L"device", L"present, but the service gets no switch from it",
                     L"check its driver; NT AUTHORITY\\LocalService must be able to open it for "
                     L"reading and writing");
    } else {
        findings.Add(kNotHere, L"device", L"present; the service was not reached");
    }
}

void CheckDevice(Findings& findings, std::span<const Answer> answers) {
    if (answers[0].number == 0) {
        LookForDevice(findings, true);
        return;
    }
    const long value = answers[1].number;
    const bool on = value == static_cast<long>(kControlDeviceOn);
    const bool off = value == static_cast<long>(kControlDeviceOff);
    findings.Check(on || off, kWarning, L"device",
                   L"present, has a switch: " + std::to_wstring(value) +
                       (on    ? L", on"
                        : off ? L", off"
                              : L""));
}

// A group of requests, and the check of their answers.
struct Question {
    const wchar_t* item;
    std::vector<RequestValues> requests;
    void (*check)(Findings& findings, std::span<const Answer> answers);
};

}  // namespace

bool CheckRequests(Findings& findings, bool stopped, const Without& without) {
    std::vector<Question> questions = {
        {L"requests.answer", std::vector<RequestValues>(kEchoes, kEcho), CheckEchoes}};
    if (!without.modem) {
        questions.push_back({L"modem.state", {{L"MBNHELPER_CHECKINTERFACE"}}, CheckModem});
        for (const wchar_t* command : kIdentities) {
            questions.back().requests.push_back({command, false, 0, kPadding});
        }
    }
    if (!without.device) {
        questions.push_back(
            {L"device", {{L"BLEHELPER_ISBLESUPPORT"}, {L"BLEHELPER_GETBLE"}}, CheckDevice});
    }
    std::vector<RequestValues> requests;
    for (const Question& question : questions) {
        requests.insert(requests.end(), question.requests.begin(), question.requests.end());
    }
    const DWORD status = CarryOut(std::move(requests));
    if (!g_exchange->opened) {
        AddFailure(findings, L"requests.open", status);
        if (!without.device) {
            LookForDevice(findings, false);
        }
        return false;
    }
    findings.Check(
        !stopped, kFault, L"requests.open",
        kStringBinding +
            std::wstring(stopped ? L", of another process: the service is stopped" : L""),
        L"end that process; if it is not a tessel-service -console, find out what it is");
    std::span<const Answer> answers(g_exchange->answers.data(), g_exchange->done);
    for (const Question& question : questions) {
        if (answers.size() < question.requests.size()) {
            AddFailure(findings, question.item, status);
            break;
        }
        question.check(findings, answers.first(question.requests.size()));
        answers = answers.subspan(question.requests.size());
    }
    return true;
}
